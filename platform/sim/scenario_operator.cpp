// The operator's timeline: the steps and their times. What a step names is
// checked against the forms by the program that runs them.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

bool ReadOperator(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_array()) {
    error = "\"operator\" must be a list of steps";
    return false;
  }
  static const char* const kKeys[] = {"at", "form", "open", "set", "do", "answer", "close"};
  for (size_t i = 0; i < value.size(); ++i) {
    const nlohmann::json& step = value[i];
    const std::string where = "operator step " + std::to_string(i + 1);
    if (!step.is_object()) {
      error = where + " must be an object";
      return false;
    }
    for (const auto& [key, v] : step.items()) {
      bool known = false;
      for (const char* k : kKeys) known = known || key == k;
      if (!known) {
        error = where + ": unknown key \"" + key + "\"";
        return false;
      }
    }
    std::optional<CivilTime> at;
    if (!step.contains("at") || !step["at"].is_string() ||
        !(at = ParseCivilTime(step["at"].get<std::string>()))) {
      error = where + ": \"at\" must be a text \"YYYY-MM-DD HH:MM:SS\"";
      return false;
    }
    sim.operator_steps.push_back({*at, step});
  }
  return true;
}

}  // namespace tarnex
