// The monitor slots with a scripted monitor behind the socket seam, at full
// speed on the virtual clock: the banner, the logon and its replies, the
// take-over of a busy slot, the close, the watches, the status frame and the
// server messages.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "base/legacy.h"
#include "core/app.h"
#include "core/commands.h"
#include "monitorlink/link.h"
#include "monitorlink/listeners.h"
#include "rules/engine.h"
#include "tests/scripted_network.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using Machine = ScriptedMachine<>;

constexpr const char* kSettings =
    "[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Port 2=42000\r\n"
    "Monitor CPU Port 3=43000\r\nMonitor CPU Port 4=44000\r\nMonitor CPU Port 5=45000\r\n"
    "Monitor CPU Pass 1=Secret\r\nMonitor CPU Pass 2=pw2\r\nMonitor CPU Pass 4=pw4\r\n"
    "Monitor Server Code=Code9\r\nServer Name=Main\r\n";

class MonitorLink : public ::testing::Test {
 protected:
  void Start(const std::string& settings = kSettings) {
    SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = SimPlatform::FromText(kBasicScenario, options, error);
    ASSERT_NE(sim_, nullptr) << error;
    machine_ = std::make_unique<Machine>(*sim_);
    dir_ = MakeTempDir();
    std::filesystem::create_directories(dir_ + "/Bin");
    WriteFile(dir_ + "/Bin/Tarnex.Tnx", settings);
    app_ = std::make_unique<App>(*machine_, dir_);
    ASSERT_TRUE(app_->FormLoad());
  }
  void TearDown() override {
    app_.reset();
    machine_.reset();
    sim_.reset();
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }
  ServerModel& m() { return app_->model(); }
  ScriptedNetwork& net() { return machine_->net; }
  bool PumpUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 200 && !done(); ++i) app_->loop().DoEvents();
    return done();
  }
  // A monitor dials the slot's port and has its banner.
  std::unique_ptr<ScriptedNetwork::Peer> Connect(int slot, const std::string& banner) {
    auto peer = net().Dial(41000 + 1000 * slot);
    EXPECT_NE(peer, nullptr);
    if (!peer) return peer;
    EXPECT_TRUE(PumpUntil([&] { return peer->Received().size() >= banner.size(); }));
    EXPECT_EQ(peer->Received(), banner);
    EXPECT_EQ(app_->Listener(slot).state(), Winsock::kConnected);
    return peer;
  }
  std::string Journal() { return m().EventText; }

  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<App> app_;
  std::string dir_;
};

// The banner.

TEST_F(MonitorLink, ConnectionGetsTheBannerWithTheServerNameAndSlotFromOne) {
  Start();
  auto peer = Connect(1, "XPMain  (Remote 2)");
  EXPECT_EQ(m().ConnectBanner, "XPMain  (Remote 2)");
  EXPECT_EQ(m().conc[1], 1);
  EXPECT_EQ(m().coffc[1], 0);
}

TEST_F(MonitorLink, WithoutAServerNameTheBannerIsXPAlone) {
  Start("[Server]\r\nMonitor CPU Port=41000\r\n");
  auto peer = Connect(0, "XP");
  EXPECT_EQ(m().ConnectBanner, "XP");
}

// The logon.

TEST_F(MonitorLink, PasswordAndCodeInOneRunPassAndGetTheWelcome) {
  Start();
  m().SysInfo = "OS Name: Test\r\nProcessors: 2";
  auto peer = Connect(0, "XPMain  (Remote 1)");
  peer->Send("CHKSecretCode9");
  ASSERT_TRUE(PumpUntil([&] { return peer->Received().size() > 18; }));
  EXPECT_EQ(peer->Received(), "XPMain  (Remote 1)W^OS Name: Test\r\nProcessors: 2");
  EXPECT_EQ(m().SlotStatus, 1);
  EXPECT_EQ(m().Label27, "Password Check Passed Remote 0");
}

TEST_F(MonitorLink, EmptyPasswordAndEmptyCodeLetCHKAlonePass) {
  Start("[Server]\r\nMonitor CPU Port 3=43000\r\n");
  auto peer = Connect(2, "XP");
  peer->Send("CHK");
  ASSERT_TRUE(PumpUntil([&] { return m().SlotStatus == 1; }));
  EXPECT_EQ(peer->Received(), "XPW^" + m().SysInfo);
  EXPECT_EQ(m().Label27, "Password Check Passed Remote 2");
}

