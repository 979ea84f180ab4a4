// The bandwidth window (frmBWSum): the daily or monthly bandwidth journal,
// and a button that writes the month's bandwidth block to a file.
#pragma once

#include "core/context.h"

namespace tarnex {

// Opening the window: mode 1 shows "\Logs\Daily Bandwidth.txt" under the
// caption "Daily Bandwidth", any other mode "\Logs\Monthly Bandwidth.txt"
// under "Monthly Bandwidth".
void OpenBWSum(Context& ctx);
// Command2: the bandwidth block of the server summary replaces
// "\Bin\Daily Bandwidth.txt", the operator is told where (naming another
// file, as the window always has), and the window closes.
void BWSumCommand2(Context& ctx);
// Command3: the window closes.
void CloseBWSum(Context& ctx);

}  // namespace tarnex
