// Web-site tracking: the harvest of today's log, the set-up dialog with its
// back-fill, the statistics page and the viewer.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/legacy.h"
#include "core/commands.h"
#include "tests/test_support.h"
#include "tracking/harvest.h"
#include "tracking/hits.h"
#include "tracking/setup.h"
#include "tracking/stats.h"
#include "tracking/tracking_day.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

// The header the web server writes at the top of a log and at each restart.
constexpr const char* kHeader =
    "#Software: Microsoft Internet Information Services 7.5\r\n"
    "#Version: 1.0\r\n"
    "#Date: 2012-11-14 00:00:01\r\n"
    "#Fields: date time s-ip cs-method cs-uri-stem cs-uri-query s-port c-ip sc-status\r\n";

std::string Line(const std::string& stem, const std::string& query = "-",
                 const std::string& status = "200") {
  return "2012-11-14 10:00:00 10.0.0.1 GET " + stem + " " + query + " 80 10.0.0.9 " + status;
}

class Tracking : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(s_.app().FormLoad());
    logs_ = s_.dir() + "/weblogs";
    fs::create_directories(logs_);
  }
  ServerModel& m() { return s_.model(); }
  Context& ctx() { return s_.ctx(); }
  Commands& c() { return s_.app().commands(); }
  std::string Read(const std::string& file, const std::string& section, const std::string& key) {
    return ctx().INIRead(file, section, key);
  }
  // Group 1 tracks `names`, with its folder the test's log folder.
  void Track(const std::vector<std::string>& names) {
    m().DataPath1 = logs_;
    m().DataLog1 = names;
    std::string list;
    for (const auto& n : names) list += n + "\r\n";
    WriteFile(s_.dir() + "/Files/TData1.dat", list);
  }
  void Today(const std::string& text) { WriteFile(logs_ + "/ex121114.log", text); }

  SimApp s_;
  std::string logs_;
};

// The harvest.

TEST_F(Tracking, TheLogOfTodayIsNamedAfterTheDateAndAMissingOneIsMadeEmpty) {
  EXPECT_EQ(DailyLogName("C:\\logs", CivilTime{2012, 11, 14, 0, 0, 0}), "C:\\logs\\ex121114.log");
  Track({"a.htm"});
  Harvest(ctx(), 1);
  EXPECT_TRUE(Exists(logs_ + "/ex121114.log"));
  EXPECT_EQ(ReadFile(logs_ + "/ex121114.log"), "");
  EXPECT_EQ(s_.File("Events/Tracked/Track1.txt"), "a.htm||||\r\nTotals|0|0|0|\r\n");
}

TEST_F(Tracking, AFolderWithATrailingBackslashGivesTheSameLog) {
  Track({"a.htm"});
  Today(Line("/a.htm") + "\r\n");
  m().DataPath1 = logs_ + "\\";
  Harvest(ctx(), 1);
  EXPECT_EQ(m().DataPath1, logs_);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "1");
}

TEST_F(Tracking, NewTextOfFiveCharactersOrFewerChangesNothingButTheReport) {
  Track({"a.htm"});
  Today("abcde");
  WriteFile(s_.dir() + "/Events/Tracked/Track1.txt", "old");
  Harvest(ctx(), 1);
  EXPECT_EQ(m().LogLen1, 0);
  EXPECT_EQ(Read(TrackFile(1), "TData", "LogLen"), "");
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "");
  EXPECT_EQ(s_.File("Events/Tracked/Track1.txt"), "a.htm||||\r\nTotals|0|0|0|\r\n");
}

TEST_F(Tracking, OnlyDatedLinesMoveTheReadingPointWithoutTheirLineEnds) {
  Track({"zzz.htm"});
  std::string text = kHeader;
  double lengths = 0;
  for (int i = 0; i < 10; ++i) {
    const std::string line = Line("/page" + std::to_string(i) + ".htm");
    lengths += static_cast<double>(line.size());
    text += line + "\r\n";
  }
  Today(text);
  Harvest(ctx(), 1);
  EXPECT_EQ(m().LogLen1, lengths);
  EXPECT_EQ(Read(TrackFile(1), "TData", "LogLen"), legacy::Str(lengths));
}