TEST_F(MonitorLink, PasswordCaseDoesNotMatter) {
  Start();
  auto peer = Connect(0, "XPMain  (Remote 1)");
  peer->Send("CHKsECRETcode9");
  ASSERT_TRUE(PumpUntil([&] { return m().SlotStatus == 1; }));
  EXPECT_EQ(m().Label27, "Password Check Passed Remote 0");
}

TEST_F(MonitorLink, LowerCaseChkIsIgnoredAndTheConnectionStays) {
  Start();
  auto peer = Connect(0, "XPMain  (Remote 1)");
  peer->Send("chkSecretCode9");
  ASSERT_TRUE(PumpUntil([&] { return m().Label27 == "chkSecretCode9"; }));
  for (int i = 0; i < 20; ++i) app_->loop().DoEvents();
  EXPECT_EQ(app_->Listener(0).state(), Winsock::kConnected);
  EXPECT_EQ(peer->Received(), "XPMain  (Remote 1)");
  EXPECT_EQ(m().SlotStatus, 0);
  EXPECT_FALSE(peer->Closed());
}

struct FailureCase {
  const char* settings;
  const char* logon;
  const char* journal;
  const char* reply;
};

class LogonFailure : public MonitorLink, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(LogonFailure, JournalsRepliesClosesAndListensAgain) {
  Start(GetParam().settings);
  auto peer = Connect(0, "XP");
  peer->Send(GetParam().logon);
  ASSERT_TRUE(PumpUntil([&] { return peer->Closed(); }));
  EXPECT_EQ(peer->Received(), std::string("XP") + GetParam().reply);
  EXPECT_NE(Journal().find(GetParam().journal), std::string::npos) << Journal();
  EXPECT_EQ(m().Label27, "Password Check Failed Remote 0");
  EXPECT_EQ(m().SlotStatus, 0) << "a failed logon does not touch it";
  EXPECT_EQ(app_->Listener(0).state(), Winsock::kListening);
  EXPECT_TRUE(net().Listening(41000));
  // And the monitor may try again at once.
  auto again = Connect(0, "XP");
}

INSTANTIATE_TEST_SUITE_P(
    MonitorLink, LogonFailure,
    ::testing::Values(
        // A wrong code behind the right password.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
                    "Monitor Server Code=abc\r\n",
                    "CHKpwxyz", "Log on Failed for Monitoring Remote 1  Server Code Incorrect",
                    "FAILED SERVER CODE\r\n"},
        // A wrong password before the right code.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
                    "Monitor Server Code=abc\r\n",
                    "CHKqqABC", "Log on Failed for Monitoring Remote 1  Password Incorrect",
                    "FAILED PASSWORD\r\n"},
        // Both wrong.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
                    "Monitor Server Code=abc\r\n",
                    "CHKqqxyz",
                    "Log on Failed for Monitoring Remote 1  Password and Server Code Incorrect",
                    "FAILED Check Password and Server Code\r\n"},
        // The right password, an empty code and a tail: the first test holds.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n", "CHKpwtail",
                    "Log on Failed for Monitoring Remote 1  Server Code Incorrect",
                    "FAILED SERVER CODE\r\n"},
        // A line end behind the right logon is part of it.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
                    "Monitor Server Code=abc\r\n",
                    "CHKpwabc\r\n", "Log on Failed for Monitoring Remote 1  Server Code Incorrect",
                    "FAILED SERVER CODE\r\n"},
        // The password a prefix and the code a suffix, with more between.
        FailureCase{"[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
                    "Monitor Server Code=abc\r\n",
                    "CHKpw--abc", "Log on Failed for Monitoring Remote 1  Server Code Incorrect",
                    "FAILED SERVER CODE\r\n"}));

TEST_F(MonitorLink, ALogonSplitAfterCHKFailsOnItsFirstPiece) {
  Start(
      "[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Pass 1=pw\r\n"
      "Monitor Server Code=abc\r\n");
  auto peer = Connect(0, "XP");
  peer->Send("CHK");
  ASSERT_TRUE(PumpUntil([&] { return peer->Closed(); }));
  EXPECT_EQ(peer->Received(), "XPFAILED Check Password and Server Code\r\n");
  peer->Send("pwabc");
  for (int i = 0; i < 10; ++i) app_->loop().DoEvents();
  EXPECT_EQ(m().SlotStatus, 0);
}

