// The relay sender on a scripted mail server, at full speed on the virtual
// clock: the monologue byte for byte and its pauses, the connect loop, and
// the daily report.
#include <gtest/gtest.h>

#include "mail/relay.h"
#include "mail/summary.h"
#include "tests/mail_support.h"

namespace tarnex::testing {
namespace {

std::string AllSent(MailNetwork& net) {
  std::string out;
  for (const auto& p : net.sends) out += p.bytes;
  return out;
}

TEST(MailRelay, SendsTheMessageAsATimedMonologueByteForByte) {
  MailBench b;
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EInfo = "Line one\r\nLine two";
  RelaySocket winsock1(b.ctx());
  SendEmail(b.ctx(), winsock1);
  auto peer = b.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  EXPECT_EQ(peer->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                        "ops@example.org", "Daily report", "Line one\r\nLine two"));
  EXPECT_TRUE(peer->Closed());
  EXPECT_EQ(winsock1.sock->state(), Winsock::kClosed);
}

TEST(MailRelay, PausesHalfASecondAtTheFiveFixedPlaces) {
  MailBench b;
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EInfo = "Body";
  RelaySocket winsock1(b.ctx());
  SendEmail(b.ctx(), winsock1);
  const auto& sent = b.net().sends;
  ASSERT_EQ(sent.size(), 16u);
  const int64_t t0 = sent[0].at;
  // Each piece and its moment after the EHLO line, in ms.
  std::vector<std::pair<std::string, int64_t>> got;
  for (const auto& p : sent) got.push_back({p.bytes.substr(0, 12), p.at - t0});
  EXPECT_EQ(got[0].first, "EHLO 10.0.0.");
  EXPECT_EQ(got[1], std::make_pair(std::string("MAIL FROM:st"), int64_t{0}));
  EXPECT_GE(got[2].second, 500);  // RCPT after the second pause
  EXPECT_LT(got[2].second, 510);
  EXPECT_EQ(got[2].first, "RCPT TO:ops@");
  EXPECT_EQ(got[3].first, "DATA\r\n");
  EXPECT_EQ(got[3].second, got[2].second);
  EXPECT_EQ(got[4].first, "MIME-Version");
  EXPECT_GE(got[4].second, 1000);
  EXPECT_LT(got[4].second, 1020);
  // The headers and the text part go at once, up to the end mark.
  for (size_t i = 5; i <= 14; ++i) EXPECT_EQ(got[i].second, got[4].second) << i;
  EXPECT_EQ(sent[14].bytes, "\r\n.\r\n");
  EXPECT_EQ(sent[15].bytes, "QUIT\r\n");
  EXPECT_GE(got[15].second - got[14].second, 500);
  EXPECT_LT(got[15].second - got[14].second, 510);
}

TEST(MailRelay, AnAddressWithoutAnAtIsItsOwnDisplayName) {
  MailBench b;
  b.m().EFrom = "station";
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EInfo = "x";
  RelaySocket winsock1(b.ctx());
  SendEmail(b.ctx(), winsock1);
  EXPECT_NE(AllSent(b.net()).find("From: station <station>\r\n"), std::string::npos);
  EXPECT_NE(AllSent(b.net()).find("MAIL FROM:station\r\n"), std::string::npos);
}

TEST(MailRelay, ABodyLineOfOneDotIsSentAsItStandsAndEndsTheMessageEarly) {
  MailBench b;
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EInfo = "before\r\n.\r\nafter";
  RelaySocket winsock1(b.ctx());
  SendEmail(b.ctx(), winsock1);
  EXPECT_NE(AllSent(b.net()).find("US-ASCII\r\n\r\nbefore\r\n.\r\nafter\r\n\r\n"),
            std::string::npos);
}

TEST(MailRelay, AnEmptyListConnectsNothing) {
  MailBench b;
  b.m().EInfo = "x";
  RelaySocket winsock2(b.ctx());
  sendit(b.ctx(), winsock2);
  EXPECT_EQ(b.net().connects, 0);
  EXPECT_TRUE(b.net().sends.empty());
  EXPECT_EQ(b.net().Answer("10.1.1.1", 25), nullptr);
}

TEST(MailRelay, TwoRecipientsGetTheSameReportInListOrder) {
  MailBench b;
  b.m().EmailList1 = {"first@example.org", "second@example.org"};
  RelaySocket winsock2(b.ctx());
  sendit(b.ctx(), winsock2);
  auto one = b.net().Answer("10.1.1.1", 25);
  auto two = b.net().Answer("10.1.1.1", 25);
  ASSERT_NE(one, nullptr);
  ASSERT_NE(two, nullptr);
  EXPECT_EQ(b.net().connects, 2);
  const std::string body = b.m().SummaryText;
  EXPECT_FALSE(body.empty());
  EXPECT_EQ(one->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                       "first@example.org", "Daily report", body));
  EXPECT_EQ(two->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                       "second@example.org", "Daily report", body));
  // The report is the text of the summary file, which holds it with one more
  // line end.
  EXPECT_EQ(ReadFile(b.dir() + "/Bin/ESummary.txt"), body + "\r\n");
  EXPECT_EQ(b.m().ETo, "second@example.org");
}

