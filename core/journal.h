// The journal: the event window's text and the day logs under "\Logs". The
// entry point is Context::MyEvents.
#pragma once

#include "core/model.h"

namespace tarnex {

// The line of 84 asterisks around each finding of the rules.
inline constexpr const char* kAsterisks =
    "************************************************************************************";

// The change rule of the event text: above 30000 characters its first 15000
// go; the removal is itself a change, so the rule runs once more.
void EventTextChanged(ServerModel& m);

}  // namespace tarnex