TEST_F(MonitorLink, TheLogonIsCheckedAgainstItsOwnSlotsPassword) {
  Start();
  auto peer = Connect(3, "XPMain  (Remote 4)");
  peer->Send("CHKSecretCode9");  // slot 0's password
  ASSERT_TRUE(PumpUntil([&] { return peer->Closed(); }));
  EXPECT_EQ(peer->Received(), "XPMain  (Remote 4)FAILED PASSWORD\r\n");
  EXPECT_NE(Journal().find("Log on Failed for Monitoring Remote 4  Password Incorrect"),
            std::string::npos);
  EXPECT_EQ(m().Label27, "Password Check Failed Remote 3");
}

TEST(CheckLogon, DecidesOnTheTextAlone) {
  EXPECT_EQ(CheckLogon("CHK", "", "", 0).kind, LogonOutcome::kPassed);
  EXPECT_EQ(CheckLogon("Chk", "", "", 0).kind, LogonOutcome::kIgnored);
  EXPECT_EQ(CheckLogon("", "", "", 0).kind, LogonOutcome::kIgnored);
  EXPECT_EQ(CheckLogon("CHKPWCODE", "pw", "code", 0).kind, LogonOutcome::kPassed);
  const LogonOutcome empty_password = CheckLogon("CHKzz", "", "code", 4);
  EXPECT_EQ(empty_password.reply, "FAILED SERVER CODE\r\n") << "an empty password is a prefix";
  EXPECT_EQ(empty_password.journal, "Log on Failed for Monitoring Remote 5  Server Code Incorrect");
}

// The take-over, the close and the watches.

TEST_F(MonitorLink, ASecondMonitorTakesABusySlotOver) {
  Start();
  auto first = Connect(0, "XPMain  (Remote 1)");
  auto second = net().Dial(41000);
  ASSERT_NE(second, nullptr);
  ASSERT_TRUE(PumpUntil([&] { return first->Closed(); }));
  ASSERT_TRUE(PumpUntil([&] { return second->Received() == "XPMain  (Remote 1)"; }));
  EXPECT_EQ(app_->Listener(0).state(), Winsock::kConnected);
  EXPECT_TRUE(net().Listening(41000)) << "the port stays open behind the connection";
  app_->Timer1();
  EXPECT_EQ(second->Received().substr(0, 20), "XPMain  (Remote 1)C^");
  EXPECT_EQ(first->Received(), "XPMain  (Remote 1)") << "no word to the first";
}

TEST_F(MonitorLink, AMonitorThatHangsUpLeavesTheSlotListeningOnItsPort) {
  Start();
  { auto peer = Connect(4, "XPMain  (Remote 5)"); }
  ASSERT_TRUE(PumpUntil([&] { return m().SlotStatus == 2; }));
  EXPECT_EQ(app_->Listener(4).state(), Winsock::kListening);
  EXPECT_EQ(app_->Listener(4).BoundPort(), 45000);
  EXPECT_EQ(m().conc[4], 0);
  EXPECT_EQ(m().coffc[4], 1);
}

TEST_F(MonitorLink, TheConnectEventSaysSoInTheStatusLine) {
  Start();
  SlotConnected(app_->ctx(), 3);
  EXPECT_EQ(m().Label27, "Remote 3 Connected");
}

TEST_F(MonitorLink, PortZeroOpensNoSocketAtStartUpButTheCycleListensOnAPortOfTheSystems) {
  Start("[Server]\r\nMonitor CPU Port=41000\r\n");
  // After start-up's own cycle, every slot listens; those of port "0" on a
  // port that the system picked.
  EXPECT_EQ(m().CPUPort2, "0");
  EXPECT_EQ(app_->Listener(1).state(), Winsock::kListening);
  EXPECT_NE(app_->Listener(1).BoundPort(), 0);
  EXPECT_EQ(app_->Listener(1).LocalPort(), 0);
  EXPECT_EQ(app_->Listener(0).BoundPort(), 41000);
}

