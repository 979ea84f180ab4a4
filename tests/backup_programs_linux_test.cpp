// Finding a program by its full path among this host's real processes: two
// copies of one executable, a script, an executable removed while it runs, a
// zombie, another user's process, and the close message.
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "backup/programs.h"
#include "core/context.h"
#include "core/profile.h"
#include "platform/linux/linux_platform.h"
#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

class HostLookUp : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    ASSERT_FALSE(dir_.empty());
    LinuxOptions options;
    options.app_path = dir_;
    host_ = std::make_unique<LinuxPlatform>(options);
    profiles_ = std::make_unique<ProfileStore>(host_->Fs());
    ctx_ = std::make_unique<Context>(*host_, model_, *profiles_);
  }
  void TearDown() override {
    for (const pid_t pid : children_) {
      ::kill(pid, SIGKILL);
      int status = 0;
      waitpid(pid, &status, 0);
    }
    fs::remove_all(dir_);
  }

  // A copy of the sleep program under the temporary folder.
  std::string CopyOfSleep(const std::string& name) {
    const std::string path = dir_ + "/" + name;
    fs::copy_file("/bin/sleep", path);
    fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
    return path;
  }

  // Starts `args` in `folder`; the child is killed and reaped at the end.
  pid_t Start(const std::vector<std::string>& args, const std::string& folder = "/") {
    SpawnOptions options;
    options.folder = folder;
    const pid_t pid = SpawnProgram(args, 1, 2, options);
    children_.push_back(pid);
    return pid;
  }

  // Waits until the process runs `program`, as this host names it (tens of
  // seconds at most); false when it never does.
  bool WaitForProgram(pid_t pid, const std::string& program) {
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string path;
    while (std::chrono::steady_clock::now() < give_up) {
      if (host_->ProcessFileName(pid, path) && path == program) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  // The position of a process in the host's list.
  size_t Position(pid_t pid) {
    const auto pids = host_->EnumProcesses();
    return static_cast<size_t>(std::find(pids.begin(), pids.end(), pid) - pids.begin());
  }

  std::string dir_;
  std::unique_ptr<LinuxPlatform> host_;
  std::unique_ptr<ProfileStore> profiles_;
  ServerModel model_;
  std::unique_ptr<Context> ctx_;
  std::vector<pid_t> children_;
};

TEST_F(HostLookUp, OfTwoCopiesOfAnExecutableTheFirstListedIsFound) {
  const std::string program = CopyOfSleep("TwoCopies.exe");
  const pid_t one = Start({program, "60"});
  const pid_t two = Start({program, "60"});
  ASSERT_TRUE(WaitForProgram(one, program));
  ASSERT_TRUE(WaitForProgram(two, program));
  const size_t first = std::min(Position(one), Position(two));
  if (first >= kProcessListRoom) GTEST_SKIP() << "this host lists more than 256 processes first";
  const pid_t expected = Position(one) < Position(two) ? one : two;
  EXPECT_EQ(FindProcess(*ctx_, dir_ + "\\TwoCopies.exe"), expected);
  EXPECT_EQ(FindProcess(*ctx_, "  " + dir_ + "\\twocopies.EXE "), expected)
      << "case and outer blanks aside";
  EXPECT_EQ(IsRunning(*ctx_, dir_ + "\\TwoCopies.exe"), expected) << "the window is the process";
  // Another spelling of the same file that is not its path does not match.
  fs::create_directory_symlink(dir_, dir_ + "-link");
  EXPECT_EQ(FindProcess(*ctx_, dir_ + "-link\\TwoCopies.exe"), 0);
  fs::remove(dir_ + "-link");
  // Once the first has ended, the other is found.
  ::kill(expected, SIGKILL);
  int status = 0;
  waitpid(expected, &status, 0);
  children_.erase(std::find(children_.begin(), children_.end(), expected));
  EXPECT_EQ(FindProcess(*ctx_, dir_ + "\\TwoCopies.exe"), expected == one ? two : one);
}

TEST_F(HostLookUp, AScriptIsFoundByItsPathResolvedAgainstItsFolder) {
  const std::string script = dir_ + "/watch.sh";
  // Its sleep does not hold the test's output open once the script is gone.
  WriteFile(script, "#!/bin/sh\nsleep 60 </dev/null >/dev/null 2>&1\nexit 0\n");
  chmod(script.c_str(), 0755);
  // Started by a relative name in its own folder.
  const pid_t pid = Start({"./watch.sh"}, dir_);
  ASSERT_TRUE(WaitForProgram(pid, script));
  if (Position(pid) >= kProcessListRoom) GTEST_SKIP() << "beyond the first 256 processes";
  EXPECT_EQ(FindProcess(*ctx_, dir_ + "\\watch.sh"), pid);
  EXPECT_EQ(FindProcess(*ctx_, "/bin/sh"), 0) << "the shell running it is not the program";
}

TEST_F(HostLookUp, AnExecutableRemovedWhileItRunsIsStillFoundByItsPath) {
  const std::string program = CopyOfSleep("gone.exe");
  const pid_t pid = Start({program, "60"});
  ASSERT_TRUE(WaitForProgram(pid, program));
  fs::remove(program);
  char target[4096] = {};
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
  ASSERT_EQ(std::string(target), program + " (deleted)");
  if (Position(pid) >= kProcessListRoom) GTEST_SKIP() << "beyond the first 256 processes";
  EXPECT_EQ(FindProcess(*ctx_, dir_ + "\\gone.exe"), pid);
}

TEST_F(HostLookUp, AZombieHasNoWindowAndSoDoesNotRun) {
  const pid_t pid = fork();
  if (pid == 0) _exit(0);
  children_.push_back(pid);
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  const std::string stat = "/proc/" + std::to_string(pid) + "/stat";
  while (std::chrono::steady_clock::now() < give_up && host_->ProcessWindow(pid) != 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // Not reaped yet: the process is still listed, as a zombie.
  ASSERT_TRUE(Exists(stat));
  EXPECT_NE(ReadFile(stat).find(") Z "), std::string::npos);
  EXPECT_EQ(host_->ProcessWindow(pid), 0);
  std::string path;
  EXPECT_FALSE(host_->ProcessFileName(pid, path));
}

TEST_F(HostLookUp, TheCloseMessageEndsAProgramThatTakesIt) {
  const std::string program = CopyOfSleep("closer.exe");
  const pid_t pid = Start({program, "60"});
  ASSERT_TRUE(WaitForProgram(pid, program));
  if (Position(pid) >= kProcessListRoom) GTEST_SKIP() << "beyond the first 256 processes";
  const int64_t window = IsRunning(*ctx_, dir_ + "\\closer.exe");
  ASSERT_EQ(window, pid);
  EXPECT_TRUE(host_->CloseWindow(window));
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  children_.erase(std::find(children_.begin(), children_.end(), pid));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
  EXPECT_EQ(IsRunning(*ctx_, dir_ + "\\closer.exe"), 0);
}

TEST_F(HostLookUp, AnotherUsersProcessIsNotFound) {
  if (getuid() != 0) GTEST_SKIP() << "needs root to run a process as another user";
  const std::string program = CopyOfSleep("rootonly.exe");
  const pid_t root_pid = Start({program, "60"});
  ASSERT_TRUE(WaitForProgram(root_pid, program));
  if (Position(root_pid) >= kProcessListRoom) GTEST_SKIP() << "beyond the first 256 processes";
  ASSERT_EQ(FindProcess(*ctx_, dir_ + "\\rootonly.exe"), root_pid) << "root finds it";
  // A child that drops to nobody (65534) looks for it, and for itself.
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  const pid_t child = fork();
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0) _exit(3);
    prctl(PR_SET_DUMPABLE, 1);
    if (FindProcess(*ctx_, dir_ + "\\rootonly.exe") != 0) _exit(1);
    if (FindProcess(*ctx_, self) == 0) _exit(2);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_NE(WEXITSTATUS(status), 1) << "another user's process was found";
  EXPECT_NE(WEXITSTATUS(status), 2) << "its own process was not found";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace tarnex::testing
