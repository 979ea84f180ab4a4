// What a careless or hostile local user can do to the program when it runs as
// root on a shared server, and what the program does about it: its lock file,
// links and special files planted in its folder, a disk that fills, killed
// copies, and options that make no sense.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "core/profile.h"
#include "platform/native/native_files.h"
#include "platform/native/process.h"
#include "tests/server_process.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

constexpr const char* kLock = "/.tarnex-server.lock";
constexpr const char* kOtherUser = "nobody";

bool IsLink(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

bool IsRegular(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

void ExpectRefused(const Result& r, const std::string& words) {
  EXPECT_EQ(r.code, 2) << r.err;
  EXPECT_NE(r.err.find(words), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("There is already a copy"), std::string::npos) << r.err;
}

class Hardening : public LauncherTest {
 protected:
  void SetUp() override {
    LauncherTest::SetUp();
    // Another user must be able to reach the installation folder.
    ::chmod(dir_.c_str(), 0755);
    outside_ = dir_ + "/outside";
    std::filesystem::create_directories(outside_);
  }
  // Whether this host has the other user and the test may act as them.
  bool CanActAsAnotherUser() const {
    uid_t uid = 0;
    gid_t gid = 0;
    return ::geteuid() == 0 && UserIds(kOtherUser, uid, gid);
  }
  std::string outside_;
};

// ---------------------------------------------------------------- the lock

TEST_F(Hardening, LockHeldByAnotherUserCannotKeepTheServerFromStarting) {
  if (!CanActAsAnotherUser()) GTEST_SKIP() << "needs root and the user " << kOtherUser;
  ASSERT_EQ(RunServer(Sim({"--run-for", "1"})).code, 0);
  struct stat st {};
  ASSERT_EQ(::stat((app_ + kLock).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);

  // The other user tries to open the lock file and lock it, and says how it
  // went; then holds whatever it got until it is killed.
  int report[2];
  ASSERT_EQ(::pipe(report), 0);
  const pid_t other = fork();
  if (other == 0) {
    uid_t uid = 0;
    gid_t gid = 0;
    UserIds(kOtherUser, uid, gid);
    if (setgid(gid) != 0 || setuid(uid) != 0) _exit(1);
    const int fd = ::open((app_ + kLock).c_str(), O_RDONLY);
    const char got = fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) == 0 ? 'L' : 'N';
    [[maybe_unused]] ssize_t n = ::write(report[1], &got, 1);
    pause();
    _exit(0);
  }
  close(report[1]);
  char got = 0;
  ASSERT_EQ(::read(report[0], &got, 1), 1);
  close(report[0]);
  const Result r = RunServer(Sim({"--run-for", "1"}));
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  EXPECT_EQ(got, 'N') << "the other user locked the lock file";
  EXPECT_EQ(r.code, 0) << r.err;
}

TEST_F(Hardening, LockFileOfAnotherUserIsRefusedAndNothingIsWritten) {
  if (!CanActAsAnotherUser()) GTEST_SKIP() << "needs root and the user " << kOtherUser;
  uid_t uid = 0;
  gid_t gid = 0;
  UserIds(kOtherUser, uid, gid);
  std::filesystem::create_directories(app_);
  WriteFile(app_ + kLock, "");
  ASSERT_EQ(::chown((app_ + kLock).c_str(), uid, gid), 0);
  ExpectRefused(RunServer(Sim({"--run-for", "1"})), "belongs to another user");
  EXPECT_FALSE(Exists(app_ + "/Bin"));
}

TEST_F(Hardening, LockPathThatIsAFolderIsRefusedAndNothingIsWritten) {
  std::filesystem::create_directories(app_ + kLock);
  ExpectRefused(RunServer(Sim({"--run-for", "1"})), "is a folder");
  EXPECT_FALSE(Exists(app_ + "/Bin"));
}

TEST_F(Hardening, LockPathThatIsALinkIsRefusedAndNothingIsMadeWhereItLeads) {
  std::filesystem::create_directories(app_);
  ASSERT_EQ(::symlink((outside_ + "/made-by-root").c_str(), (app_ + kLock).c_str()), 0);
  ExpectRefused(RunServer(Sim({"--run-for", "1"})), "is a symbolic link");
  EXPECT_FALSE(Exists(outside_ + "/made-by-root"));
  EXPECT_FALSE(Exists(app_ + "/Bin"));
}

TEST_F(Hardening, LockFileOfAnEarlierVersionIsMadeTheServersOwn) {
  std::filesystem::create_directories(app_);
  WriteFile(app_ + kLock, "");
  ASSERT_EQ(::chmod((app_ + kLock).c_str(), 0644), 0);
  const Result r = RunServer(Sim({"--run-for", "1"}));
  EXPECT_EQ(r.code, 0) << r.err;
  struct stat st {};
  ASSERT_EQ(::lstat((app_ + kLock).c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(NamesWith(app_, ".tarnex-server.lock."), std::vector<std::string>{});
}

TEST_F(Hardening, CopiesStartedTogetherOverALockFileOfAnEarlierVersionLeaveOneRunning) {
  for (int attempt = 0; attempt < 5; ++attempt) {
    std::filesystem::remove_all(app_);
    std::filesystem::create_directories(app_);
    WriteFile(app_ + kLock, "");
    ASSERT_EQ(::chmod((app_ + kLock).c_str(), 0644), 0);
    // Each copy holds the folder for two real seconds, long past the others'
    // starts.
    std::vector<pid_t> copies;
    const int null = open("/dev/null", O_WRONLY);
    for (int i = 0; i < 4; ++i) {
      copies.push_back(Spawn(Sim({"--speed", "1", "--run-for", "2"}), null, null));
    }
    close(null);
    std::vector<int> codes;
    for (pid_t pid : copies) codes.push_back(Reap(pid));
    EXPECT_EQ(std::count(codes.begin(), codes.end(), 0), 1) << "attempt " << attempt;
    EXPECT_EQ(std::count(codes.begin(), codes.end(), 3), 3) << "attempt " << attempt;
  }
}

// ---------------------------------------------------------------- links and special files

TEST_F(Hardening, LinksPlantedAtTheNamesOfComingTemporaryFilesLeadNoWriteOutside) {
  std::filesystem::create_directories(app_ + "/Bin");
  for (const char* victim : {"/settings", "/facts", "/facts-target"}) {
    WriteFile(outside_ + victim, "precious\n");
  }
  // The child waits until the links for its process id are in place.
  int gate[2];
  ASSERT_EQ(::pipe(gate), 0);
  const int null = open("/dev/null", O_WRONLY);
  SpawnOptions options;
  options.gate = gate[0];
  const pid_t pid = Spawn(Sim({"--run-for", "5"}), null, null, options);
  close(null);
  close(gate[0]);
  const std::string suffix = ".tmp" + std::to_string(pid);
  ASSERT_EQ(
      ::symlink((outside_ + "/settings").c_str(), (app_ + "/Bin/Tarnex.Tnx" + suffix).c_str()), 0);
  ASSERT_EQ(
      ::symlink((outside_ + "/facts").c_str(), (app_ + "/Bin/SystemData.txt" + suffix).c_str()), 0);
  ASSERT_EQ(::symlink((outside_ + "/facts-target").c_str(), (app_ + "/Bin/SystemData.txt").c_str()),
            0);
  ASSERT_EQ(::write(gate[1], "g", 1), 1);
  close(gate[1]);
  EXPECT_EQ(Reap(pid), 0);
  for (const char* victim : {"/settings", "/facts", "/facts-target"}) {
    EXPECT_EQ(ReadFile(outside_ + victim), "precious\n") << victim;
  }
  EXPECT_TRUE(IsRegular(app_ + "/Bin/Tarnex.Tnx"));
  EXPECT_TRUE(IsRegular(app_ + "/Bin/SystemData.txt"));
  EXPECT_FALSE(Exists(app_ + "/Bin/Tarnex.Tnx" + suffix) ||
               IsLink(app_ + "/Bin/Tarnex.Tnx" + suffix));
}

TEST_F(Hardening, LogThatIsALinkIsNotWrittenThroughAndOnlyItsLineIsLost) {
  std::filesystem::create_directories(app_ + "/Logs");
  WriteFile(outside_ + "/victim", "precious\n");
  ASSERT_EQ(::symlink((outside_ + "/victim").c_str(), (app_ + "/Logs/Daily Bandwidth.txt").c_str()),
            0);
  const Result r = RunServer(Sim({"--run-for", "2"}));
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(ReadFile(outside_ + "/victim"), "precious\n");
  EXPECT_TRUE(IsLink(app_ + "/Logs/Daily Bandwidth.txt"));
  // The other logs of the first run are written.
  EXPECT_EQ(ReadFile(app_ + "/Logs/Monthly Bandwidth.txt"),
            "Tracking Started: 14 Nov 2012 10:00:00AM\r\n");
}

TEST_F(Hardening, SettingsFileThatIsALinkIsNeitherReadNorWrittenThrough) {
  std::filesystem::create_directories(app_ + "/Bin");
  WriteFile(outside_ + "/secret", "[Server]\r\nServer Name=Secret\r\n");
  ASSERT_EQ(::symlink((outside_ + "/secret").c_str(), (app_ + "/Bin/Tarnex.Tnx").c_str()), 0);
  const std::string dump = dir_ + "/model.json";
  const Result r = RunServer(Sim({"--run-for", "2", "--dump-model", dump}));
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(ReadFile(outside_ + "/secret"), "[Server]\r\nServer Name=Secret\r\n");
  EXPECT_TRUE(IsLink(app_ + "/Bin/Tarnex.Tnx"));
  EXPECT_EQ(ReadFile(dump).find("Secret"), std::string::npos);
}

TEST_F(Hardening, NamedPipeInPlaceOfTheSettingsFileDoesNotStopTheRun) {
  std::filesystem::create_directories(app_ + "/Bin");
  ASSERT_EQ(::mkfifo((app_ + "/Bin/Tarnex.Tnx").c_str(), 0644), 0);
  const Result r = RunServer(Sim({"--run-for", "2"}));
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_TRUE(IsRegular(app_ + "/Logs/Annual Bandwidth.txt"));
}

TEST_F(Hardening, NamedPipeInPlaceOfALogLetsTheFirstSignalCloseTheProgram) {
  std::filesystem::create_directories(app_ + "/Logs");
  ASSERT_EQ(::mkfifo((app_ + "/Logs/Daily Bandwidth.txt").c_str(), 0644), 0);
  const int null = open("/dev/null", O_WRONLY);
  const pid_t pid = Spawn(Sim({"--speed", "1"}), null, null);
  close(null);
  ASSERT_TRUE(WaitFor([&] { return Exists(app_ + "/Bin/SystemData.txt"); }, 300));
  kill(pid, SIGTERM);
  EXPECT_EQ(Reap(pid), 0);
  EXPECT_NE(ReadFile(app_ + "/Bin/Tarnex.Tnx").find("Left=0\r\nTop=0\r\n"), std::string::npos);
}

// ---------------------------------------------------------------- full disk, killed copies

TEST(HardeningFaults, LineCutShortByAFullDiskLeavesTheLogAsItWas) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  const std::string before = s.File("Logs/Daily Bandwidth.txt");
  ASSERT_FALSE(before.empty());
  s.faults().Inject({.op = "write", .subject = "Daily Bandwidth.txt", .times = 1, .partial = 5});
  s.faults().Inject({.op = "write", .subject = "14 Nov 12.txt", .times = 1, .partial = 3});
  EXPECT_FALSE(s.ctx().fs().Append(s.ctx().Path("\\Logs\\Daily Bandwidth.txt"), "half a line\r\n"));
  s.ctx().MyEvents("first");
  s.ctx().MyEvents("second");
  EXPECT_EQ(s.faults().Failed("write"), 2);
  EXPECT_EQ(s.File("Logs/Daily Bandwidth.txt"), before);
  EXPECT_EQ(s.File("Logs/2012/Nov/14 Nov 12.txt"), "second\r\n");
  // The next line starts on a line of its own.
  EXPECT_TRUE(s.ctx().fs().Append(s.ctx().Path("\\Logs\\Daily Bandwidth.txt"), "whole\r\n"));
  EXPECT_EQ(s.File("Logs/Daily Bandwidth.txt"), before + "whole\r\n");
}

TEST(HardeningFaults, SettingsCutShortByAFullDiskLeaveTheOldFileAndNoTemporary) {
  SimApp s(kBasicScenario, "", SimApp::Faults::kInjectable);
  ASSERT_TRUE(s.app().FormLoad());
  s.loop().DoEvents();
  const std::string before = s.File("Bin/Tarnex.Tnx");
  s.faults().Inject({.op = "write", .subject = "Tarnex.Tnx", .times = 1, .partial = 10});
  s.model().SName = "Main";
  s.app().Command1();
  s.loop().DoEvents();
  EXPECT_EQ(s.faults().Failed("write"), 1);
  EXPECT_EQ(ReadFile(s.dir() + "/Bin/Tarnex.Tnx"), before);
  EXPECT_EQ(Temporaries(s.dir() + "/Bin"), std::vector<std::string>{});
}

TEST_F(Hardening, TemporariesOfDeadWritersAreRemovedAtStartAndALiveOnesAreKept) {
  // A process id that is no longer running: a child that has ended.
  const pid_t dead = fork();
  if (dead == 0) _exit(0);
  waitpid(dead, nullptr, 0);
  const std::string stale = ".tmp" + std::to_string(dead);
  const std::string live = ".tmp" + std::to_string(getpid());
  std::filesystem::create_directories(app_ + "/Bin");
  std::filesystem::create_directories(app_ + "/Events/2012/Nov");
  WriteFile(app_ + "/Bin/Tarnex.Tnx" + stale, std::string(1000, 'x'));
  WriteFile(app_ + "/Bin/SystemData.txt" + stale, "x");
  WriteFile(app_ + "/Events/2012/Nov/14Nov12.txt" + stale, "x");
  WriteFile(app_ + "/Bin/Tarnex.Tnx" + live, "a writer that runs");
  WriteFile(outside_ + "/victim", "precious\n");
  ASSERT_EQ(
      ::symlink((outside_ + "/victim").c_str(), (app_ + "/Bin/Bandwidth.Tnx" + stale).c_str()), 0);
  const Result r = RunServer(Sim({"--run-for", "1"}));
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Temporaries(app_ + "/Bin"), std::vector<std::string>{"Tarnex.Tnx" + live});
  EXPECT_EQ(Temporaries(app_ + "/Events/2012/Nov"), std::vector<std::string>{});
  EXPECT_EQ(ReadFile(outside_ + "/victim"), "precious\n");
}

// ---------------------------------------------------------------- options

TEST_F(Hardening, RunForThatIsNotAFinitePositiveNumberIsRefused) {
  for (const char* bad : {"inf", "1e300", "nan", "-nan", "0", "-1", "1e999"}) {
    ExpectRefused(RunServer(Sim({"--run-for", bad})), "--run-for must be");
  }
  EXPECT_FALSE(Exists(app_));
}

TEST_F(Hardening, SpeedThatIsNotAFinitePositiveNumberIsRefused) {
  for (const char* bad : {"nan", "inf", "-5", "0", "1e300", "0.0000001"}) {
    ExpectRefused(RunServer(Sim({"--speed", bad, "--run-for", "1"})), "--speed must be");
  }
  EXPECT_FALSE(Exists(app_));
}

TEST_F(Hardening, ScenarioThatIsNotARegularFileOrTooLargeIsRefused) {
  ExpectRefused(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", "/dev/zero"}),
                "is not a regular file");
  ASSERT_EQ(::mkfifo((dir_ + "/pipe.json").c_str(), 0644), 0);
  ExpectRefused(
      RunServer({"--app-path", app_, "--platform", "sim", "--scenario", dir_ + "/pipe.json"}),
      "is not a regular file");
  const std::string large = dir_ + "/large.json";
  WriteFile(large, "{}");
  ASSERT_EQ(::truncate(large.c_str(), (64 << 20) + 1), 0);
  ExpectRefused(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", large}),
                "is larger than 64 MB");
  EXPECT_FALSE(Exists(app_));
  // A link the operator made to a scenario is followed.
  ASSERT_EQ(::symlink(scenario_.c_str(), (dir_ + "/linked.json").c_str()), 0);
  EXPECT_EQ(RunServer({"--app-path", app_, "--platform", "sim", "--scenario", dir_ + "/linked.json",
                       "--run-for", "1", "--quiet"})
                .code,
            0);
}

TEST_F(Hardening, StartNotInTheDocumentedFormOrRangeIsRefused) {
  for (const char* bad : {"0000-01-01 00:00:00", "2012-1-1 1:1:1", "0000-01-01",
                          "1969-12-31 23:59:59", "3000-01-01 00:00:00", " 2012-11-14 10:00:00",
                          "2012-11-14 10:00:00 ", "2012-11-14T10:00:00", "+012-11-14 10:00:00"}) {
    ExpectRefused(RunServer(Sim({"--start", bad, "--run-for", "1"})), "--start must be");
  }
  EXPECT_FALSE(Exists(app_));
  WriteFile(scenario_, R"({"start": "2012-1-1 1:1:1"})");
  ExpectRefused(RunServer(Sim({"--run-for", "1"})), "start");
  EXPECT_FALSE(Exists(app_));
  WriteFile(scenario_, kBasicScenario);
  const Result r = RunServer(Sim({"--start", "1970-01-01 00:00:00", "--run-for", "1"}));
  EXPECT_EQ(r.code, 0) << r.err;
}

TEST_F(Hardening, ModelDumpThatCannotBeWrittenEndsWithAFailureAfterTheNormalClose) {
  const Result r = RunServer(Sim({"--run-for", "2", "--dump-model", dir_ + "/no/such/model.json"}));
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("cannot write the model"), std::string::npos) << r.err;
  // The close ran as usual: the window place is in the settings.
  EXPECT_NE(ReadFile(app_ + "/Bin/Tarnex.Tnx").find("Left=0\r\nTop=0\r\n"), std::string::npos);
}

TEST_F(Hardening, InstallationFolderThatCannotBeWrittenIsRefused) {
  if (!CanActAsAnotherUser()) GTEST_SKIP() << "needs root and the user " << kOtherUser;
  // A folder of root's that the other user may read but not write.
  std::filesystem::create_directories(app_);
  ::chmod(app_.c_str(), 0755);
  ::chmod(scenario_.c_str(), 0644);
  SpawnOptions as_other;
  as_other.user = kOtherUser;
  ExpectRefused(RunServer(Sim({"--run-for", "1"}), as_other), "cannot be written");
  EXPECT_TRUE(std::filesystem::is_empty(app_));
  // One that cannot be made.
  const std::string nested = app_ + "/deeper/install";
  ExpectRefused(
      RunServer({"--app-path", nested, "--platform", "sim", "--scenario", scenario_}, as_other),
      "cannot be made");
  EXPECT_TRUE(std::filesystem::is_empty(app_));
}

TEST_F(Hardening, InstallationFolderHoldingABackslashIsRefused) {
  std::filesystem::create_directories(dir_ + "/x");
  std::filesystem::create_directories(dir_ + "/elsewhere");
  for (const std::string& bad : {dir_ + "/x\\..\\elsewhere", std::string("x\\..\\elsewhere")}) {
    ExpectRefused(RunServer({"--app-path", bad, "--platform", "sim", "--scenario", scenario_}),
                  "--app-path cannot hold a '\\'");
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir_ + "/elsewhere"));
  EXPECT_TRUE(std::filesystem::is_empty(dir_ + "/x"));
}

