// The update check: the update server speaks first, with the current version
// and the address it sees; the labels, the question, and the hand-over to the
// downloader. First with a scripted server at full speed, then with a real
// one on loopback against the program itself.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "core/app.h"
#include "tests/scripted_network.h"
#include "tests/server_process.h"
#include "tests/test_support.h"
#include "update/update.h"

namespace tarnex::testing {
namespace {

constexpr const char* kQuestion =
    "An update is available for Tarnex Server. Would you like to update Now?";

using Machine = ScriptedMachine<>;

class UpdateCheckTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = SimPlatform::FromText(kBasicScenario, options, error);
    ASSERT_NE(sim_, nullptr) << error;
    machine_ = std::make_unique<Machine>(*sim_);
    machine_->net.local_address = "192.168.1.5";
    machine_->net.Serve("updates.test", "10.0.0.9", kUpdatePort);
    dir_ = MakeTempDir();
    WriteFile(dir_ + "/Tarnex Server.exe", "the program itself");
    app_ = std::make_unique<App>(*machine_, dir_);
  }
  void TearDown() override {
    app_.reset();
    machine_.reset();
    sim_.reset();
    std::filesystem::remove_all(dir_);
  }
  // Starts with the update server set, and has it answer `reply`.
  void StartAndReply(const std::string& reply) {
    app_->SetUpdateServer("updates.test", kUpdatePort);
    ASSERT_TRUE(app_->FormLoad());
    if (answer_ >= 0) app_->ctx().GiveAnswer(answer_ == 1);
    auto server = machine_->net.Answer("10.0.0.9", kUpdatePort);
    ASSERT_NE(server, nullptr) << "the check connects at start-up";
    EXPECT_EQ(server->Received(), "") << "the client says nothing";
    server->Send(reply);
    for (int i = 0; i < 50 && m().Label7.empty(); ++i) app_->loop().DoEvents();
    ASSERT_FALSE(m().Label7.empty());
  }
  ServerModel& m() { return app_->model(); }

  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<App> app_;
  std::string dir_;
  int answer_ = -1;  // the answer to the question, when one is expected
};

TEST_F(UpdateCheckTest, WithoutAnUpdateServerThereIsNoCheck) {
  ASSERT_TRUE(app_->FormLoad());
  EXPECT_EQ(app_->update().Winsock1().state(), Winsock::kClosed);
  EXPECT_EQ(m().Label7, "");
  EXPECT_EQ(m().Label6, "");
}

TEST_F(UpdateCheckTest, TheSameVersionAsksNothingAndShowsTheAddresses) {
  StartAndReply("0.80203.0.113.7");
  EXPECT_EQ(m().Label7, "Your Version: 0.80   Current Version: 0.80");
  EXPECT_EQ(m().Label6, "Modem IP: 203.0.113.7");
  EXPECT_EQ(m().Label8, "PC IP: 192.168.1.5");
  EXPECT_TRUE(m().OperatorQuestions.empty());
  EXPECT_EQ(app_->update().Winsock1().state(), Winsock::kClosed);
  EXPECT_FALSE(app_->update().Ended());
}

TEST_F(UpdateCheckTest, AnAddressTheSameAsThisMachinesChangesOnlyTheFirstLabel) {
  StartAndReply("0.79192.168.1.5");
  EXPECT_EQ(m().Label6, "IP: 192.168.1.5");
  EXPECT_EQ(m().Label8, "");
  EXPECT_TRUE(m().OperatorQuestions.empty()) << "an older version is not offered";
}

TEST_F(UpdateCheckTest, ANewerVersionIsOfferedAndNoLeavesEverythingAsItWas) {
  answer_ = 0;
  StartAndReply("0.81203.0.113.7");
  ASSERT_EQ(m().OperatorQuestions.size(), 1u);
  EXPECT_EQ(m().OperatorQuestions[0], kQuestion);
  EXPECT_EQ(app_->update().Winsock1().state(), Winsock::kClosed);
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/Back-up"));
  EXPECT_TRUE(sim_->started.empty());
  EXPECT_FALSE(app_->loop().Stopping());
}

