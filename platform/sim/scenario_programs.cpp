// The simulated machine's processes, services and programs.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

bool ReadProcesses(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_array()) {
    error = "\"processes\" must be an array of {\"pid\": N, \"path\": TEXT}";
    return false;
  }
  for (const auto& p : value) {
    if (!p.is_object() || !p.contains("pid") || !p["pid"].is_number_integer() ||
        !p.contains("path") || !p["path"].is_string()) {
      error = "a process needs \"pid\" (a whole number) and \"path\" (a text)";
      return false;
    }
    for (const auto& [field, v] : p.items()) {
      if (field != "pid" && field != "path" && field != "protected") {
        error = "unknown key '" + field + "' in a process";
        return false;
      }
    }
    const int64_t pid = p["pid"].get<int64_t>();
    sim.running[pid] = p["path"].get<std::string>();
    if (p.value("protected", false)) sim.protected_pids.insert(pid);
  }
  return true;
}

bool ReadPrograms(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"programs\" must be an object of {\"runs_for\": SECONDS, \"window\": true|false}";
    return false;
  }
  for (const auto& [path, spec] : value.items()) {
    if (!spec.is_object()) {
      error = "program '" + path + "' must be an object";
      return false;
    }
    SimPlatform::Program program;
    for (const auto& [field, v] : spec.items()) {
      if (field == "runs_for") {
        if (!v.is_number() || v.get<double>() < 0 || v.get<double>() > 1e9) {
          error = "program '" + path + "': \"runs_for\" takes seconds from 0 to 1e9";
          return false;
        }
        program.runs_for = v.get<double>();
      } else if (field == "window") {
        if (!v.is_boolean()) {
          error = "program '" + path + "': \"window\" takes true or false";
          return false;
        }
        program.window = v.get<bool>();
      } else {
        error = "unknown key '" + field + "' in program '" + path + "'";
        return false;
      }
    }
    sim.programs[LowerText(path)] = program;
  }
  return true;
}

bool ReadServices(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_number_integer() || value.get<int64_t>() < 0) {
    error = "\"services\" must be a whole number";
    return false;
  }
  sim.services = value.get<int64_t>();
  return true;
}

bool ReadCommands(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"commands\" must be an object of output texts";
    return false;
  }
  for (const auto& [command, text] : value.items()) {
    if (!text.is_string()) {
      error = "command '" + command + "': its output must be a text";
      return false;
    }
    sim.commands[LowerText(command)] = text.get<std::string>();
  }
  return true;
}

}  // namespace tarnex
