// The relay sender against a real mail server on loopback (aiosmtpd, run
// by /usr/bin/python3 on a free port): what the server received, byte for
// byte. The simulated machine keeps this host's sockets and a clock paced
// to real time; the whole program runs the same way for the daily report
// and for Send Now from the operator's timeline.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "mail/direct.h"
#include "mail/mail_form.h"
#include "mail/relay.h"
#include "tests/mail_servers.h"
#include "tests/mail_support.h"
#include "tests/server_process.h"

namespace tarnex::testing {
namespace {

std::string WithoutLastLineEnd(const std::string& text) {
  return text.size() >= 2 && text.compare(text.size() - 2, 2, "\r\n") == 0
             ? text.substr(0, text.size() - 2)
             : text;
}

// The two messages of the report, one to each recipient in list order, as
// the mail server kept them.
void ExpectTheReportToBoth(const std::vector<SmtpSink::Message>& messages,
                           const std::string& subject, const std::string& body) {
  const char* to[2] = {"first@example.org", "second@example.org"};
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(messages[i].from, "station@example.org");
    EXPECT_EQ(messages[i].to, std::vector<std::string>{to[i]});
    EXPECT_EQ(messages[i].data, KeptData("station@example.org", "station", to[i], subject, body));
  }
}

TEST(MailRealServer, TheReportReachesARealMailServerByteForByteInListOrder) {
  SmtpSink sink;
  ASSERT_GT(sink.port(), 0) << "the mail server did not start";
  MailBench b(kBasicScenario, true);
  b.m().SMTP = "127.0.0.1";
  b.m().SMTPPort = std::to_string(sink.port());
  b.m().EmailList1 = {"first@example.org", "second@example.org"};
  RelaySocket winsock2(b.ctx());
  sendit(b.ctx(), winsock2);
  ASSERT_TRUE(sink.WaitForMessages(2));
  const auto messages = sink.Messages();
  ASSERT_EQ(messages.size(), 2u);
  const std::string body = WithoutLastLineEnd(ReadFile(b.dir() + "/Bin/ESummary.txt"));
  ASSERT_NE(body.find("System Information As of "), std::string::npos);
  ExpectTheReportToBoth(messages, "Daily report", body);
}

TEST(MailRealServer, AServerThatIsNotListeningMissesTheRecipientAndNothingIsReported) {
  SmtpSink sink;
  ASSERT_GT(sink.port(), 0);
  const int closed = FreePort();
  ASSERT_GT(closed, 0);
  MailBench b(kBasicScenario, true);
  b.m().SMTP = "127.0.0.1";
  b.m().SMTPPort = std::to_string(closed);
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EInfo = "nobody hears this";
  RelaySocket winsock1(b.ctx());
  SendEmail(b.ctx(), winsock1);
  EXPECT_NE(winsock1.sock->state(), Winsock::kConnected);
  EXPECT_TRUE(b.m().OperatorMessages.empty());
  // The same sender then reaches a server that listens.
  b.m().SMTPPort = std::to_string(sink.port());
  SendEmail(b.ctx(), winsock1);
  ASSERT_TRUE(sink.WaitForMessages(1));
  ASSERT_EQ(sink.Messages().size(), 1u);
  EXPECT_EQ(sink.Messages()[0].data, KeptData("station@example.org", "station", "ops@example.org",
                                              "Daily report", "nobody hears this"));
}

TEST(MailRealServer, AServerThatWantsAuthenticationRefusesUnseenAndTheSystemCarriesOn) {
  SmtpSink sink(true);
  ASSERT_GT(sink.port(), 0);
  MailBench b(kBasicScenario, true);
  b.m().SMTP = "127.0.0.1";
  b.m().SMTPPort = std::to_string(sink.port());
  b.m().EmailList1 = {"first@example.org", "second@example.org"};
  RelaySocket winsock2(b.ctx());
  sendit(b.ctx(), winsock2);
  // Both recipients had their turn: the second connection came and closed.
  EXPECT_EQ(b.m().ETo, "second@example.org");
  EXPECT_EQ(winsock2.sock->state(), Winsock::kClosed);
  EXPECT_TRUE(b.m().OperatorMessages.empty());
  // A server that keeps nothing it refused: give it a moment to write, then
  // the file is still empty.
  EXPECT_FALSE(sink.WaitForMessages(1, 2));
}

TEST(MailRealServer, TheDirectSenderFindsTheExchangerAtARealDNSServerAndDeliversToIt) {
  SmtpSink sink;
  ASSERT_GT(sink.port(), 0) << "the mail server did not start";
  // The domain's exchangers: the one of lowest preference is this host.
  ScriptServer dns("dns_mx.py", {"example.test", "20:backup.example.test", "10:127.0.0.1"});
  ASSERT_GT(dns.port(), 0) << "the DNS server did not start";
  MailBench b(kBasicScenario, true);
  b.m().EmailFormDNS = "127.0.0.1";
  b.m().EFrom = "station@example.org";
  b.m().ESubject = "Direct";
  b.m().EInfo = "Straight to the exchanger";
  b.m().EmailFormList1 = {"ops@example.test"};
  MailForm form(b.ctx());
  form.Direct().DnsPort = dns.port();
  form.Direct().SmtpPort = sink.port();
  form.SendDirect();
  // The conversation goes on as the answers come; the server closes after
  // QUIT, and the sender is no longer running.
  for (int i = 0; i < 600 && form.Direct().Running(); ++i) b.ctx().Wait(100);
  EXPECT_FALSE(form.Direct().Running());
  EXPECT_EQ(form.Direct().Tag(0), "QUIT");
  ASSERT_TRUE(sink.WaitForMessages(1));
  const auto messages = sink.Messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].from, "station@example.org");
  EXPECT_EQ(messages[0].to, std::vector<std::string>{"ops@example.test"});
  EXPECT_EQ(messages[0].data,
            "From: station@example.org\r\nSubject: Direct\r\nTo: <ops@example.test>\r\n\r\n"
            "Straight to the exchanger\r\n");
  EXPECT_NE(b.m().EmailFormStatus.find("250 OK\r\n"), std::string::npos);
}