TEST_F(UpdateCheckTest, ATwoDigitMajorVersionCountsAsNewer) {
  answer_ = 0;
  StartAndReply("10.5203.0.113.7");
  EXPECT_EQ(m().Label7, "Your Version: 0.80   Current Version: 10.5");
  EXPECT_EQ(m().OperatorQuestions.size(), 1u);
}

TEST_F(UpdateCheckTest, AShortReplyIsNeverNewer) {
  StartAndReply("0");
  EXPECT_EQ(m().Label7, "Your Version: 0.80   Current Version: 0");
  EXPECT_TRUE(m().OperatorQuestions.empty());
}

TEST_F(UpdateCheckTest, YesCopiesTheProgramStartsTheDownloaderAndEnds) {
  answer_ = 1;
  StartAndReply("0.90203.0.113.7");
  EXPECT_TRUE(app_->update().Ended());
  EXPECT_TRUE(app_->loop().Stopping());
  EXPECT_EQ(ReadFile(dir_ + "/Back-up/Tarnex Server Version 0.80.exe"), "the program itself");
  ASSERT_EQ(sim_->started.size(), 1u);
  EXPECT_EQ(sim_->started[0], dir_ + "\\Downloader.exe|-TarnexSer|" + dir_);
}

TEST(UpdateServerOption, TakesAHostWithOrWithoutItsPort) {
  std::string host;
  int port = 0;
  ASSERT_TRUE(ParseUpdateServer("updates.example", host, port));
  EXPECT_EQ(host, "updates.example");
  EXPECT_EQ(port, 32212);
  ASSERT_TRUE(ParseUpdateServer("127.0.0.1:4000", host, port));
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(port, 4000);
  EXPECT_FALSE(ParseUpdateServer("", host, port));
  EXPECT_FALSE(ParseUpdateServer(":4000", host, port));
  EXPECT_FALSE(ParseUpdateServer("h:0", host, port));
  EXPECT_FALSE(ParseUpdateServer("h:65536", host, port));
  EXPECT_FALSE(ParseUpdateServer("h:x", host, port));
}

// A real update server on loopback: it accepts one connection, speaks first
// and closes.
class LoopbackUpdateServer {
 public:
  explicit LoopbackUpdateServer(std::string reply) : reply_(std::move(reply)) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    listen(fd_, 4);
    socklen_t len = sizeof a;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] {
      const int c = accept(fd_, nullptr, nullptr);
      if (c < 0) return;
      accepted_ = true;
      [[maybe_unused]] ssize_t n = send(c, reply_.data(), reply_.size(), MSG_NOSIGNAL);
      char buffer[16];
      // Waits for the client to close its end.
      while (recv(c, buffer, sizeof buffer, 0) > 0) {
      }
      close(c);
    });
  }
  ~LoopbackUpdateServer() {
    shutdown(fd_, SHUT_RDWR);
    close(fd_);
    thread_.join();
  }
  int port() const { return port_; }
  bool accepted() const { return accepted_; }

 private:
  std::string reply_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> accepted_{false};
  std::thread thread_;
};

class UpdateCheckLauncher : public LauncherTest {};

TEST_F(UpdateCheckLauncher, TheProgramAsksALoopbackServerThatSpeaksFirst) {
  LoopbackUpdateServer server("0.80127.0.0.1");
  const std::string dump = dir_ + "/model.json";
  const Result r =
      RunServer(Sim({"--speed", "1", "--run-for", "3", "--update-server",
                     "127.0.0.1:" + std::to_string(server.port()), "--dump-model", dump}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_TRUE(server.accepted());
  const auto model = nlohmann::json::parse(ReadFile(dump));
  EXPECT_EQ(model["Label7"], "Your Version: 0.80   Current Version: 0.80");
  EXPECT_EQ(model["Label6"], "IP: 127.0.0.1") << "the same address as the machine's own end";
  EXPECT_EQ(model["Label8"], "");
}

TEST_F(UpdateCheckLauncher, ABadUpdateServerOptionIsRefused) {
  const Result r = RunServer(Sim({"--update-server", "host:99999"}));
  EXPECT_EQ(r.code, 2);
  EXPECT_NE(r.err.find("--update-server"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace tarnex::testing