TEST_F(Tracking, TheReadingPointFallsShortSoLinesAreCountedAgain) {
  Track({"a.htm"});
  Today(std::string(kHeader) + Line("/a.htm") + "\r\n" + Line("/b.htm") + "\r\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "1");
  // The next pass starts within the old lines, since the header and the line
  // ends were never counted: the line of a.htm is read and counted again.
  Harvest(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "2");
}

TEST_F(Tracking, ANameInsideALongerPathOrAQueryMatchesWithoutRegardToCase) {
  Track({"a.htm"});
  Today(Line("/site/DATA.HTM") + "\r\n" + Line("/x.asp", "next=a.htm") + "\r\n" +
        Line("/a.htm", "-", "404") + "\r\n" + Line("/b.htm") + "\r\n");
  Harvest(ctx(), 1);
  // data.htm holds a.htm; a failed request is a hit too.
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "3");
}

TEST_F(Tracking, TwoNamesInOneLineGiveAHitEachAndANameTwiceInALineOne) {
  Track({"one.zip", "two.zip"});
  Today(Line("/one.zip", "from=two.zip") + "\r\n" + Line("/one.zip", "again=one.zip") + "\r\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "one.zip", "Hits"), "2");
  EXPECT_EQ(Read(TrackFile(1), "two.zip", "Hits"), "1");
}

TEST_F(Tracking, EachHitAddsTheFileSizeAndWritesTheDates) {
  Track({"big.zip"});
  ctx().INIWrite(TrackFile(1), "big.zip", "FileSize", "1500");
  ctx().INIWrite(TrackFile(1), "big.zip", "Hits", "7");
  ctx().INIWrite(TrackFile(1), "big.zip", "HitsToday", "2");
  ctx().INIWrite(TrackFile(1), "big.zip", "Size", "10500");
  Today(Line("/big.zip") + "\r\n" + Line("/big.zip") + "\r\n" + Line("/big.zip") + "\r\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(s_.File("Events/Tracked/Track1.dat"),
            "[big.zip]\r\nFileSize=1500\r\nHits=10\r\nHitsToday=5\r\nSize=15000\r\n"
            "LastDate=14 Nov 2012\r\n[TData]\r\nLogLen=" +
                legacy::Str(3.0 * static_cast<double>(Line("/big.zip").size())) +
                "\r\nLog Date=14 Nov 2012\r\n");
  EXPECT_EQ(s_.File("Events/Tracked/Track1.txt"),
            "big.zip|10|5|15000|14 Nov 2012\r\nTotals|10|5|15000|\r\n");
}

TEST_F(Tracking, TheFiguresGoThroughTheirTextAtEveryHit) {
  // Beyond 15 digits each hit's text rounds what the next one reads.
  Track({"huge.iso"});
  ctx().INIWrite(TrackFile(1), "huge.iso", "FileSize", "3");
  ctx().INIWrite(TrackFile(1), "huge.iso", "Size", "1000000000000000");
  Today(Line("/huge.iso") + "\r\n" + Line("/huge.iso") + "\r\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "huge.iso", "Size"), "1E+15");
}

TEST_F(Tracking, TheTotalsLineHasNothingBehindItsLastBar) {
  Track({"a.htm", "b.htm"});
  Today(Line("/a.htm") + "\r\n" + Line("/b.htm") + "\r\n" + Line("/b.htm") + "\r\n");
  Harvest(ctx(), 1);
  const std::string report = s_.File("Events/Tracked/Track1.txt");
  EXPECT_EQ(report, "a.htm|1|1|0|14 Nov 2012\r\nb.htm|2|2|0|14 Nov 2012\r\nTotals|3|3|0|\r\n");
}

TEST_F(Tracking, AnLfLogIsOneLineAndCountsOncePerPass) {
  Track({"a.htm"});
  Today(Line("/a.htm") + "\n" + Line("/a.htm") + "\n" + Line("/a.htm") + "\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "1");
  EXPECT_EQ(m().LogLen1, static_cast<double>(3 * (Line("/a.htm").size() + 1)));
}

TEST_F(Tracking, ARestartOfTheWebServerInTheMiddleOfTheDayAddsAHeaderThatIsNotCounted) {
  Track({"a.htm"});
  const std::string first = Line("/a.htm");
  Today(std::string(kHeader) + first + "\r\n" + kHeader + first + "\r\n");
  Harvest(ctx(), 1);
  EXPECT_EQ(m().LogLen1, 2.0 * static_cast<double>(first.size()));
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "2");
}

TEST_F(Tracking, OnTheFirstOfJanuaryLinesOfTheOldYearAreNotCounted) {
  SimApp s(R"({"start": "2013-01-01 00:30:00", "env": {"WinDIR": "C:\\Windows"}})");
  ASSERT_TRUE(s.app().FormLoad());
  const std::string logs = s.dir() + "/logs";
  fs::create_directories(logs);
  WriteFile(logs + "/ex130101.log", Line("/a.htm") + "\r\n");  // dated 2012
  s.model().DataPath1 = logs;
  s.model().DataLog1 = {"a.htm"};
  Harvest(s.ctx(), 1);
  EXPECT_EQ(s.model().LogLen1, 0);
  EXPECT_EQ(s.ctx().INIRead(TrackFile(1), "a.htm", "Hits"), "1");
}

TEST_F(Tracking, AnEmptyNameIsHeldByEveryLine) {
  LogLines lines("x\r\n\r\nyy\r\nzzz");
  EXPECT_EQ(lines.pieces().size(), 3u);
  EXPECT_EQ(lines.Count({"", "Y", "zzz", "zzzz"}), (std::vector<int64_t>{3, 1, 1, 0}));
}

TEST_F(Tracking, CountingMatchesAPlainSearchLineByLine) {
  // Names long and short, upper and lower case, over lines built to hold
  // them at every place, across the filter's buckets.
  std::string text;
  const std::vector<std::string> names = {"a.htm",   "Data.HTM", "x",   "report.pdf",
                                          "ÉTÉ.zip", "abcd",     "bcd", "r\r"};
  for (int i = 0; i < 500; ++i) {
    std::string line = "2012-11-14 " + std::to_string(i * 7919 % 1000);
    for (size_t k = 0; k < names.size(); ++k) {
      if ((i + static_cast<int>(k)) % (static_cast<int>(k) + 2) == 0) {
        line += (i % 2 ? legacy::UCase(names[k]) : names[k]) + "/";
      }
    }
    text += line + (i % 3 ? "\r\n" : "\n");
  }
  const LogLines lines(text);
  const auto counts = lines.Count(names);
  for (size_t k = 0; k < names.size(); ++k) {
    int64_t expected = 0;
    for (const std::string& piece : legacy::Split(text, "\r\n")) {
      if (!piece.empty() && legacy::InStr(1, piece, names[k], true) > 0) ++expected;
    }
    EXPECT_EQ(counts[k], expected) << names[k];
  }
}

// The set-up dialog.

TEST_F(Tracking, GetFilenameTakesWhatIsBehindTheLastSeparator) {
  EXPECT_EQ(GetFilename("C:\\site\\files\\a.zip"), "a.zip");
  EXPECT_EQ(GetFilename("/srv/www/b.htm"), "b.htm");
  EXPECT_EQ(GetFilename("C:\\mixed/c\\d.txt"), "d.txt");
  EXPECT_EQ(GetFilename("plain.txt"), "");
  EXPECT_EQ(GetFilename("C:\\folder\\"), "");
}

TEST_F(Tracking, OpeningTheDialogShowsTheSettingsInMemory) {
  Track({"a.htm", "b.htm"});
  WriteFile(s_.dir() + "/Files/TData2.dat", "\r\nc.htm\r\n\r\n");
  m().TrackEnabled = 1;
  m().WebSite = "/srv/site";
  ASSERT_EQ(c().Open("tracking"), "");
  EXPECT_TRUE(c().IsOpen("tracking"));
  EXPECT_EQ(m().TrackCheck1, 1);
  EXPECT_EQ(m().TrackList1, (TextList{"a.htm", "b.htm"}));
  EXPECT_EQ(m().TrackList2, (TextList{"c.htm"}));
  EXPECT_EQ(m().TrackText[0], logs_);
  EXPECT_EQ(m().TrackText[4], "/srv/site");
}

TEST_F(Tracking, TheFolderBrowserStartsAtTheLastFolderOrItsFallback) {
  ASSERT_EQ(c().Open("tracking"), "");
  m().SystemBinDir = "C:\\Windows\\Syswow64";
  m().WinDir = "C:\\Windows";
  ASSERT_EQ(c().Do("tracking", "Folder1"), "");
  EXPECT_EQ(m().TrackDialogTitle, "Locate the IIS Folder");
  EXPECT_EQ(m().TrackDialogStart, "C:\\Windows\\Syswow64\\Logfile");
  EXPECT_EQ(m().TrackText[0], "");  // nothing chosen, nothing changes
  ASSERT_EQ(c().Do("tracking", "Folder3"), "");
  EXPECT_EQ(m().TrackDialogStart, "C:\\Windows\\system32\\logfile");
  ASSERT_EQ(c().Do("tracking", "Folder5"), "");
  EXPECT_EQ(m().TrackDialogTitle, "Locate Web Stats HTML");
  EXPECT_EQ(m().TrackDialogStart, m().AppPath);

  ASSERT_EQ(c().Set("tracking", "FolderChoice", logs_), "");
  ASSERT_EQ(c().Do("tracking", "Folder2"), "");
  EXPECT_EQ(m().TrackText[1], logs_);
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "Last Dir2"), logs_);
  ASSERT_EQ(c().Do("tracking", "Folder2"), "");
  EXPECT_EQ(m().TrackDialogStart, logs_);
  // The page folder goes to Text6, not to the line the save reads.
  ASSERT_EQ(c().Do("tracking", "Folder5"), "");
  EXPECT_EQ(m().TrackText[5], logs_);
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "Last Dir5"), logs_);
}

