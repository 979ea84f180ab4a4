// Finding another program by its full path, and the programs closed and
// started again around a back-up (CloseME, CmdLine): the one way the system
// looks a program up, through the process list and then its top-level window.
#pragma once

#include <cstdint>
#include <string>

#include "core/context.h"

namespace tarnex {

// The process list holds room for this many identifiers; a machine with more
// processes is searched in its first ones only.
constexpr size_t kProcessListRoom = 256;
// The module name buffer: a name is cut to one character less.
constexpr size_t kModuleNameRoom = 260;

// The first process, in the order the machine lists them, whose program's
// full path is `path` (outer blanks and case aside); 0 when there is none. A
// process that cannot be opened is passed over.
int64_t FindProcess(Context& ctx, const std::string& path);
// The first top-level window of the process, a hidden one too; 0 when it has
// none.
int64_t FindWindowOfProcess(Context& ctx, int64_t pid);
// The window of the program at `path`: 0 when it does not run or has no
// window, which counts as not running.
int64_t IsRunning(Context& ctx, const std::string& path);

// Asks each listed program that runs to close, and keeps its window in
// ClosedHandle; nothing waits for it, and one that refuses stays up.
void CloseALL(Context& ctx);
// Starts again, with its command line and in its folder, each listed program
// that CloseALL found running.
void StartP(Context& ctx);

// A path less its last component ("C:\App\app.exe" gives "C:\App").
std::string FolderOf(const std::string& path);

}  // namespace tarnex