TEST_F(Hardening, LargeSettingsFileWithOnceOnStarts) {
  // About 50 MB of settings, the rules to report once, and no bottleneck
  // keys yet: start-up writes keys 1 to 100 of [Bottleneck].
  std::string text = "[Monitor]\r\nOnce=1\r\n[Filler]\r\n";
  const std::string value(60, 'x');
  for (int i = 0; text.size() < (50u << 20); ++i) {
    text += "Key" + std::to_string(i) + "=" + value + "\r\n";
  }
  std::filesystem::create_directories(app_ + "/Bin");
  WriteFile(app_ + "/Bin/Tarnex.Tnx", text);
  const Result r = RunServer(Sim({"--run-for", "1"}));
  ASSERT_EQ(r.code, 0) << r.err;
  NativeFiles files;
  ProfileStore store(files);
  for (const char* key : {"1", "61", "100"}) {
    EXPECT_EQ(store.Read(app_ + "/Bin/Tarnex.Tnx", "Bottleneck", key), "1") << key;
  }
  EXPECT_EQ(store.Read(app_ + "/Bin/Tarnex.Tnx", "Filler", "Key0"), value);
}

// ---------------------------------------------------------------- the file layer's rules

class FileRules : public ::testing::Test {
 protected:
  void SetUp() override { dir_ = MakeTempDir(); }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string dir_;
  NativeFiles files_;
};

