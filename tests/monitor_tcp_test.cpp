// Real monitors on loopback against the program, its simulated machine paced
// to real time: the banner, the logon, the frames each second, a finding, the
// take-over of a busy slot, and monitors that misbehave. Each test waits for
// what it needs, with a generous give-up, and never counts on how long
// anything takes.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>

#include "base/legacy.h"
#include "tests/loopback_client.h"
#include "tests/server_process.h"
#include "tools/monitor_protocol.h"

namespace tarnex::testing {
namespace {

using Monitor = LoopbackClient;

// The fields of each block of the first whole frame after `from`.
std::vector<size_t> FieldCounts(const std::string& got, size_t from) {
  const size_t start = got.find("C^", from);
  const size_t next = got.find("C^", start + 2);
  std::string frame = got.substr(start, next - start);
  const size_t at = frame.find('@');
  if (at != std::string::npos) frame.erase(at);
  std::vector<size_t> counts;
  const char* prefixes[] = {"C^", "M^", "H^", "S^", "R^", "X^"};
  for (int b = 0; b < 6; ++b) {
    const size_t s = frame.find(prefixes[b]);
    const size_t e = b < 5 ? frame.find(prefixes[b + 1]) : frame.size();
    if (s == std::string::npos || e == std::string::npos) return {};
    counts.push_back(legacy::Split(frame.substr(s + 2, e - s - 2), "|").size());
  }
  return counts;
}

const std::vector<size_t> kCounts = {8, 12, 12, 8, 8, 6};

class MonitorTcp : public LauncherTest {
 protected:
  void StartServer(const std::string& extra = "") {
    const std::vector<int> ports = FreePorts(2);
    port_ = ports[0];
    port2_ = ports[1];
    std::filesystem::create_directories(app_ + "/Bin");
    WriteFile(app_ + "/Bin/Tarnex.Tnx",
              "[Server]\r\nMonitor CPU Port=" + std::to_string(port_) +
                  "\r\nMonitor CPU Port 2=" + std::to_string(port2_) +
                  "\r\nMonitor CPU Pass 1=pw\r\nMonitor CPU Pass 2=pw2\r\n"
                  "Monitor Server Code=cc\r\nServer Name=Main\r\n" +
                  extra);
    out_ = open((dir_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    err_ = open((dir_ + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_ = Spawn(Sim({"--speed", "1", "--run-for", "3600"}), out_, err_);
    ASSERT_GT(pid_, 0);
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      Reap(pid_);
    }
    if (out_ >= 0) close(out_);
    if (err_ >= 0) close(err_);
    LauncherTest::TearDown();
  }
  // A monitor on slot 0 with its banner.
  std::unique_ptr<Monitor> Connected(int port, const std::string& banner) {
    auto m = std::make_unique<Monitor>();
    EXPECT_TRUE(m->Connect(port));
    EXPECT_TRUE(m->ReadUntil([&](const std::string& g) { return g.size() >= banner.size(); }));
    EXPECT_EQ(m->got().substr(0, banner.size()), banner);
    return m;
  }
  // A monitor on the slot with its banner, dialling again when the slot stood
  // closed for the cycle's half second and the connection went with the
  // listening socket, as a monitor program does; null after twenty tries.
  std::unique_ptr<Monitor> Redialled(int port, const std::string& banner) {
    for (int attempt = 0; attempt < 20; ++attempt) {
      auto m = std::make_unique<Monitor>();
      if (!m->Connect(port)) continue;
      m->ReadUntil([&](const std::string& g) { return g.size() >= banner.size(); });
      if (m->got().rfind(banner, 0) == 0) return m;
    }
    return nullptr;
  }
  bool Running() { return kill(pid_, 0) == 0; }

  int port_ = 0, port2_ = 0;
  pid_t pid_ = -1;
  int out_ = -1, err_ = -1;
};

TEST_F(MonitorTcp, BannerLogonWelcomeAndAFrameEachSecondWithItsFields) {
  StartServer();
  auto m = Connected(port_, "XPMain  (Remote 1)");
  m->Send("CHKpwCC");
  ASSERT_TRUE(m->ReadUntil([](const std::string& g) { return g.find("W^") != std::string::npos; }));
  const size_t welcome = m->got().find("W^");
  ASSERT_TRUE(m->ReadUntil([&](const std::string& g) {
    size_t n = 0;
    for (size_t at = g.find("C^", welcome); at != std::string::npos; at = g.find("C^", at + 1)) ++n;
    return n >= 3;
  }));
  EXPECT_EQ(FieldCounts(m->got(), welcome), kCounts);
  EXPECT_EQ(FieldCounts(m->got(), m->got().find("C^", welcome) + 2), kCounts);
}

TEST_F(MonitorTcp, AWrongLogonIsRefusedAndTheSlotTakesTheNextMonitor) {
  StartServer();
  auto m = Connected(port_, "XPMain  (Remote 1)");
  m->Send("CHKpwxx");
  EXPECT_TRUE(m->WaitClosed());
  EXPECT_NE(m->got().find("FAILED SERVER CODE\r\n"), std::string::npos) << m->got();
  auto again = Connected(port_, "XPMain  (Remote 1)");
  again->Send("CHKxxCC");
  EXPECT_TRUE(again->WaitClosed());
  EXPECT_NE(again->got().find("FAILED PASSWORD\r\n"), std::string::npos);
  auto other = Connected(port2_, "XPMain  (Remote 2)");
  other->Send("CHKpw2cc");
  EXPECT_TRUE(
      other->ReadUntil([](const std::string& g) { return g.find("W^") != std::string::npos; }));
}

TEST_F(MonitorTcp, AFindingReachesTheMonitorBehindTheFrame) {
  // The operator clicks the caption every two seconds of the first ten
  // minutes: each next rule pass finds its test text.
  std::string steps;
  for (int i = 2; i < 600; i += 2) {
    char at[32];
    std::snprintf(at, sizeof at, "2012-11-14 10:%02d:%02d", i / 60, i % 60);
    steps +=
        std::string(steps.empty() ? "" : ", ") + "{\"at\": \"" + at + "\", \"do\": \"Label16\"}";
  }
  std::string scenario = kBasicScenario;
  scenario.insert(scenario.rfind('}'), ", \"operator\": [" + steps + "]");
  WriteFile(scenario_, scenario);
  StartServer();
  auto m = Connected(port_, "XPMain  (Remote 1)");
  ASSERT_TRUE(m->ReadUntil([](const std::string& g) {
    const size_t at = g.find("@This is a Error Test");
    return at != std::string::npos && g.find("C^", at) != std::string::npos;
  })) << m->got().substr(0, 2000);
  const std::string& g = m->got();
  const size_t at = g.find("@This is a Error Test");
  // The note closes its frame: the next frame follows it at once.
  EXPECT_EQ(g.substr(at, 23), "@This is a Error TestC^");
  EXPECT_EQ(FieldCounts(g, g.rfind("C^", at)), kCounts);
}

TEST_F(MonitorTcp, ASecondMonitorTakesTheBusySlotOver) {
  StartServer();
  auto first = Connected(port_, "XPMain  (Remote 1)");
  ASSERT_TRUE(
      first->ReadUntil([](const std::string& g) { return g.find("C^") != std::string::npos; }));
  auto second = Connected(port_, "XPMain  (Remote 1)");
  EXPECT_TRUE(first->WaitClosed());
  EXPECT_TRUE(
      second->ReadUntil([](const std::string& g) { return g.find("C^") != std::string::npos; }));
}

TEST_F(MonitorTcp, GarbageAndTenMegabytesAndSilenceLeaveTheServerSendingFrames) {
  StartServer();
  auto silent = Connected(port2_, "XPMain  (Remote 2)");
  auto noisy = Connected(port_, "XPMain  (Remote 1)");
  std::mt19937 random(7);
  std::string garbage(4096, '\0');
  for (char& c : garbage) c = static_cast<char>(random());
  garbage[0] = 'x';  // not a logon
  noisy->Send(garbage);
  std::string big(10 * 1024 * 1024, 'Z');
  noisy->Send(big);
  // Both still get frames: one that never logs on, and one that sent junk.
  const size_t before = noisy->Count("C^");
  EXPECT_TRUE(
      noisy->ReadUntil([&](const std::string&) { return noisy->Count("C^") > before + 1; }));
  EXPECT_TRUE(silent->ReadUntil([&](const std::string&) { return silent->Count("C^") >= 3; }));
  EXPECT_TRUE(Running());
}

TEST_F(MonitorTcp, ManyConnectAndDropCyclesLeaveTheServerSampling) {
  StartServer();
  // The server's resident memory after a first round of connections, and
  // after five hundred more.
  const auto rss_kb = [this] {
    std::ifstream in("/proc/" + std::to_string(pid_) + "/status");
    std::string line;
    while (std::getline(in, line)) {
      if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    }
    return 0L;
  };
  // Connections that are made and dropped at once.
  const auto cycles = [this](int n) {
    for (int i = 0; i < n; ++i) {
      Monitor m;
      ASSERT_TRUE(m.Connect(port_)) << i;
    }
  };
  cycles(50);
  auto first = Redialled(port_, "XPMain  (Remote 1)");
  ASSERT_NE(first, nullptr);
  first->Drop();
  const long before = rss_kb();
  ASSERT_GT(before, 0);
  for (int round = 0; round < 10; ++round) {
    cycles(50);
    ASSERT_NE(Redialled(port_, "XPMain  (Remote 1)"), nullptr) << round;
  }
  auto last = Redialled(port_, "XPMain  (Remote 1)");
  ASSERT_NE(last, nullptr);
  EXPECT_TRUE(last->ReadUntil([&](const std::string&) { return last->Count("C^") >= 2; }));
  EXPECT_EQ(FieldCounts(last->got(), 0), kCounts);
  EXPECT_TRUE(Running());
  EXPECT_LT(rss_kb(), before + 8 * 1024) << "resident memory grew from " << before << " kB";
}

// The terminal monitor against the running server.

// The latest whole frame a plain client has had.
monitor::Frame FrameOf(const std::string& got) {
  monitor::Stream s;
  s.Add(got);
  const auto frames = s.TakeFrames();
  return frames.empty() ? monitor::Frame{} : frames.back();
}

TEST_F(MonitorTcp, TheTerminalMonitorPrintsOneFramesFiguresOnce) {
  StartServer();
  // What a plain client sees, for the figures that stay put in this machine.
  auto raw = Connected(port2_, "XPMain  (Remote 2)");
  ASSERT_TRUE(raw->ReadUntil([&](const std::string&) { return raw->Count("C^") >= 2; }));
  const monitor::Frame frame = FrameOf(raw->got());
  ASSERT_TRUE(frame.complete());
  const Result r =
      RunProgram({TARNEX_MONITOR_BINARY, "127.0.0.1", std::to_string(port_), "pw", "cc", "--once"});
  ASSERT_EQ(r.code, 0) << r.out;
  EXPECT_NE(r.out.find("Server: Main  (Remote 1)\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Processor:  " + frame.blocks[0][0] + "%   " + frame.blocks[0][7]),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("  Processes: " + frame.blocks[1][0] + "   Threads: " + frame.blocks[1][1]),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("Up time:    "), std::string::npos);
  EXPECT_NE(r.out.find("Server clock: "), std::string::npos);
}

TEST_F(MonitorTcp, TheTerminalMonitorSaysWhenTheLogonIsRefused) {
  StartServer();
  const Result r = RunProgram(
      {TARNEX_MONITOR_BINARY, "127.0.0.1", std::to_string(port_), "pw", "wrong", "--once"});
  EXPECT_EQ(r.code, 3) << r.out;
  EXPECT_NE(r.out.find("Logon failed: FAILED SERVER CODE"), std::string::npos) << r.out;
}

TEST_F(MonitorTcp, TheTerminalMonitorOnScreenUnderTmuxShowsTheFramesFigures) {
  if (RunProgram({"tmux", "-V"}).code != 0) GTEST_SKIP() << "no tmux on this machine";
  StartServer();
  auto raw = Connected(port2_, "XPMain  (Remote 2)");
  ASSERT_TRUE(raw->ReadUntil([&](const std::string&) { return raw->Count("C^") >= 2; }));
  const monitor::Frame frame = FrameOf(raw->got());
  ASSERT_TRUE(frame.complete());
  const std::string sock =
      "tarnex-monitor-" + std::to_string(getpid()) + "-" + std::to_string(port_);
  ASSERT_EQ(RunProgram({"tmux", "-L", sock, "new-session", "-d", "-x", "120", "-y", "45",
                        std::string(TARNEX_MONITOR_BINARY) + " 127.0.0.1 " + std::to_string(port_) +
                            " pw cc"})
                .code,
            0);
  std::string screen;
  const bool shown = WaitFor(
      [&] {
        screen = RunProgram({"tmux", "-L", sock, "capture-pane", "-p"}).out;
        return screen.find("Server clock: ") != std::string::npos &&
               screen.find("Logged on") != std::string::npos;
      },
      600);
  RunProgram({"tmux", "-L", sock, "send-keys", "q"});
  WaitFor([&] { return RunProgram({"tmux", "-L", sock, "has-session"}).code != 0; }, 50);
  RunProgram({"tmux", "-L", sock, "kill-server"});
  ASSERT_TRUE(shown) << screen;
  EXPECT_NE(screen.find("Main  (Remote 1)"), std::string::npos) << screen;
  EXPECT_NE(screen.find("Processor:  " + frame.blocks[0][0] + "%   " + frame.blocks[0][7]),
            std::string::npos)
      << screen;
  EXPECT_NE(screen.find("Processes: " + frame.blocks[1][0]), std::string::npos) << screen;
}

TEST(MonitorStream, CutsTheStreamIntoBannerWelcomeFramesFindingsAndMessages) {
  monitor::Stream s;
  s.Add("XPMain  (Remote 1)");
  s.Add("W^OS Name: Windows XP\r\nMemory: 4 GB");
  const std::string frame =
      "C^1.0|a|b|c|0|-1|-1|100 MHz"
      "M^1|2|3|4|5|6|7|8|9|10|11|12"
      "H^C|1|2|3|4|5|6|7|8|9|10|11"
      "S^1|2|a / b|4|5|6|7|8"
      "R^1|2|c / d|4|5|6|7|e / f"
      "X^up|1|2|next|last|03:04:05 PM";
  s.Add(frame + "@note\r\nline two" + "XMhello" + frame);
  EXPECT_EQ(s.Banner(), "Main  (Remote 1)");
  EXPECT_EQ(s.Welcome(), "OS Name: Windows XP\r\nMemory: 4 GB");
  EXPECT_EQ(s.Refusal(), "");
  const auto frames = s.TakeFrames();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_TRUE(frames[0].complete());
  EXPECT_EQ(frames[0].blocks[5][5], "03:04:05 PM");
  EXPECT_EQ(frames[0].finding, "note\r\nline two");
  EXPECT_EQ(frames[0].message, "XMhello");
  EXPECT_TRUE(s.Latest().complete());
  monitor::Stream refused;
  refused.Add("XPFAILED PASSWORD\r\n");
  EXPECT_EQ(refused.Refusal(), "FAILED PASSWORD");
}

}  // namespace
}  // namespace tarnex::testing
