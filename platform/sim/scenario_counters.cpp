// The simulated machine's performance counters and counter objects.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

namespace {

bool ParseSeries(const nlohmann::json& spec, SimSeries& out, std::string& error) {
  out.segments.clear();
  if (spec.is_number()) {
    out.segments.emplace_back(spec.get<double>(), 1);
    return true;
  }
  if (!spec.is_array()) {
    error = "a counter must be a number or an array of segments";
    return false;
  }
  for (const auto& seg : spec) {
    if (seg.is_number()) {
      out.segments.emplace_back(seg.get<double>(), 1);
    } else if (seg.is_object() && seg.contains("value") && seg["value"].is_number()) {
      int64_t count = 1;
      for (const auto& [key, value] : seg.items()) {
        if (key == "for") {
          if (!value.is_number_integer() || value.get<int64_t>() < 1) {
            error = "\"for\" must be a whole number of at least 1";
            return false;
          }
          count = value.get<int64_t>();
        } else if (key != "value") {
          error = "unknown key '" + key + "' in a counter segment";
          return false;
        }
      }
      out.segments.emplace_back(seg["value"].get<double>(), count);
    } else {
      error = "a segment must be a number or {\"value\": V, \"for\": N}";
      return false;
    }
  }
  if (out.segments.empty()) {
    error = "a counter needs at least one segment";
    return false;
  }
  return true;
}

}  // namespace

bool ReadCounters(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"counters\" must be an object";
    return false;
  }
  for (const auto& [path, spec] : value.items()) {
    SimSeries series;
    if (!ParseSeries(spec, series, error)) {
      error = "counter '" + path + "': " + error;
      return false;
    }
    sim.Sim().series[LowerText(CounterTable::LocalPart(path))] = series;
  }
  return true;
}

bool ReadObjects(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"objects\" must be an object";
    return false;
  }
  for (const auto& [object, list] : value.items()) {
    std::vector<std::string> names;
    if (!list.is_array()) {
      error = "object '" + object + "' must list its instances";
      return false;
    }
    for (const auto& n : list) {
      if (!n.is_string()) {
        error = "object '" + object + "': instance names are texts";
        return false;
      }
      names.push_back(n.get<std::string>());
    }
    sim.Sim().objects[LowerText(object)] = names;
  }
  return true;
}

}  // namespace tarnex