TEST_F(Tracking, ANameAlreadyInAListIsNotAddedTwiceAndItsFullStays) {
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(
      c().Set("tracking", "FileChoice", nlohmann::json::array({"/srv/www", "a.zip", "b.zip"})), "");
  ASSERT_EQ(c().Do("tracking", "Add1"), "");
  EXPECT_EQ(m().TrackDialogTitle, "Select File(s)...For Backup");
  EXPECT_EQ(m().TrackList1, (TextList{"a.zip", "b.zip"}));
  EXPECT_EQ(Read(TrackFile(1), "a.zip", "Full"), "/srv/www\\a.zip");
  ASSERT_EQ(c().Set("tracking", "FileChoice", nlohmann::json::array({"/other/a.zip"})), "");
  ASSERT_EQ(c().Do("tracking", "Add1"), "");
  EXPECT_EQ(m().TrackList1, (TextList{"a.zip", "b.zip"}));
  EXPECT_EQ(Read(TrackFile(1), "a.zip", "Full"), "/srv/www\\a.zip");
  ASSERT_EQ(c().Do("tracking", "Add2"), "");
  EXPECT_EQ(m().TrackDialogTitle, "Select File(s)...For Tracking");
  EXPECT_EQ(m().TrackList2, (TextList{"a.zip"}));
  EXPECT_EQ(Read(TrackFile(2), "a.zip", "Full"), "/other/a.zip");
}

