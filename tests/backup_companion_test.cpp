// The back-up companions of this host run for real on files in a temporary
// folder: the archive and what it holds, the figures, the journal lines, a
// failure's exit and reason, the programs closed and started again around a
// full back-up, and the sending companion's copies with rsync.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/server_process.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

// Starts a program with its output to /dev/null.
pid_t StartProgram(const std::vector<std::string>& args) {
  const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  const pid_t pid = SpawnProgram(args, null, null);
  ::close(null);
  return pid;
}

// The lines of a journal, without their CR LF.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

// A key's value in a settings file ("" when it is not there).
std::string Key(const std::string& settings, const std::string& key) {
  for (const std::string& line : Lines(settings)) {
    if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1);
  }
  return {};
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class Companions : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    ASSERT_FALSE(dir_.empty());
    app_ = dir_ + "/install";
    bu_ = dir_ + "/bu";
    fs::create_directories(app_ + "/Bin");
    fs::create_directories(bu_);
    fs::copy_file(TARNEX_SBACKUP_BINARY, app_ + "/TarnexSBackup.exe");
    fs::copy_file(TARNEX_SENDBU_BINARY, app_ + "/SendBU.exe");
  }
  void TearDown() override {
    for (const pid_t pid : others_) ::kill(pid, SIGKILL);
    fs::remove_all(dir_);
  }

  void Settings(const std::string& server, const std::string& after = "") {
    WriteFile(app_ + "/Bin/Tarnex.Tnx", "[Server]\r\nBU Path=" + bu_ + "\r\n" + server + after);
  }
  void Put(const std::string& relative, const std::string& text) {
    fs::create_directories(fs::path(dir_ + "/" + relative).parent_path());
    WriteFile(dir_ + "/" + relative, text);
  }
  std::vector<std::string> Archives(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  // The processes of this host whose executable is `program`.
  std::vector<pid_t> Running(const std::string& program) {
    std::vector<pid_t> pids;
    for (const auto& e : fs::directory_iterator("/proc")) {
      const std::string name = e.path().filename();
      if (name.find_first_not_of("0123456789") != std::string::npos) continue;
      std::error_code error;
      if (fs::read_symlink(e.path() / "exe", error) == program) pids.push_back(std::stoi(name));
    }
    return pids;
  }

  std::string dir_, app_, bu_;
  std::vector<pid_t> others_;  // programs started by a companion, ended at the end
};

TEST_F(Companions, AFileBackUpArchivesEachEntryAndWritesItsFiguresAndJournal) {
  Put("data/a.txt", "alpha");
  Put("data/sub/b.txt", "beta");
  Put("other/c.txt", "gamma");
  Put("other/deeper/d.txt", "not taken: a folder alone");
  Put("single/e.txt", "epsilon");
  Put("single/f.txt", "not taken: another file");
  WriteFile(app_ + "/Bin/ServerBackup.Tnx", dir_ + "/data\\|Subs\r\n" + dir_ + "/other\\|None\r\n" +
                                                dir_ + "/single\\e.txt|File\r\n");
  Settings("");
  ASSERT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-S"}).code, 0);

  const auto archives = Archives(bu_);
  ASSERT_EQ(archives.size(), 1u);
  EXPECT_EQ(archives[0].rfind("TarnexBU-S-", 0), 0u) << archives[0];
  EXPECT_TRUE(EndsWith(archives[0], ".tar.gz")) << archives[0];
  const std::string archive = bu_ + "/" + archives[0];
  const std::string root = dir_.substr(1);
  std::set<std::string> held;
  for (const std::string& line : Lines(RunProgram({"tar", "-tzf", archive}).out)) held.insert(line);
  EXPECT_EQ(held, (std::set<std::string>{root + "/data/a.txt", root + "/data/sub/b.txt",
                                         root + "/other/c.txt", root + "/single/e.txt"}));
  EXPECT_EQ(RunProgram({"tar", "-xzOf", archive, root + "/data/sub/b.txt"}).out, "beta");

  const std::string settings = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(Key(settings, "BU File Total Cnt"), "1");
  EXPECT_EQ(Key(settings, "BU File Total Size"), std::to_string(fs::file_size(archive)));
  EXPECT_EQ(Key(settings, "BU Path"), bu_) << "the rest of the file stays";
  const auto journal = Lines(ReadFile(app_ + "/Events/BackUp.txt"));
  ASSERT_EQ(journal.size(), 1u);
  EXPECT_NE(journal[0].find("  File back-up complete: 4 files in " + archive + " ("),
            std::string::npos)
      << journal[0];

  // A second run adds an archive; the figures count both.
  Put("data/g.txt", "new");
  ASSERT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-S"}).code, 0);
  const auto both = Archives(bu_);
  ASSERT_EQ(both.size(), 2u);
  const std::string again = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(Key(again, "BU File Total Cnt"), "2");
  EXPECT_EQ(Key(again, "BU File Total Size"), std::to_string(fs::file_size(bu_ + "/" + both[0]) +
                                                             fs::file_size(bu_ + "/" + both[1])));
  EXPECT_EQ(Lines(ReadFile(app_ + "/Events/BackUp.txt")).size(), 2u);
}