TEST_F(MonitorLink, OpeningTheSlotsLeavesAPortOf100OrBelowClosed) {
  Start("[Server]\r\nMonitor CPU Port=41000\r\n");
  Listeners fresh(*machine_);
  m().CPUPort3 = "100";
  m().CPUPort = "41500";
  OpenListeners(app_->ctx(), fresh);
  EXPECT_EQ(fresh[0].state(), Winsock::kListening);
  EXPECT_EQ(fresh[1].state(), Winsock::kClosed);
  EXPECT_EQ(fresh[2].state(), Winsock::kClosed);
}

TEST_F(MonitorLink, Port500ListensAndAfterSaveShowsTheNotConfiguredMark) {
  Start();
  m().CPUPort3 = "500";
  app_->Command1();
  EXPECT_EQ(app_->Listener(2).state(), Winsock::kListening);
  EXPECT_TRUE(net().Listening(500));
  EXPECT_EQ(m().cno[2], 1);
  EXPECT_EQ(m().cno[0], 0);
}

TEST_F(MonitorLink, TheCycleWatchGivesAClosedSlotHalfASecondBeforeItListens) {
  Start();
  app_->Listener(3).Close();
  const int64_t before = app_->loop().MonotonicMs();
  app_->Timer1();
  EXPECT_EQ(app_->Listener(3).state(), Winsock::kListening);
  EXPECT_EQ(app_->Listener(3).BoundPort(), 44000);
  EXPECT_GE(app_->loop().MonotonicMs() - before, 500);
}

TEST_F(MonitorLink, StartUpsCycleStandsStillHalfASecondForEachSlotItFindsUnopened) {
  // The scenario starts at 10:00:00.000; the slots are opened before the
  // cycle, so only those of port 100 or below are found closed.
  auto clock = [this] {
    const CivilTime now = sim_->Time().Now();
    return (now.second * 1000 + now.millis) + 60000 * (now.minute + 60 * (now.hour - 10));
  };
  Start("[Server]\r\nMonitor CPU Port=41000\r\nMonitor CPU Port 2=100\r\n");
  EXPECT_GE(clock(), 4 * 500);
  EXPECT_LT(clock(), 5 * 500);
  TearDown();
  Start();
  EXPECT_LT(clock(), 500) << "five slots listening: no wait";
}

TEST_F(MonitorLink, TheCycleWatchGivesAClosingSlotHalfASecondBeforeItListens) {
  Start();
  // A monitor that went away while a handler ran leaves the slot closing.
  app_->Listener(3).OnClose = nullptr;
  { auto peer = Connect(3, "XPMain  (Remote 4)"); }
  ASSERT_TRUE(PumpUntil([&] { return app_->Listener(3).state() == Winsock::kClosing; }));
  const int64_t before = app_->loop().MonotonicMs();
  app_->Timer1();
  EXPECT_EQ(app_->Listener(3).state(), Winsock::kListening);
  EXPECT_EQ(app_->Listener(3).BoundPort(), 44000);
  EXPECT_GE(app_->loop().MonotonicMs() - before, 500);
}

TEST_F(MonitorLink, TheClockWatchMarksAndReopensAClosedSlot) {
  Start();
  auto peer = Connect(1, "XPMain  (Remote 2)");
  app_->Listener(2).Close();
  app_->Timer2();
  EXPECT_EQ(m().conc[1], 1);
  EXPECT_EQ(m().coffc[1], 0);
  EXPECT_EQ(m().coffc[2], 1);
  EXPECT_EQ(app_->Listener(2).state(), Winsock::kListening);
}

TEST_F(MonitorLink, TheStatusLineShowsSlotZerosStateAndTheTwoRates) {
  Start();
  app_->Timer1();
  const std::string rates =
      legacy::Format(m().CurRec, "0") + " | " + legacy::Format(m().CurSent, "0");
  EXPECT_EQ(m().Label34, "2 | " + rates);
  auto peer = Connect(0, "XPMain  (Remote 1)");
  app_->Timer1();
  EXPECT_EQ(m().Label34,
            "7 | " + legacy::Format(m().CurRec, "0") + " | " + legacy::Format(m().CurSent, "0"));
}

// Generate.