// The program itself on the simulated machine, paced to real time, with its
// mail settings pointing at the real server.
class MailRun : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GT(sink_.port(), 0) << "the mail server did not start";
    dir_ = MakeTempDir();
    std::filesystem::create_directories(dir_ + "/app/Bin");
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  void Settings(const std::string& email_keys, const std::string& recipients) {
    WriteFile(dir_ + "/app/Bin/Tarnex.Tnx",
              FreshSettings(
                  "", "[Email]\r\nsmtp=127.0.0.1\r\nSMTP Port=" + std::to_string(sink_.port()) +
                          "\r\nFrom=station@example.org\r\nSubject=Night report\r\n" + email_keys));
    WriteFile(dir_ + "/app/Bin/Emailto.txt", recipients);
  }
  // Starts the program on `scenario`; it runs until the messages are in.
  pid_t Start(const std::string& scenario) {
    WriteFile(dir_ + "/scenario.json", scenario);
    const int out = ::open((dir_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const pid_t pid =
        Spawn({"--platform", "sim", "--scenario", dir_ + "/scenario.json", "--app-path",
               dir_ + "/app", "--speed", "1", "--run-for", "600", "--quiet"},
              out, out);
    ::close(out);
    return pid;
  }
  void Stop(pid_t pid) {
    ::kill(pid, SIGTERM);
    Reap(pid, 60);
  }
  SmtpSink sink_;
  std::string dir_;
};

std::string ScenarioAt(const std::string& start, const std::string& extra = "") {
  std::string s = kBasicScenario;
  const std::string from = "2012-11-14 10:00:00";
  s.replace(s.find(from), from.size(), start);
  if (!extra.empty()) s.insert(s.rfind('}'), ", " + extra);
  return s;
}

TEST_F(MailRun, TheDailyReportLeavesAtTheLastMinuteToEveryRecipient) {
  Settings("Auto=1\r\n", "first@example.org\r\n\r\n  second@example.org \r\n");
  const pid_t pid = Start(ScenarioAt("2012-11-14 23:58:50"));
  const bool arrived = sink_.WaitForMessages(2, 120);
  Stop(pid);
  ASSERT_TRUE(arrived) << ReadFile(dir_ + "/out");
  const auto messages = sink_.Messages();
  ASSERT_EQ(messages.size(), 2u);
  const std::string body = WithoutLastLineEnd(ReadFile(dir_ + "/app/Bin/ESummary.txt"));
  EXPECT_EQ(body.rfind("System Information As of 23:59:", 0), 0u) << body.substr(0, 60);
  ExpectTheReportToBoth(messages, "Night report", body);
}

TEST_F(MailRun, SendNowFromTheOperatorsTimelineSendsTheMessageWithTheSummary) {
  Settings("Auto=0\r\n", "ops@example.org\r\n");
  const pid_t pid =
      Start(ScenarioAt("2012-11-14 10:00:00",
                       R"("operator": [{"at": "2012-11-14 10:00:03", "form": "email", "open": true,
          "set": {"EBody": "Hello from the server", "ESubject": "Now", "Check1": 1},
          "do": "Send Now"}])"));
  const bool arrived = sink_.WaitForMessages(1, 120);
  Stop(pid);
  ASSERT_TRUE(arrived) << ReadFile(dir_ + "/out");
  const auto messages = sink_.Messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].to, std::vector<std::string>{"ops@example.org"});
  const std::string& data = messages[0].data;
  const std::string head =
      "Content-type: text/plain; charset=US-ASCII\r\n\r\n"
      "Hello from the server\r\n\r\nServer On Time: ";
  ASSERT_NE(data.find(head), std::string::npos) << data.substr(0, 400);
  EXPECT_NE(data.find("Subject: Now\r\n"), std::string::npos);
  // The rest of the text is the summary file the form read.
  const std::string summary = ReadFile(dir_ + "/app/Bin/Summary.txt");
  ASSERT_FALSE(summary.empty());
  EXPECT_NE(data.find(summary + "\r\n\r\n"), std::string::npos);
  // Send Now saves the settings as Save does.
  EXPECT_EQ(ReadFile(dir_ + "/app/Bin/EmailBody.txt"), "Hello from the server");
}

}  // namespace
}  // namespace tarnex::testing