TEST_F(Companions, AFailedBackUpEndsWithOneAndGivesItsReasonInTheJournal) {
  Put("data/a.txt", "alpha");
  WriteFile(app_ + "/Bin/ServerBackup.Tnx", dir_ + "/data\\|Subs\r\n");
  WriteFile(app_ + "/Bin/Tarnex.Tnx", "[Server]\r\nBU Path=" + dir_ + "/nowhere\r\n");
  EXPECT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-S"}).code, 1);
  auto journal = Lines(ReadFile(app_ + "/Events/BackUp.txt"));
  ASSERT_EQ(journal.size(), 1u);
  EXPECT_NE(journal[0].find("File back-up failed: the back-up location \"" + dir_ +
                            "/nowhere\" is not a folder"),
            std::string::npos)
      << journal[0];
  EXPECT_EQ(Key(ReadFile(app_ + "/Bin/Tarnex.Tnx"), "BU File Total Cnt"), "");

  // A listed folder that is not there.
  Settings("");
  WriteFile(app_ + "/Bin/ServerBackup.Tnx", dir_ + "/missing\\|None\r\n");
  EXPECT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-S"}).code, 1);
  journal = Lines(ReadFile(app_ + "/Events/BackUp.txt"));
  ASSERT_EQ(journal.size(), 2u);
  EXPECT_NE(journal[1].find("File back-up failed: cannot read the folder " + dir_ + "/missing"),
            std::string::npos)
      << journal[1];
  EXPECT_TRUE(Archives(bu_).empty()) << "nothing is left behind";

  // An unknown switch is refused without a journal line.
  EXPECT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-X"}).code, 2);
  EXPECT_EQ(Lines(ReadFile(app_ + "/Events/BackUp.txt")).size(), 2u);
}

