// The journal: the event text and the day logs.
#include "core/journal.h"

#include "base/legacy.h"
#include "core/context.h"

namespace tarnex {

namespace {
constexpr size_t kEventTextLimit = 30000;
constexpr size_t kEventTextCut = 15000;
}  // namespace

void EventTextChanged(ServerModel& m) {
  for (int pass = 0; pass < 2; ++pass) {
    if (m.EventText.size() <= kEventTextLimit) return;
    m.EventText.erase(0, kEventTextCut);
  }
}

void Context::MyEvents(const std::string& message) {
  // The event always reaches the window; the day log stops at the first step
  // that fails.
  model_.EventText += message + "\r\n";
  EventTextChanged(model_);

  const CivilTime today = Now();
  const std::string year = legacy::FormatDate(today, "yyyy");
  const std::string folder = year + "\\" + legacy::FormatDate(today, "mmm");
  Files& fs = platform_.Fs();
  if (!fs.FolderExists(Path("\\Logs\\" + folder))) {
    if (!fs.MakeFolder(Path("\\Logs\\" + year))) return;
    if (!fs.MakeFolder(Path("\\Logs\\" + folder))) return;
  }
  fs.Append(Path("\\Logs\\" + folder + "\\" + legacy::FormatDate(today, "dd mmm yy") + ".txt"),
            message + "\r\n");
}

}  // namespace tarnex
