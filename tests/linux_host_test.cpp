// The Linux host's services to the system: environment, start at boot, the
// single instance, programs.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <filesystem>
#include <thread>

#include <nlohmann/json.hpp>

#include "core/app.h"
#include "core/timeline.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/proc_text.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

class LinuxHostServices : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    options_.app_path = dir_;
    options_.executable = "/opt/tarnex/tarnex-server";
    options_.boot_dir = dir_ + "/units";
    options_.unit_dir = dir_ + "/package";
    std::filesystem::create_directory(options_.boot_dir);
  }
  // The package's unit, as installing the package puts it in place.
  std::string InstallPackagedUnit() {
    std::filesystem::create_directory(options_.unit_dir);
    const std::string unit = options_.unit_dir + "/tarnex-server.service";
    WriteFile(unit, "[Unit]\nDescription=packaged\n[Install]\nWantedBy=multi-user.target\n");
    return unit;
  }
  std::string BootLink() const {
    return options_.boot_dir + "/multi-user.target.wants/tarnex-server.service";
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string dir_;
  LinuxOptions options_;
};

// Sets an environment variable for the length of a test.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST_F(LinuxHostServices, EnvironmentFallsBackToTheHostsOwnFacts) {
  ScopedEnv a("WinDIR", nullptr), b("COMPUTERNAME", nullptr), c("NUMBER_OF_PROCESSORS", nullptr);
  LinuxPlatform host(options_);
  EXPECT_EQ(host.Environment("WinDIR"), "/");
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  EXPECT_EQ(host.Environment("COMPUTERNAME"), name);
  EXPECT_EQ(host.Environment("NUMBER_OF_PROCESSORS"),
            std::to_string(sysconf(_SC_NPROCESSORS_ONLN)));
}

TEST_F(LinuxHostServices, EnvironmentVariablesWinWhenSet) {
  ScopedEnv a("WinDIR", "C:\\Windows"), b("COMPUTERNAME", "SRV9"), c("NUMBER_OF_PROCESSORS", "16");
  LinuxPlatform host(options_);
  EXPECT_EQ(host.Environment("WinDIR"), "C:\\Windows");
  EXPECT_EQ(host.Environment("COMPUTERNAME"), "SRV9");
  EXPECT_EQ(host.Environment("NUMBER_OF_PROCESSORS"), "16");
}

TEST_F(LinuxHostServices, StartAtBootWritesAndRemovesTheUnit) {
  LinuxPlatform host(options_);
  ASSERT_TRUE(host.SetStartAtBoot(dir_ + "\\Tarnex Server.exe"));
  const std::string unit = ReadFile(options_.boot_dir + "/tarnex-server.service");
  EXPECT_NE(unit.find("ExecStart=\"/opt/tarnex/tarnex-server\" --app-path \"" + dir_ + "\"\n"),
            std::string::npos)
      << unit;
  EXPECT_NE(unit.find("[Install]\nWantedBy=multi-user.target\n"), std::string::npos);
  EXPECT_TRUE(host.DeleteStartAtBoot());
  EXPECT_FALSE(Exists(options_.boot_dir + "/tarnex-server.service"));
  EXPECT_FALSE(host.DeleteStartAtBoot());
}

TEST_F(LinuxHostServices, WithThePackageInstalledStartAtBootEnablesAndDisablesItsUnit) {
  const std::string unit = InstallPackagedUnit();
  LinuxPlatform host(options_);
  ASSERT_TRUE(host.SetStartAtBoot(dir_ + "\\Tarnex Server.exe"));
  EXPECT_EQ(std::filesystem::read_symlink(BootLink()), unit);
  EXPECT_FALSE(Exists(options_.boot_dir + "/tarnex-server.service")) << "no unit of its own";
  ASSERT_TRUE(host.SetStartAtBoot(dir_ + "\\Tarnex Server.exe")) << "enabled twice";
  EXPECT_EQ(std::filesystem::read_symlink(BootLink()), unit);
  EXPECT_TRUE(host.DeleteStartAtBoot());
  EXPECT_FALSE(std::filesystem::is_symlink(BootLink()));
  EXPECT_TRUE(Exists(unit));
  EXPECT_TRUE(host.DeleteStartAtBoot()) << "disabling a disabled unit";
}