TEST_F(Tracking, TheHintsShowInTheStatusLine) {
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(c().Do("tracking", "Check1.MouseMove"), "");
  EXPECT_EQ(m().TrackText[4],
            "This enabled will allow tracking of the activity for a Website or FTP on the server. "
            "It will count how many times a file is downloaded or web pages accesssed, via the IIS "
            "log of events.");
  ASSERT_EQ(c().Do("tracking", "Text3.MouseMove"), "");
  EXPECT_EQ(
      m().TrackText[4],
      "This is the Path to the IIS Web/HTTP log Folder. Go to the IIS, right click on the Web "
      "Site, select Properties. Find the Active Log, click properties and find the Folder "
      "set for the log file. Set period to Daily");
  ASSERT_EQ(c().Do("tracking", "List4.MouseMove"), "");
  EXPECT_EQ(m().TrackText[4],
            "These are the files for download or the web pages accessed to be tracked. Add them "
            "from the folder set as the Directory for the WebSite to point to. ");
  ASSERT_EQ(c().Do("tracking", "Command2.MouseMove"), "");
  EXPECT_EQ(m().TrackText[4],
            "This will update the size of each tracked file. This is accomplished at the end of "
            "the day but can manually be updated if files have been changed. ");
}

TEST_F(Tracking, AFirstSaveWithTheSwitchOffStillAsksAndNoCountsNothing) {
  Track({"a.htm"});
  Today(Line("/a.htm") + "\r\n");
  WriteFile(logs_ + "/ex121113.log", Line("/a.htm") + "\r\n");
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(c().Set("tracking", "Text5", "/srv/site\\"), "");
  ASSERT_EQ(c().Set("tracking", "Option1", 3), "");
  ASSERT_EQ(c().Run({{"form", "tracking"}, {"do", "Command1"}, {"answer", "no"}}), "");
  ASSERT_EQ(m().OperatorQuestions.size(), 1u);
  EXPECT_EQ(m().OperatorQuestions[0],
            "Since this is the First Time Tracking, would you like to extract data from old log "
            "files (This will take a while)?");
  EXPECT_FALSE(c().IsOpen("tracking"));
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "Enabled"), "0");
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "Interval"), "4");
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "WebSite"), "/srv/site");
  EXPECT_EQ(Read(Context::kSettingsFile, "Track", "DataPath1"), logs_);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "");
  EXPECT_EQ(s_.File("Files/TData1.dat"), "a.htm\r\n");
  // "Enabled" now holds 0: the question does not come again.
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(c().Run({{"form", "tracking"}, {"do", "Command1"}, {"answer", "yes"}}), "");
  EXPECT_EQ(m().OperatorQuestions.size(), 1u);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "");
}