TEST(MailRelay, AServerThatCannotBeReachedMissesTheRecipientInSilence) {
  MailBench b;
  b.m().SMTP = "nowhere.test";  // no such host
  b.m().EmailFormList1 = {"first@example.org", "second@example.org"};
  b.m().EInfo = "x";
  RelaySocket winsock1(b.ctx());
  const int64_t start = b.loop().MonotonicMs();
  SendEmail(b.ctx(), winsock1);
  // Per recipient: the first dial, then 30 tries of 100 ms with a redial
  // (half a second each) at the 10th and the 20th.
  EXPECT_EQ(b.loop().MonotonicMs() - start, 2 * (500 + 30 * 100 + 2 * 500));
  EXPECT_TRUE(b.net().sends.empty());
}

TEST(MailRelay, AConnectionStillPendingIsDroppedAndRedialedAtTheTenthAndTwentiethTry) {
  MailBench b;
  b.m().EmailList1 = {"ops@example.org"};
  b.m().EInfo = "x";
  b.net().stalled = 3;
  RelaySocket winsock2(b.ctx());
  SendToAll(b.ctx(), winsock2, b.m().EmailList1, true);
  EXPECT_EQ(b.net().connects, 3);
  EXPECT_TRUE(b.net().sends.empty());
}

TEST(MailRelay, AServerThatAnswersOnlyAfterTheRedialGetsTheMessage) {
  MailBench b;
  b.m().EmailList1 = {"ops@example.org"};
  b.m().EInfo = "late";
  b.net().stalled = 1;  // the first dial hangs; the redial at the 10th try answers
  RelaySocket winsock2(b.ctx());
  const int64_t start = b.loop().MonotonicMs();
  SendToAll(b.ctx(), winsock2, b.m().EmailList1, true);
  EXPECT_EQ(b.net().connects, 2);
  ASSERT_FALSE(b.net().sends.empty());
  // First dial (500) and nine tries (900), the redial (500), then the message.
  const int64_t first = b.net().sends.front().at - start;
  EXPECT_GE(first, 500 + 900 + 500 + 100 + 500);
  EXPECT_LT(first, 500 + 900 + 500 + 100 + 510);
  auto peer = b.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  EXPECT_NE(peer->Received().find("\r\nlate\r\n"), std::string::npos);
}

