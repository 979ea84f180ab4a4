#include "tracking/setup.h"

#include <algorithm>

#include "base/legacy.h"
#include "core/lists.h"
#include "tracking/groups.h"
#include "tracking/harvest.h"
#include "tracking/hits.h"
#include "tracking/tracking_day.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::LCase;
using legacy::Str;

namespace {

TextList& ListOf(ServerModel& m, int n) {
  TextList* lists[] = {&m.TrackList1, &m.TrackList2, &m.TrackList3, &m.TrackList4, &m.TrackList5};
  return *lists[n - 1];
}

Text& TextOf(ServerModel& m, int n) {
  return m.TrackText[static_cast<size_t>(n - 1)];
}

std::string N(int n) {
  return std::to_string(n);
}

void AddName(Context& ctx, int group, const std::string& name, const std::string& full) {
  TextList& list = ListOf(ctx.model(), group);
  if (std::find(list.begin(), list.end(), name) != list.end()) return;
  list.push_back(name);
  ctx.INIWrite(TrackFile(group), name, "Full", full);
}

}  // namespace

void OpenTrackingDialog(Context& ctx) {
  auto& m = ctx.model();
  m.TrackDialogOpen = 1;
  m.TrackCheck1 = m.TrackEnabled;
  for (int n = 1; n <= 4; ++n) {
    ListOf(m, n) = TrackedNames(ctx, n);
    TextOf(m, n) = m.*GroupOf(n).path;
  }
  TextOf(m, 5) = m.WebSite;
}

void CloseTrackingDialog(Context& ctx) {
  ctx.model().TrackDialogOpen = 0;
}

void ChooseTrackingFolder(Context& ctx, int which) {
  auto& m = ctx.model();
  const std::string key = "Last Dir" + N(which);
  std::string start = ctx.INIRead(Context::kSettingsFile, "Track", key);
  if (start.size() < 3) {
    start = which == 1   ? m.SystemBinDir + "\\Logfile"
            : which == 5 ? m.AppPath
                         : m.WinDir + "\\system32\\logfile";
  }
  m.TrackDialogTitle = which == 5 ? "Locate Web Stats HTML" : "Locate the IIS Folder";
  m.TrackDialogStart = start;
  const std::string chosen = m.TrackFolderChoice;
  if (chosen.empty()) return;
  TextOf(m, which == 5 ? 6 : which) = chosen;
  ctx.INIWrite(Context::kSettingsFile, "Track", key, chosen);
}

void AddTrackedFiles(Context& ctx, int group) {
  auto& m = ctx.model();
  m.TrackDialogTitle = group == 2 ? "Select File(s)...For Tracking" : "Select File(s)...For Backup";
  m.TrackDialogStart = TextOf(m, group);
  const TextList pieces = m.TrackFileChoice;
  if (pieces.size() > 1) {
    for (size_t i = 1; i < pieces.size(); ++i) {
      AddName(ctx, group, pieces[i], pieces[0] + "\\" + pieces[i]);
    }
  } else if (pieces.size() == 1) {
    AddName(ctx, group, GetFilename(pieces[0]), pieces[0]);
  }
}

std::string TrackingHint(const std::string& control) {
  const std::string c = LCase(control);
  if (c == "check1") {
    return "This enabled will allow tracking of the activity for a Website or FTP on the server. "
           "It will count how many times a file is downloaded or web pages accesssed, "
           "via the IIS log of events.";
  }
  if (c == "list1" || c == "list2" || c == "list3" || c == "list4") {
    return "These are the files for download or the web pages accessed to be tracked. Add them "
           "from the folder set as the Directory for the WebSite to point to. ";
  }
  if (c == "text1" || c == "text2" || c == "text3" || c == "text4") {
    return "This is the Path to the IIS Web/HTTP log Folder. Go to the IIS, right click on the Web "
           "Site, select Properties. Find the Active Log, click properties and find the "
           "Folder set for the log file. Set period to Daily";
  }
  if (c == "command2") {
    return "This will update the size of each tracked file. This is accomplished at the end of "
           "the day but can manually be updated if files have been changed. ";
  }
  return {};
}

