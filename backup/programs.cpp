#include "backup/programs.h"

#include <vector>

#include "base/legacy.h"

namespace tarnex {

using legacy::Trim;
using legacy::UCase;

int64_t FindProcess(Context& ctx, const std::string& path) {
  Platform& platform = ctx.platform();
  // 1. The first ids the list has room for, in the machine's order.
  std::vector<int64_t> pids = platform.EnumProcesses();
  if (pids.size() > kProcessListRoom) pids.resize(kProcessListRoom);
  const std::string wanted = UCase(Trim(platform.ProcessPathOf(Trim(path))));
  for (const int64_t pid : pids) {
    // 2. to 4. The first module's full path, of a process that can be opened.
    std::string module;
    if (!platform.ProcessFileName(pid, module)) continue;
    if (module.size() > kModuleNameRoom - 1) module.resize(kModuleNameRoom - 1);
    // 5. Whole texts, outer blanks and case aside; the first match wins.
    if (UCase(Trim(module)) == wanted) return pid;
  }
  // 6.
  return 0;
}

int64_t FindWindowOfProcess(Context& ctx, int64_t pid) {
  return ctx.platform().ProcessWindow(pid);
}

int64_t IsRunning(Context& ctx, const std::string& path) {
  const int64_t pid = FindProcess(ctx, path);
  return pid == 0 ? 0 : FindWindowOfProcess(ctx, pid);
}

void CloseALL(Context& ctx) {
  auto& m = ctx.model();
  for (size_t i = 0; i < 4; ++i) {
    if (m.CloseME[i].empty()) continue;
    m.ClosedHandle[i] = static_cast<int32_t>(IsRunning(ctx, m.CloseME[i]));
    if (m.ClosedHandle[i] != 0) ctx.platform().CloseWindow(m.ClosedHandle[i]);
  }
}

void StartP(Context& ctx) {
  auto& m = ctx.model();
  for (size_t i = 0; i < 4; ++i) {
    if (m.CloseME[i].empty() || m.ClosedHandle[i] == 0) continue;
    ctx.platform().ShellOpen(m.CloseME[i], m.CmdLine[i], FolderOf(m.CloseME[i]));
  }
}

std::string FolderOf(const std::string& path) {
  const size_t cut = path.find_last_of('\\');
  const size_t file_name = cut == std::string::npos ? path.size() : path.size() - cut - 1;
  return legacy::Left(path, static_cast<int64_t>(path.size() - file_name) - 1);
}

}  // namespace tarnex
