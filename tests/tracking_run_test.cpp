// Web-site tracking set up by an operator's steps on the whole program: the
// first save answered yes back-fills thirty days of logs, the viewer shows
// the counts, and a start on a new day clears the hits of the day.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "base/legacy.h"
#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class TrackingRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    app_ = dir_ + "/install";
    logs_ = dir_ + "/logs";
    site_ = dir_ + "/site";
    fs::create_directories(logs_);
    fs::create_directories(site_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  int Run(const std::string& start, const json& steps, int seconds) {
    json scenario = json::parse(kBasicScenario);
    scenario["start"] = start;
    scenario["operator"] = steps;
    SimRun run = RunSimulated(dir_, app_, scenario, seconds);
    err_ = run.err;
    dump = std::move(run.dump);
    return run.code;
  }

  std::string dir_, app_, logs_, site_, err_;
  json dump;
};

// Thirty days of logs before the 14th of November 2012, each with its header
// and a restart in the middle of the day.
std::string DayLog(int day, int lines) {
  static const char* const stems[] = {"/index.htm",       "/files/download.zip", "/data.htm",
                                      "/docs/REPORT.PDF", "/img/logo.png",       "/a.htm"};
  std::string text;
  const std::string date = "2012-" + legacy::Format(day <= 17 ? 10 : 11, "00") + "-" +
                           legacy::Format(day <= 17 ? day + 14 : day - 17, "00");
  const std::string header =
      "#Software: Microsoft Internet Information Services 7.5\r\n#Version: 1.0\r\n#Date: " + date +
      " 00:00:00\r\n#Fields: date time s-ip cs-method cs-uri-stem cs-uri-query s-port c-ip "
      "sc-status\r\n";
  text += header;
  for (int i = 0; i < lines; ++i) {
    if (i == lines / 2) text += header;
    const int pick = (day * 31 + i * 7) % 6;
    const std::string query = i % 11 == 0 ? "from=download.zip" : "-";
    text += date + " 10:00:00 10.0.0.1 GET " + stems[pick] + " " + query + " 80 10.0.0.9 " +
            (i % 13 == 0 ? "404" : "200") + "\r\n";
  }
  return text;
}

TEST_F(TrackingRun, AFirstSaveAnsweredYesBackFillsThirtyDaysAndANewDayClearsTheHitsOfTheDay) {
  // The 1st to the 30th day: the 15th of October to the 13th of November.
  std::string all;
  for (int day = 1; day <= 30; ++day) {
    const std::string text = DayLog(day, 200);
    const std::string date = legacy::Format(day <= 17 ? 10 : 11, "00") +
                             legacy::Format(day <= 17 ? day + 14 : day - 17, "00");
    WriteFile(logs_ + "/ex12" + date + ".log", text);
    all += text;
  }
  // Today's log is left to the harvest.
  WriteFile(logs_ + "/ex121114.log", DayLog(31, 50));
  WriteFile(site_ + "/download.zip", std::string(5000, 'z'));
  WriteFile(site_ + "/a.htm", std::string(120, 'a'));
  WriteFile(site_ + "/report.pdf", std::string(3000, 'r'));

  const std::vector<std::string> names = {"a.htm", "download.zip", "report.pdf"};
  const json steps = json::array({
      {{"at", "2012-11-14 10:00:05"}, {"do", "mnuWeb"}},
      {{"at", "2012-11-14 10:00:06"},
       {"form", "tracking"},
       {"set", {{"FolderChoice", logs_}}},
       {"do", "Folder1"}},
      {{"at", "2012-11-14 10:00:07"},
       {"form", "tracking"},
       {"set", {{"FileChoice", json::array({site_, "a.htm", "download.zip", "report.pdf"})}}},
       {"do", "Add1"}},
      {{"at", "2012-11-14 10:00:08"},
       {"form", "tracking"},
       {"set", {{"Check1", 1}, {"Option1", 5}, {"Text5", site_}}},
       {"do", "Command1"},
       {"answer", "yes"}},
      {{"at", "2012-11-14 10:00:20"}, {"form", "ViewStats"}, {"open", true}},
  });
  ASSERT_EQ(Run("2012-11-14 10:00:00", steps, 30), 0) << err_;

  // Every name counted over the thirty logs, line by line, without regard to
  // case, as an independent count does it.
  std::string expected;
  std::vector<int> hits;
  for (const std::string& name : names) {
    int n = 0;
    for (const std::string& line : legacy::Split(all, "\r\n")) {
      if (legacy::LCase(line).find(name) != std::string::npos) ++n;
    }
    ASSERT_GT(n, 0) << name;
    hits.push_back(n);
  }
  const int sizes[] = {120, 5000, 3000};
  for (size_t i = 0; i < names.size(); ++i) {
    const std::string h = std::to_string(hits[i]);
    expected += "[" + names[i] + "]\r\nFull=" + site_ + "\\" + names[i] +
                "\r\nFileSize=" + std::to_string(sizes[i]) + "\r\nHits=" + h +
                "\r\nLastDate=14 Nov 2012\r\nHitsToday=" + h +
                "\r\nSize=" + std::to_string(hits[i] * sizes[i]) + "\r\n";
  }
  expected += "[TData]\r\nLog Date=14 Nov 2012\r\n";
  EXPECT_EQ(ReadFile(app_ + "/Events/Tracked/Track1.dat"), expected);
  EXPECT_EQ(ReadFile(app_ + "/Files/TData1.dat"), "a.htm\r\ndownload.zip\r\nreport.pdf\r\n");
  EXPECT_EQ(dump["TrackEnabled"], 1);
  EXPECT_EQ(dump["TrackInterval"], "6");
  EXPECT_EQ(dump["WebSite"], site_);
  EXPECT_EQ(dump["forms"]["tracking"]["open"], false);
  EXPECT_EQ(dump["forms"]["tracking"]["Text5"], "Checking Group 1 - Logfile 29 of 30");

  json rows = json::array();
  double total = 0, size = 0;
  for (size_t i = 0; i < names.size(); ++i) {
    const double bytes = hits[i] * sizes[i];
    rows.push_back("1) " + names[i] + "\t" + legacy::Format(hits[i], "#,###") + "\t" +
                   std::to_string(hits[i]) + "\t" + legacy::Format(bytes / 1000, "#,###") +
                   " KB\t14 Nov 2012");
    total += hits[i];
    size += bytes;
  }
  rows.push_back("4) Totals\t" + legacy::Format(total, "#,###") + "\t" +
                 legacy::Format(total, "#,###") + "\t" + legacy::Format(size / 1e9, "#,###") +
                 " GB");
  EXPECT_EQ(dump["forms"]["ViewStats"]["Rows"], rows);

  // The next day the hits of the day go back to 0, the totals stay.
  ASSERT_EQ(Run("2012-11-15 09:00:00", json::array(), 5), 0);
  const std::string track = ReadFile(app_ + "/Events/Tracked/Track1.dat");
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_NE(track.find("[" + names[i] + "]\r\nFull=" + site_ + "\\" + names[i] + "\r\nFileSize=" +
                         std::to_string(sizes[i]) + "\r\nHits=" + std::to_string(hits[i]) +
                         "\r\nLastDate=14 Nov 2012\r\nHitsToday=0\r\n"),
              std::string::npos)
        << track;
  }
  EXPECT_EQ(dump["DataLog1"], json(names));
  EXPECT_EQ(dump["DataPath1"], logs_);
}

}  // namespace
}  // namespace tarnex::testing
