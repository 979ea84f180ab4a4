// The journal: the event text and the day logs.
#include "core/journal.h"

#include "base/legacy.h"
#include "core/context.h"
#include "core/lists.h"

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

void FoldDayEvents(Context& ctx) {
  const std::string stars(25, '*');
  const auto part = [&stars](const char* title) {
    return stars + " " + title + " " + stars + "\r\n";
  };
  const std::string monitor = ReadTextFile(ctx, "\\Events\\Monitor.txt", true);
  const std::string backup = ReadTextFile(ctx, "\\Events\\BackUp.txt", true);
  const std::string full = ReadTextFile(ctx, "\\Events\\FBackUp.txt", true);
  const std::string offsite = ReadTextFile(ctx, "\\Events\\Offsite.txt", true);

  const CivilTime today = ctx.Now();
  const std::string year = legacy::FormatDate(today, "yyyy");
  const std::string folder = year + "\\" + legacy::FormatDate(today, "mmm");
  Files& fs = ctx.fs();
  if (!fs.FolderExists(ctx.Path("\\Events\\" + year))) fs.MakeFolder(ctx.Path("\\Events\\" + year));
  fs.MakeFolder(ctx.Path("\\Events\\" + folder));
  const std::string name = folder + "\\" + legacy::FormatDate(today, "ddmmmyy") + ".txt";
  ctx.INIWrite(Context::kSettingsFile, "Server", "Last Event", name);

  fs.WriteAll(ctx.Path("\\Events\\" + name), part("MONITORING EVENTS") + monitor + "\r\n\r\n" +
                                                 part("BACK-UP EVENTS") + backup + "\r\n\r\n" +
                                                 part("BACK-UP FILES") + full + "\r\n\r\n" +
                                                 part("OFFSITE EVENTS") + offsite + "\r\n");
  fs.WriteAll(ctx.Path("\\Events\\Monitor.txt"), "");
}

}  // namespace tarnex