void SaveTracking(Context& ctx) {
  auto& m = ctx.model();
  // 1. The question of a first save, whatever the switch says.
  bool back_fill = false;
  if (m.TrackEnabledText.empty()) {
    back_fill = ctx.AskYesNo(
        "Since this is the First Time Tracking, would you like to extract data from old log files "
        "(This will take a while)?");
  }
  // 2.
  for (int n = 1; n <= 5; ++n) {
    Text& t = TextOf(m, n);
    if (legacy::Right(t, 1) == "\\") t.pop_back();
  }
  // 3. The page folder comes from the status line, whatever stands in it.
  m.TrackEnabled = m.TrackCheck1;
  m.TrackEnabledText = Str(m.TrackCheck1);
  for (int n = 1; n <= 4; ++n) m.*GroupOf(n).path = TextOf(m, n);
  m.WebSite = TextOf(m, 5);
  // 4.
  if (m.TrackOption1 >= 0 && m.TrackOption1 <= 5) m.TrackInterval = Str(m.TrackOption1 + 1);
  // 5.
  for (int n = 1; n <= 4; ++n) {
    std::string text;
    for (const std::string& name : ListOf(m, n)) text += name + "\r\n";
    ctx.fs().WriteAll(ctx.Path(NamesFile(n)), text);
  }
  // 6.
  for (int n = 1; n <= 4; ++n) {
    ctx.INIWrite(Context::kSettingsFile, "Track", "DataPath" + N(n), m.*GroupOf(n).path);
  }
  ctx.INIWrite(Context::kSettingsFile, "Track", "Enabled", m.TrackEnabledText);
  ctx.INIWrite(Context::kSettingsFile, "Track", "Interval", m.TrackInterval);
  ctx.INIWrite(Context::kSettingsFile, "Track", "WebSite", m.WebSite);
  // 7.
  if (back_fill) {
    GetSize(ctx);
    for (int n = 1; n <= 4; ++n) {
      if (!TextOf(m, n).empty()) BackFill(ctx, n);
    }
  }
  // 8.
  CloseTrackingDialog(ctx);
}

void GetSize(Context& ctx) {
  auto& m = ctx.model();
  for (int n = 1; n <= 4; ++n) {
    const std::string file = TrackFile(n);
    const TextList names = ListOf(m, n);
    for (const std::string& name : names) {
      const std::string full = ctx.INIRead(file, name, "Full");
      const std::string size = Str(static_cast<double>(ctx.fs().Size(full).value_or(0)));
      TextOf(m, 5) = name + " - " + size;
      ctx.Yield();
      ctx.INIWrite(file, name, "FileSize", size);
    }
  }
}

std::string GetFilename(const std::string& path) {
  const size_t at = path.find_last_of("\\/");
  return at == std::string::npos ? std::string() : path.substr(at + 1);
}

void ShowFiles(Context& ctx, const std::string& folder) {
  auto& m = ctx.model();
  std::string name = folder;
  if (legacy::Right(name, 1) != "\\") name += "\\";
  const std::string today = "ex" + FormatDate(ctx.Now(), "yymmdd") + ".log";
  const std::string path = ctx.fs().Native(name);
  std::vector<std::string> entries;
  if (path.empty() || !ctx.fs().List(path, entries)) return;
  std::sort(entries.begin(), entries.end());
  // Sub-folders are never entered.
  for (const std::string& entry : entries) {
    if (entry == "." || entry == "..") continue;
    FileInfo info;
    if (!ctx.fs().Stat(path + entry, info) || info.folder) continue;
    const std::string lower = LCase(entry);
    if (legacy::Right(lower, 3) == "log" && lower != today) m.TrackList5.push_back(entry);
  }
}

void BackFill(Context& ctx, int group) {
  auto& m = ctx.model();
  const std::string g = N(group);
  TextOf(m, 5) = "Finding old log files for tracking group " + g;
  m.TrackList5.clear();
  ShowFiles(ctx, TextOf(m, group));
  const TextList logs = m.TrackList5;
  for (size_t i = 0; i < logs.size(); ++i) {
    if (logs[i].empty()) continue;
    TextOf(m, 5) = "Checking Group " + g + " - Logfile " + std::to_string(i) + " of " +
                   std::to_string(logs.size());
    ctx.Yield();
    const std::string text = ReadLog(ctx, TextOf(m, group) + "\\" + logs[i]);
    // A log of five characters or fewer leaves the lines of the one before,
    // and they are counted again.
    if (text.size() > 5) m.DataLBuff = text;
    CountAndRecord(ctx, group, ListOf(m, group), LogLines(m.DataLBuff));
    ctx.Wait(5);
  }
}

}  // namespace tarnex
