// The server on this host with a one-minute back-up interval and the real
// back-up companion in its installation folder: the clock starts the
// companion, which backs a folder up, and the status lines that a monitor
// sees change from the countdown to the start and to the end of the run.
// The test waits for each event with a generous give-up and never counts on
// how long anything takes.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "core/profile.h"
#include "platform/native/native_files.h"
#include "tests/loopback_client.h"
#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

namespace fs = std::filesystem;

class ServerOnHost : public LauncherTest {
 protected:
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      Reap(pid_);
    }
    if (out_ >= 0) close(out_);
    if (err_ >= 0) close(err_);
    LauncherTest::TearDown();
  }
  pid_t pid_ = -1;
  int out_ = -1, err_ = -1;
};

TEST_F(ServerOnHost, AOneMinuteIntervalBacksAFolderUpThroughTheRealCompanion) {
  const std::string bu = dir_ + "/bu";
  const std::string data = dir_ + "/data";
  fs::create_directories(app_ + "/Bin");
  fs::create_directories(bu);
  fs::create_directories(data + "/sub");
  fs::create_directories(dir_ + "/units");
  WriteFile(data + "/one.txt", "one");
  WriteFile(data + "/sub/two.txt", "two");
  fs::copy_file(TARNEX_SBACKUP_BINARY, app_ + "/TarnexSBackup.exe");
  const int port = FreePort();
  WriteFile(app_ + "/Bin/Tarnex.Tnx",
            "[Server]\r\nBU Freq=1\r\nBU Path=" + bu + "\r\nMonitor CPU Port=" +
                std::to_string(port) + "\r\nMonitor CPU Pass 1=pw\r\nMonitor Server Code=cc\r\n");
  WriteFile(app_ + "/Bin/ServerBackup.Tnx", data + "\\|Subs\r\n");
  out_ = open((dir_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  err_ = open((dir_ + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const std::string dump = dir_ + "/model.json";
  pid_ =
      Spawn({"--app-path", app_, "--boot-dir", dir_ + "/units", "--dump-model", dump}, out_, err_);
  ASSERT_GT(pid_, 0);

  LoopbackClient monitor(300);
  ASSERT_TRUE(monitor.Connect(port));
  const auto arrived = [&monitor](const std::string& what, size_t from) {
    monitor.ReadUntil([&](const std::string& got) { return got.find(what, from) != got.npos; });
    return monitor.got().find(what, from);
  };
  ASSERT_NE(arrived("XP", 0), std::string::npos);
  monitor.Send("CHKpwcc");
  // The countdown, then the start of the run, then its end.
  const size_t countdown = arrived("Next File BU: ", 0);
  ASSERT_NE(countdown, std::string::npos) << monitor.got().substr(0, 400);
  const size_t complete = arrived("Last BU Complete: ", countdown);
  ASSERT_NE(complete, std::string::npos);
  // Frames go out every cycle, between two ticks of the back-up clock, so
  // the start of the run shows before its end.
  const size_t started = monitor.got().find("Last BU Started: ", countdown);
  EXPECT_LT(started, complete);

  // The archive holds the folder's files, and the figures and the journal
  // say so.
  std::vector<std::string> archives;
  for (const auto& e : fs::directory_iterator(bu)) archives.push_back(e.path().filename());
  ASSERT_EQ(archives.size(), 1u);
  EXPECT_EQ(archives[0].rfind("TarnexBU-S-", 0), 0u) << archives[0];
  std::set<std::string> held;
  std::istringstream lines(RunProgram({"tar", "-tzf", bu + "/" + archives[0]}).out);
  for (std::string line; std::getline(lines, line);) held.insert(line);
  EXPECT_EQ(held,
            (std::set<std::string>{data.substr(1) + "/one.txt", data.substr(1) + "/sub/two.txt"}));
  NativeFiles files;
  const auto key = [&](const char* name) {
    return ProfileStore(files).Read(app_ + "/Bin/Tarnex.Tnx", "Server", name);
  };
  EXPECT_EQ(key("BU File Total Cnt"), "1");
  EXPECT_EQ(key("BU File Total Size"), std::to_string(fs::file_size(bu + "/" + archives[0])));
  EXPECT_NE(ReadFile(app_ + "/Events/BackUp.txt").find("File back-up complete: 2 files in "),
            std::string::npos);

  // A normal close; the model has the run ended.
  kill(pid_, SIGTERM);
  EXPECT_EQ(Reap(pid_), 0);
  pid_ = -1;
  const auto model = nlohmann::json::parse(ReadFile(dump));
  EXPECT_EQ(model["BUFreq"], "1");
  EXPECT_EQ(model["BackupInterval"], 60);
}

}  // namespace
}  // namespace tarnex::testing