TEST_F(FileRules, LinkInTheLastComponentOpensForNothingButAnOperatorsRead) {
  WriteFile(dir_ + "/target", "text");
  ASSERT_EQ(::symlink((dir_ + "/target").c_str(), (dir_ + "/link").c_str()), 0);
  for (OpenFor how :
       {OpenFor::kRead, OpenFor::kAppend, OpenFor::kAppendExisting, OpenFor::kWriteNew}) {
    EXPECT_LT(files_.Open(dir_ + "/link", how), 0) << static_cast<int>(how);
  }
  const int fd = files_.Open(dir_ + "/link", OpenFor::kReadThroughLinks);
  EXPECT_GE(fd, 0);
  if (fd >= 0) files_.Close(fd);
  EXPECT_FALSE(files_.Append(dir_ + "/link", "more"));
  EXPECT_EQ(ReadFile(dir_ + "/target"), "text");
}

TEST_F(FileRules, SpecialFilesAreUnreadableAtOnce) {
  ASSERT_EQ(::mkfifo((dir_ + "/pipe").c_str(), 0644), 0);
  for (const std::string& path : {dir_ + "/pipe", std::string("/dev/zero"), dir_}) {
    for (OpenFor how : {OpenFor::kRead, OpenFor::kReadThroughLinks, OpenFor::kAppendExisting}) {
      EXPECT_LT(files_.Open(path, how), 0) << path;
    }
  }
  std::string content;
  FileInfo info;
  EXPECT_FALSE(files_.ReadFile("/dev/zero", content, info, 1 << 20, OpenFor::kReadThroughLinks));
}

}  // namespace
}  // namespace tarnex::testing
