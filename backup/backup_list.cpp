#include "backup/backup_list.h"

#include <algorithm>
#include <vector>

#include "backup/backup_settings.h"
#include "base/legacy.h"

namespace tarnex {

using legacy::Format;

namespace {

void AddOnce(TextList& list, const std::string& entry) {
  if (std::find(list.begin(), list.end(), entry) == list.end()) list.push_back(entry);
}

std::string SizeText(const std::string& label, double bytes) {
  if (bytes > 9990000000.0) return label + Format(bytes / 1e9, "#,###") + " GB";
  if (bytes > 9990000.0) return label + Format(bytes / 1e6, "#,###") + " MB";
  return label + Format(bytes / 1000, "#,###") + " KB";
}

bool DriveSpace(Context& ctx, std::string root, double& total, double& free_bytes) {
  if (root.size() == 1) root += ":\\";
  if (root.size() == 2) root += "\\";
  total = free_bytes = 0;
  return ctx.platform().DiskFreeSpace(root, total, free_bytes);
}

}  // namespace

void AddBackupEntry(Context& ctx) {
  auto& m = ctx.model();
  // 1. to 3.
  const TextList selected = m.File3;
  m.StopWalk = "0";
  if (selected.empty()) {
    AddOnce(m.List2, m.Dir3 + (m.Check14 == 1 ? "\\|Subs" : "\\|None"));
  } else {
    for (const std::string& file : selected) AddOnce(m.List2, m.Dir3 + "\\" + file + "|File");
  }
  // 4. The size of a folder, or of a whole drive.
  if (selected.empty()) {
    ctx.Wait(1);
    if (m.Text4.size() < 4) {
      m.Label7 = DriveSizeText(ctx, m.Text4);
    } else {
      m.FolderCount = 0;
      m.FileCount = 0;
      const double size = FolderSize(ctx, m.Text4, m.Check14 == 1);
      if (m.StopWalk != "1") m.Label7 = SizeText("Folder Size: ", size);
    }
    m.Label7 += "   " + DriveFreeText(ctx, legacy::Left(m.BUPath, 3));
  }
  // 5.
  m.Text4.clear();
  m.Check14 = 1;
  m.File3.clear();
}

void RemoveBackupEntry(Context& ctx) {
  auto& m = ctx.model();
  if (m.List2Index < 0 || static_cast<size_t>(m.List2Index) >= m.List2.size()) return;
  m.List2.erase(m.List2.begin() + m.List2Index);
  m.List2Index = -1;
  SaveBackupList(ctx);
}

double FolderSize(Context& ctx, const std::string& path, bool with_subs) {
  auto& m = ctx.model();
  ctx.Yield();
  if (m.StopWalk == "1") return 0;
  const std::string folder = legacy::Right(path, 1) == "\\" ? path : path + "\\";
  // Every name first, then each entered.
  std::vector<std::string> names;
  const std::string native = ctx.fs().Native(folder);
  if (native.empty() || !ctx.fs().List(native, names)) return 0;
  std::sort(names.begin(), names.end());
  double size = 0;
  for (const std::string& name : names) {
    if (name == "." || name == "..") continue;
    FileInfo info;
    if (!ctx.fs().Stat(native + name, info)) continue;
    if (info.folder) {
      if (with_subs) {
        m.FolderCount += 1;
        if (m.StopWalk == "1") return size;
        size += FolderSize(ctx, folder + name, with_subs);
      }
      ctx.Yield();
    } else {
      m.FileCount += 1;
      size += static_cast<double>(ctx.fs().Size(folder + name).value_or(0));
      ctx.Yield();
    }
  }
  return size;
}

std::string DriveSizeText(Context& ctx, const std::string& root) {
  double total = 0, free_bytes = 0;
  DriveSpace(ctx, root, total, free_bytes);
  return SizeText("Total Size: ", total - free_bytes);
}

std::string DriveFreeText(Context& ctx, const std::string& root) {
  double total = 0, free_bytes = 0;
  DriveSpace(ctx, root, total, free_bytes);
  return SizeText("Sync 1 Free: ", free_bytes);
}

}  // namespace tarnex