TEST_F(Tracking, TheSaveTakesThePageFolderFromTheStatusLineWhateverStandsThere) {
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(c().Set("tracking", "FolderChoice", "/srv/chosen"), "");
  ASSERT_EQ(c().Do("tracking", "Folder5"), "");
  ASSERT_EQ(c().Do("tracking", "Command2.MouseMove"), "");
  ASSERT_EQ(c().Run({{"form", "tracking"}, {"do", "Command1"}, {"answer", "no"}}), "");
  EXPECT_EQ(m().WebSite,
            "This will update the size of each tracked file. This is accomplished at the end of "
            "the day but can manually be updated if files have been changed. ");
}

TEST_F(Tracking, ShowFilesListsOldLogsLeavesTodayOutAndNeverDescends) {
  WriteFile(logs_ + "/ex121112.log", "x");
  WriteFile(logs_ + "/EX121113.LOG", "x");
  WriteFile(logs_ + "/ex121114.log", "x");
  WriteFile(logs_ + "/notes.txt", "x");
  WriteFile(logs_ + "/catalog", "x");
  fs::create_directories(logs_ + "/old.log");
  WriteFile(logs_ + "/old.log/ex121101.log", "x");
  ShowFiles(ctx(), logs_);
  EXPECT_EQ(m().TrackList5, (TextList{"EX121113.LOG", "catalog", "ex121112.log"}));
}

TEST_F(Tracking, AShortOldLogLeavesTheLinesOfTheOneBeforeToBeCountedAgain) {
  ASSERT_EQ(c().Open("tracking"), "");
  m().TrackText[0] = logs_;
  m().TrackList1 = {"a.htm"};
  WriteFile(logs_ + "/ex121112.log", Line("/a.htm") + "\r\n");
  WriteFile(logs_ + "/ex121113.log", "tiny");
  BackFill(ctx(), 1);
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "2");
  EXPECT_EQ(m().TrackText[4], "Checking Group 1 - Logfile 1 of 2");
}

TEST_F(Tracking, AnEmptyFolderSkipsThatGroupsBackFill) {
  WriteFile(logs_ + "/ex121101.log", Line("/a.htm") + "\r\n");
  ASSERT_EQ(c().Open("tracking"), "");
  m().TrackList1 = {"a.htm"};
  m().TrackList2 = {"a.htm"};
  ASSERT_EQ(c().Set("tracking", "Text2", logs_), "");
  ASSERT_EQ(c().Run({{"form", "tracking"}, {"do", "Command1"}, {"answer", "yes"}}), "");
  EXPECT_EQ(Read(TrackFile(1), "a.htm", "Hits"), "");
  EXPECT_EQ(Read(TrackFile(2), "a.htm", "Hits"), "1");
}

