// The back-up settings of the main screen and the sending companion
// ("\SendBU.exe"), which runs while new back-up files go to the remotes.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// AppPath & "\SendBU.exe".
std::string CompanionPath(Context& ctx);
// Starts the sending companion when sending is on and it does not run.
void StartCompanionIfWanted(Context& ctx);
// Asks a running sending companion to close; true when one was running.
bool CloseCompanion(Context& ctx);

// The Save operation, step 1: the programs closed around a full back-up.
void SaveClosePrograms(Context& ctx);
// Step 5, its first part: sending to the remotes and the back-up path.
void SaveBackupTarget(Context& ctx);
// Step 9, its first part: the interval and the sending options.
void SaveBackupClock(Context& ctx);
// Step 10: "\Bin\ServerBackup.Tnx" rewritten from List2.
void SaveBackupList(Context& ctx);
// Step 11: the interval in seconds.
void TakeBackupInterval(Context& ctx);
// Step 12: the sending companion closed and started again.
void RestartCompanion(Context& ctx);

}  // namespace tarnex