TEST_F(MonitorLink, GenerateFillsTwentyCharactersWithoutTheRefusedLetters) {
  Start();
  std::set<char> seen;
  for (int index = 0; index <= 5; ++index) {
    app_->Generate(index);
    const std::string text = index == 5 ? m().SrvCODE : m().CPUpass[static_cast<size_t>(index)];
    ASSERT_EQ(text.size(), 20u) << index;
    for (char ch : text) {
      const int c = static_cast<unsigned char>(ch);
      EXPECT_GE(c, 49) << "no 0 and nothing below";
      EXPECT_LE(c, 138);
      EXPECT_EQ(std::string("iIoOl").find(ch), std::string::npos) << text;
      seen.insert(ch);
    }
  }
  EXPECT_GT(seen.size(), 1u);
  EXPECT_NE(m().CPUpass[0], m().CPUpass[1]) << "the generator moves on between draws";
  // Not saved until the next Save.
  EXPECT_EQ(app_->ctx().INIRead(Context::kSettingsFile, "Server", "Monitor Server Code"), "Code9");
  app_->Command1();
  EXPECT_EQ(app_->ctx().INIRead(Context::kSettingsFile, "Server", "Monitor Server Code"),
            m().SrvCODE);
}

TEST_F(MonitorLink, GenerateAtIndexAboveFiveFillsTheServerCode) {
  Start();
  app_->Generate(7);
  EXPECT_EQ(m().SrvCODE.size(), 20u);
  EXPECT_EQ(m().CPUpass[0], "Secret");
}

// The status frame.

ServerModel FrameModel() {
  ServerModel m;
  m.CPUUsage = "12.5";
  m.CPULastMin = "CPU Last Min = 10%";
  m.CPULastHR = "Data < 60 (5)";
  m.CPULast24 = "Data < 60 (5)";
  m.Interrupts = "250";
  m.DPCQueued = "3";
  m.DPCPercent = "1";
  m.CPUMHZ = "2400 MHz";
  m.ProcessCount = 85;
  m.ThreadCount = 1020;
  m.MemCommitted = 2147483648.0;
  m.MemAvailable = 1500000000;
  m.CacheBytes = 300000000;
  m.CachePeak = 1e15;
  m.PageReads = 2.5;
  m.PageWrites = 0;
  m.PageFaults = 120;
  m.SystemCalls = 45000;
  m.ContextSwitches = 3000;
  m.ServiceCount = 123;
  m.SystemDrive = "C:";
  m.DiskReadBps = 4096;
  m.DiskWriteBps = 8192.5;
  m.DiskReadPeak = 65536;
  m.DiskWritePeak = 131072;
  m.DiskReadMonth = 1e9;
  m.DiskWriteMonth = 2e9;
  m.DiskTime = 12.25;
  m.DiskIdle = 87.75;
  m.DiskFreeMB = 51200;
  m.DiskFreePercent = 40;
  m.DiskQueue = 0;
  m.DailySent = "123456";
  m.CurSent = 8000;
  m.tsstart = "1.2 GB / 3.4 GB";
  m.NetPacketsRec = 17;
  m.NetOutErrors = 0;
  m.NetOffloaded = 2;
  m.NetOutQueue = 1;
  m.Label8a = "12";
  m.DailyRec = "654321";
  m.CurRec = 16000;
  m.trstart = "5 GB / 6 GB";
  m.NetPacketsSent = 9;
  m.NetRecErrors = 3;
  m.NetBytesTotal = 3000;
  m.Label7a = "25";
  m.ttstart = "6.2 GB / 9.4 GB";
  m.UpTimeText = "3 Hrs - 02 Min - 05 Sec";
  m.SwapPeak = 512;
  m.SwapCurrent = 256;
  m.Label21 = "Next File BU: 2 Hrs";
  m.Label20 = "Last BU: ok";
  return m;
}

const CivilTime kFrameTime{2012, 11, 14, 15, 4, 5, 0};

TEST(StatusFrame, SixBlocksByteForByte) {
  EXPECT_EQ(BuildStatusFrame(FrameModel(), kFrameTime),
            "C^12.5|CPU Last Min = 10%|Data < 60 (5)|Data < 60 (5)|250|3|1|2400 MHz"
            "M^85|1020|2147483648|1500000000|300000000|1E+15|2.5|0|120|45000|3000|123"
            "H^C|4096|8192.5|65536|131072|1000000000|2000000000|12.25|87.75|51200|40|0"
            "S^123456|8000|1.2 GB / 3.4 GB|17|0|2|1|12"
            "R^654321|16000|5 GB / 6 GB|9|3|3000|25|6.2 GB / 9.4 GB"
            "X^3 Hrs - 02 Min - 05 Sec|512|256|Next File BU: 2 Hrs|Last BU: ok|03:04:05 PM");
}

