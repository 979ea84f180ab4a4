// The direct sender: the reading of DNS replies built by hand, the names,
// and the state machine against a scripted DNS server and exchanger.
#include <gtest/gtest.h>

#include "mail/direct.h"
#include "mail/mail_form.h"
#include "tests/mail_support.h"

namespace tarnex::testing {
namespace {

std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out.push_back(static_cast<char>(v));
  return out;
}

// A reply's header with `answers` answers, and the question for
// "example.org" MX (the name at offset 12).
std::string ReplyHead(int answers) {
  return Bytes({0x12, 0x34, 0x81, 0x80, 0, 1, 0, answers, 0, 0, 0, 0}) + EncodeName("example.org") +
         Bytes({0, 15, 0, 1});
}

// An MX answer for the question's name (a pointer to offset 12) with
// `exchange` as written (labels or pointers).
std::string MXAnswer(int preference, const std::string& exchange) {
  const int length = 2 + static_cast<int>(exchange.size());
  return Bytes({0xC0, 12, 0, 15, 0, 1, 0, 0, 0x0E, 0x10, 0, length, preference >> 8,
                preference & 0xFF}) +
         exchange;
}

TEST(MailDirect, EncodeNameWritesEachLabelBehindItsLength) {
  EXPECT_EQ(EncodeName("mail.example.org"),
            Bytes({4}) + "mail" + Bytes({7}) + "example" + Bytes({3}) + "org" + Bytes({0}));
  EXPECT_EQ(EncodeName(""), Bytes({0}));
}

TEST(MailDirect, ReadNameJoinsTheLabelsAndStepsPastTheZero) {
  const std::string reply = "xx" + EncodeName("a.bc.d") + "yy";
  size_t position = 2;
  std::string text;
  ReadName(reply, position, text);
  EXPECT_EQ(text, "a.bc.d");
  EXPECT_EQ(position, 2 + 8u) << "past the name's zero byte";
}

TEST(MailDirect, ReadNameFollowsAPointerOf192AndStepsPastItsTwoBytes) {
  // "mx" then a pointer to "example.org" at offset 12.
  const std::string reply = ReplyHead(0) + Bytes({2}) + "mx" + Bytes({0xC0, 12, 0x55});
  size_t position = ReplyHead(0).size();
  std::string text;
  ReadName(reply, position, text);
  EXPECT_EQ(text, "mx.example.org");
  EXPECT_EQ(position, reply.size() - 1);
}

TEST(MailDirect, APointerToAnOffsetOf256OrMoreIsNotFollowed) {
  // A name at offset 300 and a pointer to it at 20 (0xC1 0x2C): the first
  // byte is taken as a label of 193 bytes, which here are the offset byte
  // and zeros, and the name at 300 is never reached.
  std::string reply(300, '\0');
  reply[20] = static_cast<char>(0xC1);
  reply[21] = 0x2C;
  reply += EncodeName("far.example");
  size_t position = 20;
  std::string text;
  ReadName(reply, position, text);
  EXPECT_EQ(text, "\x2C" + std::string(192, '\0'));
  EXPECT_EQ(position, 20 + 1 + 193 + 1u);
  // The same name behind a pointer of 192 to an offset below 256 is read.
  std::string near(40, '\0');
  near[20] = static_cast<char>(0xC0);
  near[21] = 30;
  near.replace(30, 10, EncodeName("near.ex"));
  position = 20;
  text.clear();
  ReadName(near, position, text);
  EXPECT_EQ(text, "near.ex");
  EXPECT_EQ(position, 22u);
}

TEST(MailDirect, APointerLoopEnds) {
  const std::string reply = Bytes({0xC0, 0});
  size_t position = 0;
  std::string text;
  ReadName(reply, position, text);
  EXPECT_EQ(position, 2u);
  EXPECT_EQ(text, "");
}

TEST(MailDirect, ParseMXTakesTheLowestPreferenceThroughCompressionPointers) {
  std::string reply = ReplyHead(3);
  reply += MXAnswer(20, Bytes({6}) + "backup" + Bytes({0xC0, 12}));
  reply += MXAnswer(5, Bytes({4}) + "mail" + Bytes({0xC0, 12}));
  reply += MXAnswer(10, Bytes({3}) + "mx2" + Bytes({0xC0, 12}));
  EXPECT_EQ(ParseMX(reply, 12, 3), "mail.example.org");
}

TEST(MailDirect, ParseMXKeepsTheEarlierOfEqualPreferences) {
  std::string reply = ReplyHead(2);
  reply += MXAnswer(10, Bytes({3}) + "one" + Bytes({0xC0, 12}));
  reply += MXAnswer(10, Bytes({3}) + "two" + Bytes({0xC0, 12}));
  EXPECT_EQ(ParseMX(reply, 12, 2), "one.example.org");
}

TEST(MailDirect, ACNAMEBeforeTheMXRecordsGivesNoExchanger) {
  std::string reply = ReplyHead(2);
  // A CNAME answer (type 5) to "alias.example.org".
  const std::string target = Bytes({5}) + "alias" + Bytes({0xC0, 12});
  reply += Bytes({0xC0, 12, 0, 5, 0, 1, 0, 0, 0, 60, 0, static_cast<int>(target.size())}) + target;
  reply += MXAnswer(10, Bytes({4}) + "mail" + Bytes({0xC0, 12}));
  EXPECT_EQ(ParseMX(reply, 12, 2), "");
}

TEST(MailDirect, TheFirstAnswerThatIsNotMXEndsTheSearch) {
  std::string reply = ReplyHead(3);
  reply += MXAnswer(30, Bytes({4}) + "slow" + Bytes({0xC0, 12}));
  reply += Bytes({0xC0, 12, 0, 1, 0, 1, 0, 0, 0, 60, 0, 4, 10, 0, 0, 1});  // an A record
  reply += MXAnswer(1, Bytes({4}) + "best" + Bytes({0xC0, 12}));
  EXPECT_EQ(ParseMX(reply, 12, 3), "slow.example.org");
}

TEST(MailDirect, ParseMXWithNoAnswersOrACutReplyGivesNothingAndDoesNotReadPastTheEnd) {
  EXPECT_EQ(ParseMX(ReplyHead(0), 12, 0), "");
  const std::string cut = ReplyHead(1) + MXAnswer(10, Bytes({4}) + "mail" + Bytes({0xC0, 12}));
  for (size_t n = 0; n < cut.size(); ++n) ParseMX(cut.substr(0, n), 12, 1);
  EXPECT_EQ(ParseMX(cut, 12, 1), "mail.example.org");
}

TEST(MailDirect, ARealServersReplyWithPointersGivesTheExchangerOfLowestPreference) {
  // Two answers, preferences 20 and 10, every name behind a pointer.
  const std::string reply =
      ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/mail/two_exchangers.dns");
  ASSERT_GT(reply.size(), 12u);
  EXPECT_EQ(ParseMX(reply, 12, 2), "127.0.0.1");
  EXPECT_EQ(ParseMX(reply, 12, 1), "backup.example.test");
  const std::string cname =
      ReadFile(std::string(TARNEX_SOURCE_DIR) + "/tests/data/mail/cname_first.dns");
  EXPECT_EQ(ParseMX(cname, 12, 2), "");
}

TEST(MailDirect, TheQueryAsksForTheMXRecordsOfTheDomainWithRecursion) {
  EXPECT_EQ(MXQuery("example.org", 0x5400), Bytes({0x54, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0}) +
                                                EncodeName("example.org") + Bytes({0, 15, 0, 1}));
}

// The sender on the scripted network: a DNS server at 10.0.0.53 and the
// exchanger mail.example.org at 10.2.2.2.
class Direct : public ::testing::Test {
 protected:
  void SetUp() override {
    b_.net().Serve("10.0.0.53", "10.0.0.53", 53);
    b_.net().Serve("mail.example.org", "10.2.2.2", 25);
    b_.m().EmailFormDNS = "10.0.0.53";
    sender_.MailFromLine = "MAIL FROM:<station@example.org>\r\n";
    sender_.HeaderLines = "From: station@example.org\r\nSubject: S\r\n";
    sender_.Body = "Text\r\n";
  }
  // Runs the loop a little, on the virtual clock.
  void Turn() { b_.ctx().Wait(50); }
  // Starts socket 0 for ops@example.org and answers the query.
  std::unique_ptr<ScriptedNetwork::Peer> ToExchanger() {
    sender_.Start(0, "example.org", "RCPT TO:<ops@example.org>\r\n",
                  "To: <ops@example.org>\r\n\r\n");
    EXPECT_EQ(sender_.Tag(0), "MXQUERY");
    EXPECT_TRUE(sender_.Running());
    auto& queue = b_.net().datagrams["10.0.0.53:53"];
    EXPECT_EQ(queue.size(), 1u);
    if (queue.empty()) return nullptr;
    auto dns = std::move(queue.front());
    queue.pop_front();
    const std::string query = dns->Received();
    EXPECT_EQ(query.substr(2), MXQuery("example.org", 0).substr(2));
    std::string reply = query.substr(0, 2) + ReplyHead(1).substr(2);
    reply += MXAnswer(10, Bytes({4}) + "mail" + Bytes({0xC0, 12}));
    dns->Send(reply);
    Turn();
    EXPECT_EQ(sender_.Tag(0), "CONNECT");
    return b_.net().Answer("10.2.2.2", 25);
  }
  // What the exchanger received since the last call.
  std::string Next(ScriptedNetwork::Peer& peer) {
    const std::string all = peer.Received();
    std::string out = all.substr(seen_);
    seen_ = all.size();
    return out;
  }
  MailBench b_;
  DirectSender sender_{b_.ctx()};
  size_t seen_ = 0;
};

TEST_F(Direct, LooksUpTheExchangerAndHandsItTheMessage) {
  auto mx = ToExchanger();
  ASSERT_NE(mx, nullptr);
  Turn();
  EXPECT_EQ(sender_.OpenSockets(), 1);
  mx->Send("220 mail.example.org ready\r\n");
  Turn();
  EXPECT_EQ(Next(*mx), "HELO station.tarnex.invalid\r\n");
  mx->Send("250 hello\r\n");
  Turn();
  EXPECT_EQ(Next(*mx), "MAIL FROM:<station@example.org>\r\n");
  mx->Send("250 ok\r\n");
  Turn();
  EXPECT_EQ(Next(*mx), "RCPT TO:<ops@example.org>\r\n");
  mx->Send("250 ok\r\n");
  Turn();
  EXPECT_EQ(Next(*mx), "DATA \r\n");
  mx->Send("354 go on\r\n");
  b_.ctx().Wait(1500);
  EXPECT_EQ(
      Next(*mx),
      "From: station@example.org\r\nSubject: S\r\nTo: <ops@example.org>\r\n\r\nText\r\n.\r\n");
  EXPECT_EQ(sender_.Tag(0), "BODY");
  mx->Send("250 queued\r\n");
  Turn();
  EXPECT_EQ(Next(*mx), "QUIT\r\n");
  EXPECT_EQ(sender_.Tag(0), "QUIT");
  EXPECT_TRUE(sender_.Running());
  mx.reset();  // the exchanger closes
  Turn();
  EXPECT_EQ(sender_.OpenSockets(), 0);
  EXPECT_FALSE(sender_.Running());
  EXPECT_EQ(b_.m().EmailFormStatus,
            "220 mail.example.org ready\r\n250 hello\r\n250 ok\r\n250 ok\r\n354 go on\r\n"
            "250 queued\r\n");
}

TEST_F(Direct, ARefusedRecipientClosesItsSocketOnly) {
  auto mx = ToExchanger();
  ASSERT_NE(mx, nullptr);
  Turn();
  for (const char* reply : {"220 hi\r\n", "250 hello\r\n", "250 ok\r\n"}) {
    mx->Send(reply);
    Turn();
  }
  EXPECT_EQ(sender_.Tag(0), "RCPT");
  mx->Send("550 no such user\r\n");
  Turn();
  EXPECT_TRUE(mx->Closed());
  EXPECT_EQ(Next(*mx).find("DATA"), std::string::npos);
  // The socket was closed by the sender, not by the peer: the count and the
  // running flag stay as they were.
  EXPECT_EQ(sender_.OpenSockets(), 1);
  EXPECT_TRUE(sender_.Running());
}

TEST_F(Direct, TheGreetingAndTheFirstRepliesAreAcceptedUnseen) {
  auto mx = ToExchanger();
  ASSERT_NE(mx, nullptr);
  Turn();
  for (const char* reply : {"554 go away\r\n", "501 what\r\n", "550 nope\r\n"}) {
    mx->Send(reply);
    Turn();
  }
  EXPECT_EQ(Next(*mx),
            "HELO station.tarnex.invalid\r\nMAIL FROM:<station@example.org>\r\n"
            "RCPT TO:<ops@example.org>\r\n");
}

TEST_F(Direct, AnEmptyReplyOrAWrongCodeAfterDataStopsThatRecipient) {
  auto mx = ToExchanger();
  ASSERT_NE(mx, nullptr);
  Turn();
  for (const char* reply : {"220 hi\r\n", "250 a\r\n", "250 b\r\n", "250 c\r\n"}) {
    mx->Send(reply);
    Turn();
  }
  EXPECT_EQ(sender_.Tag(0), "DATA");
  mx->Send("451 later\r\n");
  Turn();
  EXPECT_TRUE(mx->Closed());
}

TEST_F(Direct, AReplyWithACNAMEFirstLeavesNoExchangerToConnectTo) {
  sender_.Start(0, "example.org", "RCPT TO:<ops@example.org>\r\n", "To: <x>\r\n\r\n");
  auto& queue = b_.net().datagrams["10.0.0.53:53"];
  ASSERT_EQ(queue.size(), 1u);
  const std::string query = queue.front()->Received();
  std::string reply = query.substr(0, 2) + ReplyHead(2).substr(2);
  const std::string target = Bytes({5}) + "alias" + Bytes({0xC0, 12});
  reply += Bytes({0xC0, 12, 0, 5, 0, 1, 0, 0, 0, 60, 0, static_cast<int>(target.size())}) + target;
  reply += MXAnswer(10, Bytes({4}) + "mail" + Bytes({0xC0, 12}));
  queue.front()->Send(reply);
  const int before = b_.net().connects;
  Turn();
  EXPECT_EQ(b_.net().connects, before) << "an empty host name does not resolve";
  EXPECT_EQ(sender_.Tag(0), "CONNECT");
}

TEST_F(Direct, TheMailFormStartsOneSocketPerRecipient) {
  MailForm form(b_.ctx());
  b_.m().EmailFormList1 = {"a@example.org", "b@example.org"};
  b_.m().EInfo = "Hello";
  form.SendDirect();
  EXPECT_EQ(form.Direct().Tag(0), "MXQUERY");
  EXPECT_EQ(form.Direct().Tag(1), "MXQUERY");
  EXPECT_EQ(b_.net().datagrams["10.0.0.53:53"].size(), 2u);
  EXPECT_TRUE(form.Direct().Running());
}

}  // namespace
}  // namespace tarnex::testing
