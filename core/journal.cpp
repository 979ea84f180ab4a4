// The journal: the event text, the day logs and the six statistics logs.
#include "core/app.h"
#include "core/legacy.h"

namespace tarnex {

namespace {
constexpr size_t kEventTextLimit = 30000;
constexpr size_t kEventTextCut = 15000;
}  // namespace

void App::EventTextChanged() {
  // The removal is itself a change, so the rule runs once more and stops.
  for (int pass = 0; pass < 2; ++pass) {
    if (model_.EventText.size() <= kEventTextLimit) return;
    model_.EventText.erase(0, kEventTextCut);
  }
}

void App::MyEvents(const std::string& message) {
  // The event always reaches the window; the day log stops at the first step
  // that fails.
  model_.EventText += message + "\r\n";
  EventTextChanged();

  const CivilTime today = loop().Now();
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

void App::AppendLog(const char* name, const std::string& text) {
  platform_.Fs().Append(Path(std::string("\\Logs\\") + name), text + "\r\n");
}

void App::LogDailyBandwidth(const std::string& text) {
  AppendLog("Daily Bandwidth.txt", text);
}
void App::LogDailyHardDrive(const std::string& text) {
  AppendLog("Daily Hard Drive.txt", text);
}
void App::LogMonthlyBandwidth(const std::string& text) {
  AppendLog("Monthly Bandwidth.txt", text);
}
void App::LogMonthlyHardDrive(const std::string& text) {
  AppendLog("Monthly Hard Drive.txt", text);
}
void App::LogAnnualBandwidth(const std::string& text) {
  AppendLog("Annual Bandwidth.txt", text);
}
void App::LogAnnualHardDrive(const std::string& text) {
  AppendLog("Annual Hard Drive.txt", text);
}

}  // namespace tarnex
