#include "core/console_hooks.h"

#include "core/app.h"
#include "core/commands.h"
#include "core/model.h"

namespace tarnex {

ConsoleHooks ConsoleHooksFor(App& app) {
  ConsoleHooks hooks;
  // The model as the model dump writes it, with the forms.
  hooks.model = [&app] {
    nlohmann::json dump = ModelToJson(app.model());
    dump["forms"] = app.commands().Dump();
    return dump;
  };
  hooks.operate = [&app](const std::vector<nlohmann::json>& steps) {
    return app.commands().Operate(steps);
  };
  hooks.forms = [&app] {
    nlohmann::json forms = nlohmann::json::array();
    for (const auto& d : app.commands().Describe()) {
      forms.push_back({{"form", d.form}, {"fields", d.fields}, {"commands", d.commands}});
    }
    return forms;
  };
  return hooks;
}

}  // namespace tarnex
