// Recordings ("Log All Data"): the window of seconds in which every figure is
// recorded, and what the cycle reads for it.
#pragma once

#include "core/context.h"

namespace tarnex {

// The cycle's step 2: the recording's clock and its text in Label27.
void LogAllWindow(Context& ctx);
// The cycle's step 20: while recording, the program list at the thirtieth
// tick and the programs' page faults and working sets.
void ReadRecordedPrograms(Context& ctx);

// A "Log All Data" entry: the files of "\Events\SnapShot" go, and a recording
// of `seconds` (60, 300, 600 or 900) starts.
void StartRecording(Context& ctx, double seconds);
// The cycle's step 23: one line to each of the thirteen snapshot files.
void LogMYData(Context& ctx);

}  // namespace tarnex
