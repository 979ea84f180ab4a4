// The simulated machine's system-management classes.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

bool ReadWmi(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_object()) {
    error = "\"wmi\" must be an object of classes";
    return false;
  }
  for (const auto& [cls, rows] : value.items()) {
    if (!rows.is_array()) {
      error = "wmi class '" + cls + "' must be an array of rows";
      return false;
    }
    std::vector<WmiRow>& list = sim.wmi[LowerText(cls)];
    list.clear();
    for (const auto& row : rows) {
      if (!row.is_object()) {
        error = "wmi class '" + cls + "': a row must be an object of properties";
        return false;
      }
      WmiRow r;
      for (const auto& [name, v] : row.items()) {
        if (v.is_number()) {
          r.Set(name, v.get<double>());
        } else if (v.is_string()) {
          r.Set(name, v.get<std::string>());
        } else if (v.is_null()) {
          r.Set(name, std::monostate{});
        } else {
          error = "wmi class '" + cls + "', property '" + name +
                  "': a value must be a number, a text or null";
          return false;
        }
      }
      list.push_back(std::move(r));
    }
  }
  return true;
}

}  // namespace tarnex
