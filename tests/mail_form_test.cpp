// The mail form on the command layer: loading, the pick-list's "|" rule,
// Add and removing, Save with its keys and files, Send Now, and the DNS
// server with its message.
#include <gtest/gtest.h>

#include "core/commands.h"
#include "mail/mail_form.h"
#include "tests/mail_support.h"

namespace tarnex::testing {
namespace {

class MailFormTest : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(b_.dir() + "/Bin"); }
  Commands& c() { return b_.app().commands(); }
  ServerModel& m() { return b_.m(); }
  std::string File(const std::string& name) {
    b_.app().Flush();
    return ReadFile(b_.dir() + "/" + name);
  }
  std::string Key(const std::string& key) {
    b_.app().Flush();
    return b_.ctx().INIRead(Context::kSettingsFile, "Email", key);
  }
  MailBench b_;
};

TEST(MailFormRules, AServerEntryKeepsWhatStandsBehindTheBarAndOneCharacter) {
  EXPECT_EQ(ServerFromEntry("Main| relay.example.org"), "relay.example.org");
  EXPECT_EQ(ServerFromEntry("Main|xrelay.example.org"), "relay.example.org");
  EXPECT_EQ(ServerFromEntry("relay.example.org"), "relay.example.org");
  EXPECT_EQ(ServerFromEntry("Main|"), "");
  EXPECT_EQ(ServerFromEntry("a|b|c"), "|c");
}

TEST_F(MailFormTest, LoadingReadsTheListsAndTheSavedChoiceStands) {
  WriteFile(b_.dir() + "/Bin/Emailto.txt", "  a@example.org \r\n\r\nb@example.org\r\n");
  WriteFile(b_.dir() + "/Bin/SMTPServers.Dat",
            "Main| relay.example.org\r\n\r\nSpare| spare.example\r\n");
  m().SMTP = "chosen.example.org";
  m().SMTPPort = "2525";
  m().EBody = "Body";
  m().autosend = 1;
  m().include[4] = 1;
  ASSERT_EQ(c().Open("email"), "");
  EXPECT_EQ(m().EmailFormList1, (TextList{"a@example.org", "b@example.org"}));
  EXPECT_EQ(m().EmailFormServers, (TextList{"Main| relay.example.org", "Spare| spare.example"}));
  EXPECT_EQ(m().EmailFormSMTP, "chosen.example.org");
  EXPECT_EQ(m().EmailFormSMTPPort, "2525");
  EXPECT_EQ(m().EmailFormFrom, "station@example.org");
  EXPECT_EQ(m().EmailFormBody, "Body");
  EXPECT_EQ(m().EmailFormAuto, 1);
  EXPECT_EQ(m().EmailFormInclude[4], 1);
  EXPECT_EQ(m().EmailFormAddName, MailForm::kAddHint);
  EXPECT_TRUE(m().OperatorMessages.empty());
}

TEST_F(MailFormTest, MissingListFilesLeaveTheListsEmpty) {
  ASSERT_EQ(c().Open("email"), "");
  EXPECT_TRUE(m().EmailFormList1.empty());
  EXPECT_TRUE(m().EmailFormServers.empty());
}

TEST_F(MailFormTest, AServerPickedFromTheListLeavesTheHostInTheField) {
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Set("email", "SMTP", "Main| relay.example.org"), "");
  EXPECT_EQ(m().EmailFormSMTP, "relay.example.org");
  ASSERT_EQ(c().Set("email", "SMTP", "typed.example.org"), "");
  EXPECT_EQ(m().EmailFormSMTP, "typed.example.org");
}

TEST_F(MailFormTest, AddPutsTheAddressAtTheEndAndADoubleClickRemovesAnEntry) {
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Do("email", "addname"), "");
  EXPECT_EQ(m().EmailFormAddName, "") << "a click clears the hint";
  for (const char* a : {"a@x", "b@x", "c@x"}) {
    ASSERT_EQ(c().Set("email", "addname", a), "");
    ASSERT_EQ(c().Do("email", "Add"), "");
  }
  EXPECT_EQ(m().EmailFormAddName, "");
  EXPECT_EQ(m().EmailFormList1, (TextList{"a@x", "b@x", "c@x"}));
  ASSERT_EQ(c().Set("email", "ListIndex", 1), "");
  ASSERT_EQ(c().Do("email", "List1"), "");
  EXPECT_EQ(m().EmailFormList1, (TextList{"a@x", "c@x"}));
  EXPECT_NE(c().Set("email", "List1", nlohmann::json::array()), "") << "the list is read only";
}