TEST(StatusFrame, InterruptsEqualToDeferredCallsPutMinusOneInBothDeferredFields) {
  ServerModel m = FrameModel();
  m.Interrupts = "0";
  m.DPCQueued = "7";
  m.DPCPercent = "0";
  const std::string frame = BuildStatusFrame(m, kFrameTime);
  EXPECT_EQ(frame.substr(0, frame.find("M^")),
            "C^12.5|CPU Last Min = 10%|Data < 60 (5)|Data < 60 (5)|0|-1|-1|2400 MHz");
}

TEST(StatusFrame, TheProcessorLoadHasOneDecimal) {
  ServerModel m = FrameModel();
  m.CPUUsage = "7";
  EXPECT_EQ(BuildStatusFrame(m, kFrameTime).substr(0, 6), "C^7.0|");
}

// The blocks of a frame by their prefixes, each split into its fields.
std::vector<std::vector<std::string>> Blocks(const std::string& frame) {
  std::vector<std::vector<std::string>> out;
  const char* prefixes[] = {"C^", "M^", "H^", "S^", "R^", "X^"};
  size_t at = 0;
  for (int b = 0; b < 6; ++b) {
    EXPECT_EQ(frame.compare(at, 2, prefixes[b]), 0) << frame;
    const size_t start = at + 2;
    const size_t end = b < 5 ? frame.find(prefixes[b + 1], start) : frame.find('@', start);
    const std::string body = frame.substr(start, end == std::string::npos ? end : end - start);
    out.push_back(legacy::Split(body, "|"));
    at = end;
  }
  return out;
}

TEST_F(MonitorLink, EachCycleSendsTheFrameToAMonitorThatHasNotLoggedOn) {
  Start();
  auto peer = Connect(2, "XPMain  (Remote 3)");
  app_->Timer1();
  const std::string got = peer->Received();
  ASSERT_EQ(got.substr(0, 20), "XPMain  (Remote 3)C^");
  EXPECT_EQ(got.substr(18), m().StatusFrame);
  const auto blocks = Blocks(m().StatusFrame);
  ASSERT_EQ(blocks.size(), 6u);
  const size_t counts[] = {8, 12, 12, 8, 8, 6};
  for (size_t b = 0; b < 6; ++b) EXPECT_EQ(blocks[b].size(), counts[b]) << b;
  // Less than a minute since the start: the averages say how many samples.
  EXPECT_EQ(blocks[0][1].rfind("Data < 60 (", 0), 0u) << blocks[0][1];
  EXPECT_EQ(blocks[5][5], legacy::FormatDate(app_->ctx().Now(), "HH:MM:SS AMPM"));
  app_->Timer1();
  EXPECT_EQ(peer->Received().size(), got.size() + m().StatusFrame.size());
}

TEST_F(MonitorLink, WithNoMonitorTheFrameIsStillBuiltAndAFindingJournalled) {
  Start();
  m().StatusFrame.clear();
  Label16Click(m());
  app_->Timer1();
  EXPECT_EQ(m().StatusFrame.substr(0, 2), "C^");
  EXPECT_NE(
      Journal().find(std::string(84, '*') + "\r\nThis is a Error Test\r\n" + std::string(84, '*')),
      std::string::npos)
      << Journal();
  // One line: after the cut it has no line end left.
  const std::string tail = "@This is a Error Test";
  EXPECT_EQ(m().StatusFrame.substr(m().StatusFrame.size() - tail.size()), tail);
}

TEST_F(MonitorLink, AFindingClosesTheFrameThatReachesTheMonitor) {
  Start();
  auto peer = Connect(0, "XPMain  (Remote 1)");
  Label16Click(m());
  app_->Timer1();
  const std::string got = peer->Received();
  EXPECT_EQ(got.substr(got.size() - 21), "@This is a Error Test");
  EXPECT_EQ(Blocks(got.substr(18)).size(), 6u);
}