TEST(MailRelay, TheMailFormDialsOnlyWhenItsSocketIsNotConnected) {
  MailBench b;
  b.m().EmailFormList1 = {"ops@example.org"};
  b.m().EmailList1 = {"ops@example.org"};
  b.m().EInfo = "x";
  RelaySocket winsock1(b.ctx());
  ConnectRelay(b.ctx(), winsock1);
  ASSERT_EQ(winsock1.sock->state(), Winsock::kConnected);
  SendEmail(b.ctx(), winsock1);
  EXPECT_EQ(b.net().connects, 1);
  RelaySocket winsock2(b.ctx());
  ConnectRelay(b.ctx(), winsock2);
  sendit(b.ctx(), winsock2);
  EXPECT_EQ(b.net().connects, 3) << "the main window's sender dials again";
}

TEST(MailRelay, ThePortIsTheSettingTurnedIntoANumber) {
  MailBench b;
  b.net().Serve("relay.test", "10.1.1.1", 2525);
  b.m().SMTPPort = " 2525";
  RelaySocket s(b.ctx());
  ConnectRelay(b.ctx(), s);
  EXPECT_EQ(s.RemotePort, 2525);
  EXPECT_EQ(s.sock->state(), Winsock::kConnected);
  b.m().SMTPPort = "abc";
  ConnectRelay(b.ctx(), s);
  EXPECT_EQ(s.RemotePort, 2525) << "a port that is not a number leaves the last one";
}

TEST(MailRelay, AnAttachmentGoesAsASecondPartWithItsBareName) {
  MailBench b;
  RelaySocket s(b.ctx());
  ConnectRelay(b.ctx(), s);
  const std::string encoded = "QUJD";
  Sendmail(b.ctx(), b.m().EFrom, "ops@example.org", "S", "Body", s, "C:\\Logs\\day.txt", &encoded);
  auto peer = b.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  const std::string got = peer->Received();
  const std::string tail =
      "Body\r\n\r\n--Unique-Boundary\r\n"
      "Content-Type: multipart/parallel; boundary=Unique-Boundary-2\r\n\r\n"
      "--Unique-Boundary-2\r\nContent-Type: application/octet-stream;\r\n name=day.txt\r\n"
      "Content-Transfer-Encoding: base64\r\nContent-Disposition: inline;\r\n"
      " filename=day.txt\r\n\r\nQUJD==\r\n--Unique-Boundary-2----Unique-Boundary--\r\n"
      "\r\n.\r\nQUIT\r\n";
  ASSERT_GE(got.size(), tail.size());
  EXPECT_EQ(got.substr(got.size() - tail.size()), tail);
}

TEST(MailRelay, AnAttachmentWithoutABackslashIsItsOwnBareName) {
  MailBench b;
  RelaySocket s(b.ctx());
  ConnectRelay(b.ctx(), s);
  Sendmail(b.ctx(), b.m().EFrom, "a@b", "S", "Body", s, "notes.txt", nullptr);
  auto peer = b.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  EXPECT_NE(peer->Received().find(" name=notes.txt\r\n"), std::string::npos);
}

TEST(MailRelay, TheWritersPauseEndsWhenTheDayWraps) {
  MailBench b(R"({"start": "2012-11-14 23:59:59", "env": {"COMPUTERNAME": "SRV1"}})");
  b.ctx().Wait(800);
  const int64_t start = b.loop().MonotonicMs();
  SendPause(b.ctx(), 0.5f);
  EXPECT_LE(b.loop().MonotonicMs() - start, 502);
  EXPECT_EQ(b.ctx().Now().day, 15);
}

TEST(MailRelay, TheFormsPauseCountsFromTheWholeSecond) {
  MailBench b(R"({"start": "2012-11-14 10:00:00", "env": {"COMPUTERNAME": "SRV1"}})");
  b.ctx().Wait(700);
  const int64_t start = b.loop().MonotonicMs();
  FormPause(b.ctx(), 0.5f);
  EXPECT_EQ(b.loop().MonotonicMs() - start, 0) << "0.7 s of the second had gone already";
  FormPause(b.ctx(), 1.0f);
  EXPECT_GE(b.loop().MonotonicMs() - start, 300);
  EXPECT_LE(b.loop().MonotonicMs() - start, 302);
}

}  // namespace
}  // namespace tarnex::testing