TEST_F(Tracking, GetSizeTakesEachFilesSizeFromItsFullPath) {
  fs::create_directories(s_.dir() + "/site");
  WriteFile(s_.dir() + "/site/a.zip", std::string(1234, 'x'));
  ASSERT_EQ(c().Open("tracking"), "");
  ASSERT_EQ(c().Set("tracking", "FileChoice", nlohmann::json::array({s_.dir() + "/site/a.zip"})),
            "");
  ASSERT_EQ(c().Do("tracking", "Add3"), "");
  ASSERT_EQ(c().Set("tracking", "FileChoice", nlohmann::json::array({"/nowhere/b.zip"})), "");
  ASSERT_EQ(c().Do("tracking", "Add3"), "");
  ASSERT_EQ(c().Do("tracking", "Command2"), "");
  EXPECT_EQ(Read(TrackFile(3), "a.zip", "FileSize"), "1234");
  EXPECT_EQ(Read(TrackFile(3), "b.zip", "FileSize"), "0");
  EXPECT_EQ(m().TrackText[4], "b.zip - 0");
}

TEST_F(Tracking, TheDialogsFieldsRefuseWhatTheyCannotHold) {
  ASSERT_EQ(c().Open("tracking"), "");
  EXPECT_NE(c().Set("tracking", "Option1", 6), "");
  EXPECT_NE(c().Set("tracking", "Check1", 2), "");
  EXPECT_EQ(c().Set("tracking", "List1", nlohmann::json::array({"a"})),
            "field 'List1' of tracking can be read only");
  EXPECT_EQ(m().TrackOption1, -1);
}

// The page and the viewer.

TEST_F(Tracking, WithNoNamesThePageHasTheHeaderRowAndTheEmptyRows) {
  const std::string page = StatsPage(ctx());
  size_t rows = 0;
  for (size_t at = page.find("<tr>"); at != std::string::npos; at = page.find("<tr>", at + 1)) {
    ++rows;
  }
  EXPECT_EQ(rows, 205u);
  // A row the grid does not have: five cells with nothing inside. It ends the page.
  const std::string last =
      "<tr>\r\n<td><b></b></td>\r\n<td><b></b></td>\r\n<td><b></b></td>\r\n"
      "<td><b></b></td>\r\n<td><b></b></td>\r\n"
      "<col style=\"color:Black;font-weight:bold;background-color:White\" />\r\n</tr>\r\n";
  ASSERT_GT(page.size(), last.size());
  EXPECT_EQ(page.substr(page.size() - last.size()), last);
  EXPECT_NE(page.find("<td><b>Page/File Name</b></td>\r\n<td><b>Total Hits/Downloads</b></td>"),
            std::string::npos);
  EXPECT_EQ(page.rfind("<HTML><HEAD>\r\n<TITLE>WebSite Stats</TITLE>\r\n</HEAD>\r\n", 0), 0u);
  EXPECT_NE(page.find("Website Stats as of 14 Nov 2012</BODY>\r\n"), std::string::npos);
  EXPECT_EQ(page.find("</HTML>"), std::string::npos);
}

TEST_F(Tracking, ThePageTakesGroupsTwoThreeAndOneAndAZeroIsNbsp) {
  WriteFile(s_.dir() + "/Files/TData1.dat", "one.htm\r\n");
  WriteFile(s_.dir() + "/Files/TData2.dat", "two.htm\r\n");
  WriteFile(s_.dir() + "/Files/TData4.dat", "four.htm\r\n");
  ctx().INIWrite(TrackFile(1), "one.htm", "Hits", "1234");
  ctx().INIWrite(TrackFile(1), "one.htm", "Size", "5000000");
  ctx().INIWrite(TrackFile(1), "one.htm", "LastDate", "13 Nov 2012");
  const std::string page = StatsPage(ctx());
  const std::string two =
      "<td><b>two.htm</b></td>\r\n<td><b>&nbsp;</b></td>\r\n"
      "<td><b>0</b></td>\r\n<td><b> Bytes</b></td>\r\n"
      "<td><b>&nbsp;</b></td>\r\n";
  const std::string one =
      "<td><b>one.htm</b></td>\r\n<td><b>1,234</b></td>\r\n"
      "<td><b>0</b></td>\r\n<td><b>5,000,000 Bytes</b></td>\r\n"
      "<td><b>13 Nov 2012</b></td>\r\n";
  ASSERT_NE(page.find(two), std::string::npos);
  ASSERT_NE(page.find(one), std::string::npos);
  EXPECT_LT(page.find(two), page.find(one));
  EXPECT_EQ(page.find("four.htm"), std::string::npos);
}

