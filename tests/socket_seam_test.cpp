// Sockets come from the platform, so a peer scripted in the test can stand
// behind them: a protocol runs at full speed on the virtual clock.
#include <gtest/gtest.h>

#include "platform/forwarding_platform.h"
#include "platform/native/time_sources.h"
#include "tests/scripted_network.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

class SocketSeam : public ::testing::Test {
 protected:
  bool PumpUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 100 && !done(); ++i) loop_.Wait(10);
    return done();
  }
  VirtualTimeSource clock_{CivilTime{2012, 11, 14, 10, 0, 0, 0}, 0};
  EventLoop loop_{clock_};
  ScriptedNetwork net_;
};

TEST_F(SocketSeam, ScriptedPeerIsAcceptedAndTalksBothWays) {
  Winsock listener(loop_, net_), server(loop_, net_);
  listener.SetLocalPort(41000);
  ASSERT_EQ(listener.Listen(), 0);
  EXPECT_EQ(listener.state(), Winsock::kListening);
  listener.OnConnectionRequest = [&](intptr_t id) { server.Accept(id); };
  std::string got;
  server.OnDataArrival = [&](size_t) { got += server.GetData(); };

  auto peer = net_.Dial(41000);
  ASSERT_NE(peer, nullptr);
  ASSERT_TRUE(PumpUntil([&] { return server.state() == Winsock::kConnected; }));
  peer->Send("logon");
  ASSERT_TRUE(PumpUntil([&] { return got == "logon"; }));
  ASSERT_EQ(server.SendData("W^welcome"), 0);
  EXPECT_EQ(peer->Received(), "W^welcome");
  const int64_t started = clock_.MonotonicMs();
  EXPECT_LT(clock_.MonotonicMs() - started, 1000) << "no real time needed";
}

TEST_F(SocketSeam, PeerThatHangsUpLeavesTheControlClosing) {
  Winsock listener(loop_, net_), server(loop_, net_);
  listener.SetLocalPort(41000);
  ASSERT_EQ(listener.Listen(), 0);
  listener.OnConnectionRequest = [&](intptr_t id) { server.Accept(id); };
  bool closed = false;
  server.OnClose = [&] { closed = true; };
  {
    auto peer = net_.Dial(41000);
    ASSERT_TRUE(PumpUntil([&] { return server.state() == Winsock::kConnected; }));
  }
  ASSERT_TRUE(PumpUntil([&] { return closed; }));
  EXPECT_EQ(server.state(), Winsock::kClosing);
}

TEST_F(SocketSeam, ConnectionToAScriptedServiceReachesThePeer) {
  net_.Serve("relay.test", "10.0.0.25", 25);
  Winsock client(loop_, net_);
  bool connected = false;
  client.OnConnect = [&] { connected = true; };
  ASSERT_EQ(client.Connect("relay.test", 25), 0);
  ASSERT_TRUE(PumpUntil([&] { return connected; }));
  EXPECT_EQ(client.RemoteHostIP(), "10.0.0.25");
  auto peer = net_.Answer("10.0.0.25", 25);
  ASSERT_NE(peer, nullptr);
  peer->Send("220 ready\r\n");
  std::string got;
  client.OnDataArrival = [&](size_t) { got += client.GetData(); };
  ASSERT_TRUE(PumpUntil([&] { return !got.empty(); }));
  EXPECT_EQ(got, "220 ready\r\n");
}

TEST_F(SocketSeam, UnknownHostFailsTheConnection) {
  Winsock client(loop_, net_);
  int error = 0;
  client.OnError = [&](int number, const std::string&) { error = number; };
  ASSERT_EQ(client.Connect("nowhere.test", 25), 0);
  EXPECT_EQ(client.state(), Winsock::kError);
  EXPECT_EQ(error, Winsock::kErrHostNotFound);
}

TEST(SocketSeamApplication, SlotsListenThroughThePlatform) {
  SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = SimPlatform::FromText(kBasicScenario, options, error);
  ASSERT_NE(sim, nullptr) << error;
  ScriptedMachine machine(*sim);
  const std::string dir = MakeTempDir();
  {
    App app(machine, dir);
    ASSERT_TRUE(app.FormLoad());
    app.model().CPUPort2 = "42000";
    app.Command1();
    EXPECT_TRUE(machine.net.Listening(42000));
    EXPECT_EQ(app.Listener(1).state(), Winsock::kListening);
    // A monitor that dials is taken by the slot and has its banner.
    auto monitor = machine.net.Dial(42000);
    ASSERT_NE(monitor, nullptr);
    for (int i = 0; i < 10 && monitor->Received().empty(); ++i) app.loop().DoEvents();
    EXPECT_EQ(monitor->Received(), "XP");
    EXPECT_EQ(app.Listener(1).state(), Winsock::kConnected);
    app.FormUnload();
    EXPECT_TRUE(monitor->Closed());
    EXPECT_FALSE(machine.net.Listening(42000));
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace tarnex::testing
