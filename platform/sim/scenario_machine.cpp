// The simulated machine itself: clock start, environment, desktop, folders,
// processor and drives.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

namespace {

bool WholeNumber(const nlohmann::json& v, int64_t low, int64_t high) {
  return v.is_number_integer() && v.get<int64_t>() >= low && v.get<int64_t>() <= high;
}

}  // namespace

bool ReadStart(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_string() || !(sim.scenario_start = ParseCivilTime(value.get<std::string>()))) {
    error = "\"start\" must be a text \"YYYY-MM-DD HH:MM:SS\" with a year from " +
            std::to_string(kFirstStartYear) + " to " + std::to_string(kLastStartYear);
    return false;
  }
  return true;
}

bool ReadEnv(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"env\" must be an object of texts";
    return false;
  }
  for (const auto& [name, v] : value.items()) {
    if (!v.is_string()) {
      error = "env value '" + name + "' must be a text";
      return false;
    }
    sim.env[name] = v.get<std::string>();
  }
  return true;
}

bool ReadScreen(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number()) {
    error = "\"screen\" must be [width, height] in twips";
    return false;
  }
  sim.screen = std::make_pair(value[0].get<double>(), value[1].get<double>());
  return true;
}

bool ReadDirs(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_array()) {
    error = "\"dirs\" must be an array of folder names";
    return false;
  }
  for (const auto& d : value) {
    if (!d.is_string()) {
      error = "\"dirs\" must be an array of folder names";
      return false;
    }
    sim.SimFs().DeclareFolder(d.get<std::string>());
  }
  return true;
}

bool ReadProcessor(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"processor\" must be an object";
    return false;
  }
  for (const auto& [name, v] : value.items()) {
    if (name == "type" && WholeNumber(v, 0, 0xFFFFFFFFLL)) {
      sim.processor.type = static_cast<uint32_t>(v.get<int64_t>());
    } else if (name == "level" && WholeNumber(v, 0, 0xFFFF)) {
      sim.processor.level = static_cast<uint16_t>(v.get<int64_t>());
    } else if (name == "revision" && WholeNumber(v, 0, 0xFFFF)) {
      sim.processor.revision = static_cast<uint16_t>(v.get<int64_t>());
    } else if (name == "mhz" && WholeNumber(v, 0, 0xFFFFFFFFLL)) {
      sim.mhz = static_cast<uint32_t>(v.get<int64_t>());
    } else if (name == "type" || name == "level" || name == "revision" || name == "mhz") {
      error = "processor '" + name + "' must be a whole number in its range";
      return false;
    } else {
      error = "unknown key '" + name + "' in \"processor\"";
      return false;
    }
  }
  return true;
}

bool ReadDisks(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"disks\" must be an object of drives";
    return false;
  }
  for (const auto& [root, disk] : value.items()) {
    SimPlatform::Disk d;
    if (!disk.is_object()) {
      error = "disk '" + root + "' must be {\"total\": bytes, \"free\": bytes}";
      return false;
    }
    for (const auto& [name, v] : disk.items()) {
      if ((name != "total" && name != "free") || !v.is_number()) {
        error = "disk '" + root + "' must be {\"total\": bytes, \"free\": bytes}";
        return false;
      }
      (name == "total" ? d.total : d.free) = v.get<double>();
    }
    sim.disks[UpperText(root)] = d;
  }
  return true;
}

}  // namespace tarnex
