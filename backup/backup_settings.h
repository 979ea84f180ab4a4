// The back-up settings of the main screen and the sending companion
// ("\SendBU.exe"), which runs while new back-up files go to the remotes.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// Start-up, step 14: the file back-up list, sending to the remotes, the
// back-up path and the sending options (every 24 hours when neither is on).
void LoadBackupSettings(Context& ctx);
// Steps 19, 20, 21: the interval and its choices, the close and restart time
// and its choices, and "Send Summary".
void LoadBackupClock(Context& ctx);
// Step 22: the end-task list from "\Bin\endtask.txt" ("//" comments).
void LoadEndTaskList(Context& ctx);
// Step 25, its first part: the programs closed around a full back-up.
void LoadClosePrograms(Context& ctx);
// Step 27, its last part: "\Files\CloseOnBU.txt", untrimmed, no comments.
void LoadCloseOnBackup(Context& ctx);

// The time as the back-up status lines show it ("hh:mm:ssAM").
std::string BackupTime(Context& ctx);
// Starts the back-up companion: a file back-up ("-S") as state 1, a full one
// ("-F") as state 2, with `label` and the time in Label20.
void StartBackup(Context& ctx, int32_t state, const std::string& label);

// The menu's "Back-up NOW": a file back-up ("-S") or a full one ("-F", then
// five seconds for the companion to appear), whatever runs already.
void menuBU(Context& ctx);
void menuFullBU(Context& ctx);

// AppPath & "\TarnexSBackup.exe", the back-up companion.
std::string BackupCompanionPath(Context& ctx);
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