TEST_F(MonitorLink, AMessageForSlotsZeroAndThreeFollowsTheFrameBy500And600Ms) {
  Start();
  auto zero = Connect(0, "XPMain  (Remote 1)");
  auto three = Connect(3, "XPMain  (Remote 4)");
  m().PendingMessage[0] = "XMfor zero";
  m().PendingMessage[3] = "XMfor three";
  net().sends.clear();
  app_->Timer1();
  int64_t frame = -1, to_zero = -1, to_three = -1;
  for (const auto& s : net().sends) {
    if (s.bytes == "XMfor zero") to_zero = s.at;
    if (s.bytes == "XMfor three") to_three = s.at;
  }
  for (const auto& s : net().sends) {
    if (s.bytes.rfind("C^", 0) == 0 && s.at <= to_zero) frame = s.at;
  }
  ASSERT_GE(frame, 0);
  EXPECT_EQ(to_zero - frame, 500);
  EXPECT_EQ(to_three - frame, 600);
  EXPECT_EQ(m().PendingMessage[0], "");
  EXPECT_EQ(m().PendingMessage[3], "");
  const std::string got = zero->Received();
  EXPECT_EQ(got.substr(got.size() - 10), "XMfor zero");
  EXPECT_NE(three->Received().find("XMfor three"), std::string::npos);
}

TEST_F(MonitorLink, AMessageForASlotWithoutMonitorWaitsUntilOneConnects) {
  Start();
  m().PendingMessage[1] = "XMlater";
  app_->Timer1();
  EXPECT_EQ(m().PendingMessage[1], "XMlater");
  auto peer = Connect(1, "XPMain  (Remote 2)");
  app_->Timer1();
  EXPECT_EQ(m().PendingMessage[1], "");
  const std::string got = peer->Received();
  EXPECT_EQ(got.substr(got.size() - 7), "XMlater");
}

// The message form.

class SendMsg : public MonitorLink {
 protected:
  Commands& c() { return app_->commands(); }
};

TEST_F(SendMsg, LoadingWritesTheSummaryAndShowsItWithTheLastTicksAndMessage) {
  Start(std::string(kSettings) + "Message List=10010\r\nLast Message=hello all\r\n");
  ASSERT_EQ(c().Open("sendmsg"), "");
  EXPECT_TRUE(c().IsOpen("sendmsg"));
  std::string summary;
  ASSERT_TRUE(app_->ctx().fs().ReadAll(app_->ctx().Path("\\Bin\\Summary.txt"), summary));
  EXPECT_FALSE(summary.empty());
  EXPECT_EQ(m().MsgText2, summary);
  EXPECT_EQ(m().MsgText1, "hello all");
  EXPECT_EQ(m().MsgSendTo, (Flags<6>{1, 0, 0, 1, 0, 0}));
  EXPECT_EQ(m().MsgSummarySizeText, "Summary size = " + std::to_string(summary.size()));
  ASSERT_EQ(c().Set("sendmsg", "Text1", "abc"), "");
  EXPECT_EQ(m().MsgSizeText, "Message Size = 3");
  EXPECT_EQ(m().MsgTotalSizeText, "Total Size = " + std::to_string(3 + summary.size()));
  ASSERT_EQ(c().Set("sendmsg", "Text2", "xy"), "");
  EXPECT_EQ(m().MsgSummarySizeText, "Summary Size = 2");
  EXPECT_EQ(m().MsgTotalSizeText, "Total Size = 5");
}

TEST_F(SendMsg, AListOfTwoTicksEverySlot) {
  Start(std::string(kSettings) + "Message List=2\r\n");
  ASSERT_EQ(c().Open("sendmsg"), "");
  EXPECT_EQ(m().MsgSendTo, (Flags<6>{1, 1, 1, 1, 1, 1}));
}

