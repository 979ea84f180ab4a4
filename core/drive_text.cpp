#include "core/drive_text.h"

#include "base/legacy.h"

namespace tarnex {

std::string DriveText(Platform& platform, const std::string& root) {
  // A drive that cannot tell (no medium, no such drive) leaves both at 0.
  double total = 0, free_bytes = 0;
  platform.DiskFreeSpace(root, total, free_bytes);
  if (!(total > 10)) return "No Information Available at this time";
  double scale = 1;
  const char* unit = " Bytes";
  if (total > 9990000000) {
    scale = 1e9;
    unit = " GB";
  } else if (total > 9990000) {
    scale = 1e6;
    unit = " MB";
  } else if (total > 9990) {
    scale = 1000;
    unit = " KB";
  }
  return "Total Size: " + legacy::Format(total / scale, "#,##0") + unit +
         "   Available: " + legacy::Format(free_bytes / scale, "#,##0") + unit;
}

}  // namespace tarnex
