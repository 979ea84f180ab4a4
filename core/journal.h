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

class Context;

// The night's fold of the event files: the monitor journal and the three
// back-up journals go, in four headed parts, to the day event file
// "\Events\yyyy\mmm\ddmmmyy.txt" (rewritten whole, its name kept as "Last Event");
// then the monitor journal is emptied.
void FoldDayEvents(Context& ctx);

}  // namespace tarnex