TEST_F(LinuxHostServices, TheOperatorsStartAtBootSettingEnablesAndDisablesThePackagesUnit) {
  const std::string unit = InstallPackagedUnit();
  LinuxPlatform host(options_);
  App app(host, dir_);
  ASSERT_TRUE(app.FormLoad());
  auto toggle = [&](int on) {
    const CivilTime now = app.loop().Now();
    OperatorTimeline timeline(app,
                              {{now, nlohmann::json{{"set", {{"Check3", {{"0", on}}}}}}},
                               {now, nlohmann::json{{"do", "Command1"}}}},
                              [](const std::string& problem) { ADD_FAILURE() << problem; });
    ASSERT_EQ(timeline.Check(), "");
    timeline.Start();
    for (int i = 0; i < 600 && timeline.Done() < 2; ++i) app.loop().Wait(50);
    EXPECT_EQ(timeline.Done(), 2u);
  };
  toggle(1);
  EXPECT_EQ(std::filesystem::read_symlink(BootLink()), unit);
  EXPECT_NE(ReadFile(dir_ + "/Bin/Tarnex.Tnx").find("Start at Boot=1\r\n"), std::string::npos);
  toggle(0);
  EXPECT_FALSE(std::filesystem::is_symlink(BootLink()));
  app.FormUnload();
}

TEST_F(LinuxHostServices, StartAtBootIntoAMissingFolderFails) {
  options_.boot_dir = dir_ + "/no/such/folder";
  LinuxPlatform host(options_);
  EXPECT_FALSE(host.SetStartAtBoot("x"));
}

TEST_F(LinuxHostServices, SecondInstanceInTheSameFolderIsRefused) {
  LinuxPlatform first(options_), second(options_);
  EXPECT_TRUE(first.FirstInstance(dir_));
  EXPECT_FALSE(second.FirstInstance(dir_));
  const std::string other = dir_ + "/other";
  std::filesystem::create_directory(other);
  EXPECT_TRUE(second.FirstInstance(other));
}

TEST_F(LinuxHostServices, OwnProcessHasItsExecutableAsItsFileAndAWindow) {
  LinuxPlatform host(options_);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  std::string path;
  ASSERT_TRUE(host.ProcessFileName(getpid(), path));
  EXPECT_EQ(path, self);
  EXPECT_EQ(host.ProcessWindow(getpid()), getpid());
  EXPECT_FALSE(host.ProcessFileName(999999999, path));
  EXPECT_EQ(host.ProcessWindow(999999999), 0);
  // The system's names are mapped as every other file name: backslashes, and
  // the case of existing components.
  const std::string folder = self.substr(0, self.find_last_of('/'));
  std::string name = self.substr(self.find_last_of('/') + 1);
  for (char& ch : name) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
  EXPECT_EQ(host.ProcessPathOf(folder + "\\" + name), self);
  EXPECT_EQ(host.ProcessPathOf("C:\\Apps\\app.exe"), "") << "names nothing here";
}

TEST_F(LinuxHostServices, ProcessListHasThisProgramNamedAsAModule) {
  LinuxPlatform host(options_);
  const auto pids = host.EnumProcesses();
  EXPECT_NE(std::find(pids.begin(), pids.end(), getpid()), pids.end());
  std::vector<std::string> modules;
  ASSERT_TRUE(host.ProcessModules(getpid(), modules));
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").filename().string();
  EXPECT_EQ(modules, std::vector<std::string>{self + ".exe"});
  EXPECT_FALSE(host.ProcessModules(999999999, modules));
}

TEST(ProgramNames, ScriptsAreNamedAfterTheScript) {
  EXPECT_EQ(ProgramBaseName("/usr/bin/python3.11", std::string("python3\0/srv/app/watch.py\0", 26)),
            "watch.exe");
  EXPECT_EQ(ProgramBaseName("/usr/bin/bash", std::string("bash\0-e\0/opt/run-backup.sh\0", 27)),
            "run-backup.exe");
  EXPECT_EQ(ProgramBaseName("/usr/sbin/nginx", std::string("nginx: master\0", 14)), "nginx.exe");
  EXPECT_EQ(ProgramBaseName("/usr/bin/perl", std::string("perl\0", 5)), "perl.exe");
  EXPECT_EQ(ProgramBaseName("/opt/app/server (deleted)", std::string("server\0", 7)), "server.exe");
}

