// The operator console's hooks on the application: what the console asks of
// the orchestration (the model, the operator steps, the forms), answered by
// the App. The launcher and the console's fuzz target wire the console the
// same way through this one function.
#pragma once

#include "console/http_console.h"

namespace tarnex {

class App;

// The hooks of a console on `app`, which must outlive the console.
ConsoleHooks ConsoleHooksFor(App& app);

}  // namespace tarnex