TEST_F(Tracking, ThePageGoesToTheWebSiteFolderOnlyWhenItHasMoreThanTwoCharacters) {
  m().WebSite = "ab";
  BuildHTML(ctx());
  EXPECT_TRUE(s_.Has("Files/WebStats.html"));
  fs::create_directories(s_.dir() + "/site");
  m().WebSite = s_.dir() + "/site";
  BuildHTML(ctx());
  EXPECT_EQ(ReadFile(s_.dir() + "/site/WebStats.html"), s_.File("Files/WebStats.html"));
}

TEST_F(Tracking, WithNoNamesTheViewerHasOnlyTheTotalsRow) {
  ASSERT_EQ(c().Open("ViewStats"), "");
  EXPECT_EQ(m().StatsRows, (TextList{"4) Totals\t\t\t GB"}));
}

TEST_F(Tracking, TheViewerShowsSizesByGroupAndTheTotalsInGigabytes) {
  WriteFile(s_.dir() + "/Files/TData1.dat", "a.zip\r\n");
  WriteFile(s_.dir() + "/Files/TData4.dat", "d.zip\r\nbig.iso\r\n");
  ctx().INIWrite(TrackFile(1), "a.zip", "Hits", "2500");
  ctx().INIWrite(TrackFile(1), "a.zip", "HitsToday", "3");
  ctx().INIWrite(TrackFile(1), "a.zip", "Size", "2500000");
  ctx().INIWrite(TrackFile(1), "a.zip", "LastDate", "14 Nov 2012");
  ctx().INIWrite(TrackFile(4), "d.zip", "Size", "2500000");
  ctx().INIWrite(TrackFile(4), "big.iso", "Size", "3000000000000");
  ASSERT_EQ(c().Open("ViewStats"), "");
  EXPECT_EQ(m().StatsRows,
            (TextList{"1) a.zip\t2,500\t3\t2,500 KB\t14 Nov 2012", "4) d.zip\t\t\t3 MB\t",
                      "4) big.iso\t\t\t3,000 GB\t", "4) Totals\t2,500\t3\t3,000 GB"}));
}

TEST_F(Tracking, AutoRefreshCountsDownAndLoadsAgainAfterAMinute) {
  ASSERT_EQ(c().Open("ViewStats"), "");
  ASSERT_EQ(c().Do("ViewStats", "Auto Refresh"), "");
  EXPECT_EQ(m().StatsAutoRefresh, 1);
  WriteFile(s_.dir() + "/Files/TData1.dat", "late.htm\r\n");
  s_.loop().Wait(1000);
  EXPECT_EQ(m().StatsLabel1, "59");
  EXPECT_EQ(m().StatsRows.size(), 1u);
  s_.loop().Wait(59000);
  EXPECT_EQ(m().StatsLabel1, "0");
  EXPECT_EQ(m().StatsCounter, 0);
  EXPECT_EQ(m().StatsRows.size(), 2u);
  ASSERT_EQ(c().Do("ViewStats", "Auto Refresh"), "");
  s_.loop().Wait(5000);
  EXPECT_EQ(m().StatsLabel1, "0");
  ASSERT_EQ(c().Do("ViewStats", "Refresh Now"), "");
  // Closing the window stops its countdown and unticks the box.
  ASSERT_EQ(c().Do("ViewStats", "Auto Refresh"), "");
  s_.loop().Wait(2000);
  EXPECT_EQ(m().StatsLabel1, "58");
  ASSERT_EQ(c().Close("ViewStats"), "");
  EXPECT_FALSE(c().IsOpen("ViewStats"));
  EXPECT_EQ(m().StatsAutoRefresh, 0);
  s_.loop().Wait(5000);
  EXPECT_EQ(m().StatsLabel1, "58");
}

TEST_F(Tracking, TheMainWindowsMenuOpensTheSetUp) {
  ASSERT_EQ(c().Do("", "mnuWeb"), "");
  EXPECT_TRUE(c().IsOpen("tracking"));
  ASSERT_EQ(c().Close("tracking"), "");
  EXPECT_FALSE(c().IsOpen("tracking"));
}

}  // namespace
}  // namespace tarnex::testing