TEST_F(SendMsg, SendQueuesTheMessageWithItsHeadingAndKeepsTheTicks) {
  Start();
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", "Back at 5"), "");
  ASSERT_EQ(c().Set("sendmsg", "sendto", nlohmann::json::array({1, 0, 0, 1, 0, 0})), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  const CivilTime now = app_->ctx().Now();
  const std::string expected = "XM" + legacy::FormatDate(now, "dd mmm yyyyy") + " " +
                               legacy::TimeText(now) + "  - Message:\r\nBack at 5";
  EXPECT_EQ(m().PendingMessage[0], expected);
  EXPECT_EQ(m().PendingMessage[3], expected);
  EXPECT_EQ(m().PendingMessage[1], "");
  EXPECT_FALSE(c().IsOpen("sendmsg"));
  EXPECT_EQ(m().MessageBusy, 0);
  EXPECT_EQ(app_->ctx().INIRead(Context::kSettingsFile, "Server", "Message List"), "10010");
  EXPECT_EQ(app_->ctx().INIRead(Context::kSettingsFile, "Server", "Last Message"), "Back at 5");
}

TEST_F(SendMsg, TheHeadingsYearHasFiveYs) {
  EXPECT_EQ(legacy::FormatDate(CivilTime{2012, 11, 14, 10, 0, 0, 0}, "dd mmm yyyyy"),
            "14 Nov 2012319");
}

TEST_F(SendMsg, WithAllTickedTheListIsSavedAsTwoAndTheSummaryGoesAlongEditedButUnsaved) {
  Start();
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "sendto", nlohmann::json{{"5", 1}}), "");
  EXPECT_EQ(m().MsgSendTo, (Flags<6>{1, 1, 1, 1, 1, 1}));
  ASSERT_EQ(c().Set("sendmsg", "Check1", 1), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", "m"), "");
  ASSERT_EQ(c().Set("sendmsg", "Text2", "edited summary"), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  EXPECT_EQ(app_->ctx().INIRead(Context::kSettingsFile, "Server", "Message List"), "2");
  for (int i = 0; i < 5; ++i) {
    const std::string& q = m().PendingMessage[static_cast<size_t>(i)];
    EXPECT_EQ(q.substr(q.size() - 17), "m\r\nedited summary") << i;
  }
  std::string summary;
  app_->ctx().fs().ReadAll(app_->ctx().Path("\\Bin\\Summary.txt"), summary);
  EXPECT_EQ(summary.find("edited summary"), std::string::npos);
}

TEST_F(SendMsg, ExactlyTheLimitGoesAndOneMoreIsRefusedWithItsLength) {
  Start();
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "sendto", nlohmann::json{{"1", 1}}), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", ""), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  const size_t heading = m().PendingMessage[1].size();
  ASSERT_GT(heading, 20u);
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", std::string(4300 - heading, 'a')), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  EXPECT_EQ(m().PendingMessage[1].size(), 4300u);
  EXPECT_FALSE(c().IsOpen("sendmsg"));
  ASSERT_EQ(c().Open("sendmsg"), "");
  m().PendingMessage[1].clear();
  ASSERT_EQ(c().Set("sendmsg", "Text1", std::string(4301 - heading, 'b')), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  EXPECT_EQ(m().PendingMessage[1], "");
  EXPECT_TRUE(c().IsOpen("sendmsg")) << "left open";
  EXPECT_EQ(m().MessageBusy, 1);
  ASSERT_FALSE(m().OperatorMessages.empty());
  EXPECT_EQ(m().OperatorMessages.back(),
            "Server Message exceeded the 4300 character limit, size was 4301. You may need to "
            "send the message in 2 or more section.");
}

TEST_F(SendMsg, AMessageOf4300TypedCharactersIsRefusedForItsHeading) {
  Start();
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", std::string(4300, 'c')), "");
  ASSERT_EQ(c().Do("sendmsg", "Send"), "");
  EXPECT_TRUE(c().IsOpen("sendmsg"));
  ASSERT_FALSE(m().OperatorMessages.empty());
  EXPECT_EQ(m().OperatorMessages.back().find("Server Message exceeded the 4300 character limit"),
            0u);
}

TEST_F(SendMsg, ClearMsgEmptiesTheMessageAndQuitSendsNothing) {
  Start();
  ASSERT_EQ(c().Open("sendmsg"), "");
  ASSERT_EQ(c().Set("sendmsg", "Text1", "x"), "");
  ASSERT_EQ(c().Do("sendmsg", "Clear Msg"), "");
  EXPECT_EQ(m().MsgText1, "");
  ASSERT_EQ(c().Do("sendmsg", "Command4"), "");
  EXPECT_EQ(m().MsgCommand4, "Edit Message");
  ASSERT_EQ(c().Do("sendmsg", "Quit"), "");
  EXPECT_FALSE(c().IsOpen("sendmsg"));
  for (const auto& q : m().PendingMessage) EXPECT_EQ(q, "");
}

}  // namespace
}  // namespace tarnex::testing