TEST(ProgramNames, TheFullPathIsTheExecutableOrTheScriptInTheProcesssFolder) {
  EXPECT_EQ(ProgramPath("/opt/app/server (deleted)", std::string("server\0", 7), "/"),
            "/opt/app/server");
  EXPECT_EQ(ProgramPath("/opt/app/server", std::string("server\0", 7), "/tmp"), "/opt/app/server");
  EXPECT_EQ(
      ProgramPath("/usr/bin/python3.11", std::string("python3\0-u\0watch.py\0", 20), "/srv/app"),
      "/srv/app/watch.py");
  EXPECT_EQ(ProgramPath("/usr/bin/bash", std::string("bash\0../run.sh\0", 15), "/srv/app/bin"),
            "/srv/app/run.sh");
  EXPECT_EQ(ProgramPath("/usr/bin/perl", std::string("perl\0/opt/x.pl\0", 15), "/tmp"),
            "/opt/x.pl");
  EXPECT_EQ(ProgramPath("/usr/bin/bash", std::string("bash\0", 5), "/root"), "/usr/bin/bash")
      << "an interpreter without a script is the program";
}

TEST(ProgramNames, AProcessRunsUntilItIsAZombieOrDead) {
  EXPECT_TRUE(ProcessAlive("12 (a) b) S 1 12 12"));
  EXPECT_TRUE(ProcessAlive("12 (sleep) R 1 12 12"));
  EXPECT_FALSE(ProcessAlive("12 (sleep) Z 1 12 12"));
  EXPECT_FALSE(ProcessAlive("12 (sleep) X 1 12 12"));
  EXPECT_FALSE(ProcessAlive(""));
  EXPECT_FALSE(ProcessAlive("12 (sleep)"));
}

TEST_F(LinuxHostServices, ShellOpenStartsAnExecutableInItsFolder) {
  const std::string script = dir_ + "/companion.sh";
  WriteFile(script, "#!/bin/sh\npwd > started.txt\n");
  chmod(script.c_str(), 0755);
  LinuxPlatform host(options_);
  ASSERT_TRUE(host.ShellOpen(dir_ + "\\companion.sh", "", dir_));
  for (int i = 0; i < 100 && !Exists(dir_ + "/started.txt"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(ReadFile(dir_ + "/started.txt"), dir_ + "\n");
  EXPECT_FALSE(host.ShellOpen(dir_ + "\\missing.exe", "", dir_));
}

TEST(ProcStat, ProcessorLinesAreRead) {
  const auto cpus =
      ParseProcStat("cpu  100 5 50 800 10 2 3 0 0 0\ncpu0 50 2 25 400 5 1 1 0 0 0\nintr 12345 0\n");
  ASSERT_EQ(cpus.size(), 2u);
  EXPECT_EQ(cpus[0].name, "cpu");
  EXPECT_EQ(cpus[0].Total(), 970u);
  EXPECT_EQ(cpus[0].Idle(), 810u);
  EXPECT_EQ(cpus[1].name, "cpu0");
}

TEST(LinuxHostProcessor, IdleCounterReadsAPercentageAfterTwoCollections) {
  LinuxCounters counters;
  uint32_t query = 0;
  counters.OpenQuery(query);
  int32_t handle = 0;
  ASSERT_EQ(counters.AddCounter(query, "\\\\HOST\\Processor(0)\\% Idle Time", handle), 0u);
  uint32_t status = 0;
  counters.CollectQueryData(query);
  EXPECT_EQ(counters.GetDoubleCounterValue(handle, status), 0.0);  // a rate needs two samples
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  counters.CollectQueryData(query);
  const double idle = counters.GetDoubleCounterValue(handle, status);
  EXPECT_GE(idle, 0.0);
  EXPECT_LE(idle, 100.0);
  int32_t missing = 0;
  EXPECT_NE(counters.AddCounter(query, "\\\\HOST\\Processor(9999)\\% Idle Time", missing), 0u);
  EXPECT_EQ(missing, 0);
}

}  // namespace
}  // namespace tarnex::testing
