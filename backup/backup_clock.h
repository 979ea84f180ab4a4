// The back-up clock (Timer3), once a second: the hourly server record, the
// watch of a running back-up, the daily full back-up and the countdown to the
// next file back-up.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// One tick.
void BackupTick(Context& ctx);

// Whole units of a number of seconds ("1 hr 1 min 1 se"): each unit that is
// not 0 with its name, an "s" when it is not 1, and a blank; the last two
// characters of the whole text cut.
std::string Span(double seconds);

}  // namespace tarnex