TEST_F(Companions, AFullBackUpClosesTheListedProgramsAndStartsThemAgain) {
  const std::string keeper = dir_ + "/keeper.exe";
  fs::copy_file("/bin/sleep", keeper);
  fs::permissions(keeper, fs::perms::owner_all);
  const pid_t first = StartProgram({keeper, "120"});
  others_.push_back(first);
  // Wait for it to run the copy.
  for (int i = 0; i < 3000 && Running(keeper).empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_EQ(Running(keeper), std::vector<pid_t>{first});
  Put("data/a.txt", "alpha");
  WriteFile(app_ + "/Bin/ServerBackup.Tnx", dir_ + "/data\\|Subs\r\n");
  Settings("Close Prog 2=" + keeper + "\r\nCmdLine 2=90\r\nClose Prog 3=" + dir_ +
           "/not-running.exe\r\nCmdLine 3=1\r\n");
  ASSERT_EQ(RunProgram({app_ + "/TarnexSBackup.exe", "-F"}).code, 0);

  int status = 0;
  ASSERT_EQ(waitpid(first, &status, 0), first);
  others_.erase(std::find(others_.begin(), others_.end(), first));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM) << "asked to close";
  // Started again, detached, with its command line.
  std::vector<pid_t> again;
  for (int i = 0; i < 3000 && (again = Running(keeper)).empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  others_.insert(others_.end(), again.begin(), again.end());
  ASSERT_EQ(again.size(), 1u);
  std::string cmdline = ReadFile("/proc/" + std::to_string(again[0]) + "/cmdline");
  EXPECT_EQ(cmdline, keeper + std::string("\0"
                                          "90\0",
                                          4));

  const auto archives = Archives(bu_);
  ASSERT_EQ(archives.size(), 1u);
  EXPECT_EQ(archives[0].rfind("TarnexBU-F-", 0), 0u) << archives[0];
  const auto journal = Lines(ReadFile(app_ + "/Events/FBackUp.txt"));
  ASSERT_EQ(journal.size(), 1u);
  EXPECT_NE(journal[0].find("Full back-up complete: 1 files in "), std::string::npos) << journal[0];
  EXPECT_TRUE(EndsWith(journal[0], "; closed and started again: " + keeper)) << journal[0];
  EXPECT_FALSE(Exists(app_ + "/Events/BackUp.txt"));
  EXPECT_EQ(Key(ReadFile(app_ + "/Bin/Tarnex.Tnx"), "BU File Total Cnt"), "1");
}

TEST_F(Companions, TheSendingCompanionCopiesNewArchivesAndCountsThemAtEachDestination) {
  Put("bu/TarnexBU-S-20121114-100000.tar.gz", std::string(100, 'a'));
  Put("bu/TarnexBU-F-20121114-010000.tar.gz", std::string(250, 'b'));
  Put("bu/notes.txt", "not an archive");
  Settings("", "[Offsite]\r\nDest 1=" + dir_ + "/remote1\r\nDest 3=" + dir_ +
                   "/missing/deeper/still\r\n");
  EXPECT_EQ(RunProgram({app_ + "/SendBU.exe", "--once"}).code, 1) << "one destination failed";
  EXPECT_EQ(Archives(dir_ + "/remote1"),
            (std::vector<std::string>{"TarnexBU-F-20121114-010000.tar.gz",
                                      "TarnexBU-S-20121114-100000.tar.gz"}));
  std::string settings = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(Key(settings, "Offsite 1 Total Cnt"), "2");
  EXPECT_EQ(Key(settings, "Offsite 1 Total Size"), "350");
  EXPECT_EQ(Key(settings, "Offsite 3 Total Cnt"), "");
  auto journal = Lines(ReadFile(app_ + "/Events/Offsite.txt"));
  ASSERT_EQ(journal.size(), 2u);
  EXPECT_TRUE(EndsWith(journal[0],
                       "  Remote 1 (" + dir_ + "/remote1): sent 2 new back-up files (350 bytes)"))
      << journal[0];
  EXPECT_NE(
      journal[1].find("  Remote 3 (" + dir_ + "/missing/deeper/still): sending failed: rsync"),
      std::string::npos)
      << journal[1];

  // Only what is new goes; the figures count what the destination holds.
  Settings("", "[Offsite]\r\nDest 1=" + dir_ + "/remote1\r\n");
  Put("bu/TarnexBU-S-20121114-110000.tar.gz", std::string(40, 'c'));
  EXPECT_EQ(RunProgram({app_ + "/SendBU.exe", "--once"}).code, 0);
  journal = Lines(ReadFile(app_ + "/Events/Offsite.txt"));
  ASSERT_EQ(journal.size(), 3u);
  EXPECT_TRUE(EndsWith(journal[2], "sent 1 new back-up files (40 bytes)")) << journal[2];
  settings = ReadFile(app_ + "/Bin/Tarnex.Tnx");
  EXPECT_EQ(Key(settings, "Offsite 1 Total Cnt"), "3");
  EXPECT_EQ(Key(settings, "Offsite 1 Total Size"), "390");
  // Nothing new: no line.
  EXPECT_EQ(RunProgram({app_ + "/SendBU.exe", "--once"}).code, 0);
  EXPECT_EQ(Lines(ReadFile(app_ + "/Events/Offsite.txt")).size(), 3u);
}

TEST_F(Companions, TheSendingCompanionRunsUntilSigterm) {
  Put("bu/TarnexBU-S-20121114-100000.tar.gz", std::string(10, 'a'));
  Settings("", "[Offsite]\r\nDest 1=" + dir_ + "/remote1\r\nInterval=5\r\n");
  const pid_t pid = StartProgram({app_ + "/SendBU.exe"});
  others_.push_back(pid);
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < give_up &&
         ReadFile(app_ + "/Events/Offsite.txt").find("sent 1 new") == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, WNOHANG), 0) << "it keeps running";
  ASSERT_NE(ReadFile(app_ + "/Events/Offsite.txt").find("sent 1 new"), std::string::npos);
  ::kill(pid, SIGTERM);
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace tarnex::testing