TEST_F(MailFormTest, SaveWritesTheKeysAndFilesHandsTheValuesOnAndCloses) {
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Run({{"form", "email"},
                     {"set",
                      {{"SMTP", "relay.example.org"},
                       {"SMTPPort", "587"},
                       {"EFrom", "me@example.org"},
                       {"ESubject", "Hello"},
                       {"EBody", "Line\r\nLine 2"},
                       {"autosend", 1},
                       {"include", {{"0", 1}, {"5", 1}}},
                       {"addname", "x@example.org"}}},
                     {"do", "Add"}}),
            "");
  ASSERT_EQ(c().Set("email", "addname", "y@example.org"), "");
  ASSERT_EQ(c().Do("email", "Add"), "");
  ASSERT_EQ(c().Do("email", "Save"), "");
  EXPECT_FALSE(c().IsOpen("email"));
  EXPECT_EQ(Key("SMTP"), "relay.example.org");
  EXPECT_EQ(Key("SMTP Port"), "587");
  EXPECT_EQ(Key("From"), "me@example.org");
  EXPECT_EQ(Key("Subject"), "Hello");
  EXPECT_EQ(Key("Auto"), "1");
  EXPECT_EQ(Key("History"), "1");
  EXPECT_EQ(Key("PCInfo"), "0");
  EXPECT_EQ(Key("Opersys"), "1");
  EXPECT_EQ(File("Bin/Emailto.txt"), "x@example.org\r\ny@example.org\r\n");
  EXPECT_EQ(File("Bin/EmailBody.txt"), "Line\r\nLine 2");
  EXPECT_EQ(m().SMTP, "relay.example.org");
  EXPECT_EQ(m().SMTPPort, "587");
  EXPECT_EQ(m().EFrom, "me@example.org");
  EXPECT_EQ(m().EBody, "Line\r\nLine 2");
  EXPECT_EQ(m().autosend, 1);
  EXPECT_EQ(m().include[5], 1);
  EXPECT_EQ(m().ETo, "x@example.org\r\ny@example.org\r\n");
  EXPECT_TRUE(m().EmailList1.empty()) << "the main window's list is the one read at start-up";
}

TEST_F(MailFormTest, QuitClosesWithoutSaving) {
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Set("email", "EFrom", "other@example.org"), "");
  ASSERT_EQ(c().Do("email", "Quit"), "");
  EXPECT_FALSE(c().IsOpen("email"));
  EXPECT_EQ(m().EFrom, "station@example.org");
  EXPECT_EQ(Key("From"), "");
}

TEST_F(MailFormTest, SendNowWithoutTheSummarySendsTheMessageAsItStands) {
  m().EInfo = "Left from before";
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Run({{"form", "email"},
                     {"set", {{"addname", "ops@example.org"}, {"EBody", "Unused"}}},
                     {"do", "Add"}}),
            "");
  ASSERT_EQ(c().Do("email", "Send Now"), "");
  auto peer = b_.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  EXPECT_EQ(peer->Received(), Monologue("10.0.0.5", "station@example.org", "station",
                                        "ops@example.org", "Daily report", "Left from before"));
  EXPECT_FALSE(c().IsOpen("email"));
  EXPECT_EQ(Key("SMTP Port"), "25") << "the Save after the mail writes the port";
  EXPECT_EQ(File("Bin/EmailBody.txt"), "Unused");
}

TEST_F(MailFormTest, SendNowWithTheSummaryComposesTheTextOnce) {
  ASSERT_EQ(c().Open("email"), "");
  ASSERT_EQ(c().Run({{"form", "email"},
                     {"set", {{"addname", "ops@example.org"}, {"EBody", "Hi"}, {"Check1", 1}}},
                     {"do", "Add"}}),
            "");
  m().UpTimeText = "3 Days 4 Hours";
  ASSERT_EQ(c().Do("email", "Send Now"), "");
  const std::string summary = ReadFile(b_.dir() + "/Bin/Summary.txt");
  ASSERT_FALSE(summary.empty());
  EXPECT_EQ(m().EInfo, "Hi\r\n\r\nServer On Time: 3 Days 4 Hours\r\n\r\n" + summary);
  auto peer = b_.net().Answer("10.1.1.1", 25);
  ASSERT_NE(peer, nullptr);
  EXPECT_NE(peer->Received().find(m().EInfo + "\r\n\r\n\r\n.\r\n"), std::string::npos);
}

TEST_F(MailFormTest, TheIncludeOptionsChangeNothingInTheReport) {
  m().EmailList1 = {"ops@example.org"};
  RelaySocket one(b_.ctx());
  sendit(b_.ctx(), one);
  const std::string plain = ReadFile(b_.dir() + "/Bin/ESummary.txt");
  m().include = {1, 1, 1, 1, 1, 1};
  sendit(b_.ctx(), one);
  const std::string all = ReadFile(b_.dir() + "/Bin/ESummary.txt");
  // Only the time in the title may differ.
  EXPECT_EQ(plain.substr(plain.find("\r\n")), all.substr(all.find("\r\n")));
}

TEST(MailFormDns, AFailingNetworkCallTellsTheOperatorAndLeavesTheServerEmpty) {
  std::string scenario = kBasicScenario;
  scenario.insert(scenario.rfind('}'), R"(, "dns_error": 87, "dns_server": "10.0.0.1")");
  MailBench b(scenario);
  ASSERT_EQ(b.app().commands().Open("email"), "");
  EXPECT_EQ(b.m().EmailFormDNS, "");
  ASSERT_EQ(b.m().OperatorMessages.size(), 1u);
  EXPECT_EQ(b.m().OperatorMessages[0], "GetNetworkParams sizing failed with error: 87");
}

TEST(MailFormDns, TheMachinesFirstDnsServerIsRead) {
  std::string scenario = kBasicScenario;
  scenario.insert(scenario.rfind('}'), R"(, "dns_server": "10.0.0.53")");
  MailBench b(scenario);
  ASSERT_EQ(b.app().commands().Open("email"), "");
  EXPECT_EQ(b.m().EmailFormDNS, "10.0.0.53");
  EXPECT_TRUE(b.m().OperatorMessages.empty());
}

}  // namespace
}  // namespace tarnex::testing
