// The interface table's three classes over the machine's table.
#include <gtest/gtest.h>

#include "bandwidth/interfaces.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::unique_ptr<SimPlatform> Machine(const std::string& interfaces) {
  SimOptions options;
  options.quiet = true;
  std::string error;
  auto sim = SimPlatform::FromText("{\"interfaces\": " + interfaces + "}", options, error);
  EXPECT_NE(sim, nullptr) << error;
  return sim;
}

std::string Rows(int count) {
  std::string rows = "[";
  for (int i = 1; i <= count; ++i) {
    if (i > 1) rows += ", ";
    rows += "{\"name\": \"if" + std::to_string(i) + "\", \"index\": " + std::to_string(i) +
            ", \"in_octets\": " + std::to_string(i * 100) +
            ", \"out_octets\": " + std::to_string(i * 10) + "}";
  }
  return rows + "]";
}

TEST(InterfaceTable, ATableWithNoRowsGivesNothingAndSumsOfZero) {
  auto sim = Machine("[]");
  CIpHelper helper(*sim);
  EXPECT_EQ(helper.Interfaces().Count(), 0);
  EXPECT_EQ(helper.BytesReceived(), 0);
  EXPECT_EQ(helper.BytesSent(), 0);
}

TEST(InterfaceTable, AMachineWithoutTheTableGivesAnEmptyCollection) {
  auto sim = Machine("null");
  CIpHelper helper(*sim);
  EXPECT_EQ(helper.Interfaces().Count(), 0);
  EXPECT_EQ(helper.BytesReceived(), 0);
}

TEST(InterfaceTable, AnAddressOfSixBytesReadsWithoutLeadingZeros) {
  EXPECT_EQ(AdapterAddressText(std::string("\x00\x0A\x1B\x00\x00\xFF", 6)), "00-A-1B-00-00-FF");
  EXPECT_EQ(AdapterAddressText(""), "");
  EXPECT_EQ(AdapterAddressText(std::string("\x01\x02\x03\x04\x05\x06\x07\x08\x09", 9)),
            "1-2-3-4-5-6-7-8")
      << "eight bytes at the most";
  auto sim = Machine(R"([{"name": "eth0", "address": "00-0A-1B-00-00-FF"}])");
  CIpHelper helper(*sim);
  EXPECT_EQ(helper.Interfaces().Item(1)->AdapterAddress, "00-A-1B-00-00-FF");
}

TEST(InterfaceTable, EveryPropertyComesFromItsField) {
  auto sim = Machine(R"([{"name": "eth0", "description": "Intel Ethernet", "index": 2,
    "type": 6, "mtu": 1500, "speed": 1000000000, "admin_status": 1, "oper_status": 5,
    "in_octets": 3000000000, "in_ucast": 11, "in_nucast": 12, "in_discards": 13,
    "in_errors": 14, "in_unknown": 15, "out_octets": 21, "out_ucast": 22, "out_nucast": 23,
    "out_discards": 24, "out_errors": 25, "out_qlen": 26}])");
  CIpHelper helper(*sim);
  const CInterface& i = *helper.Interfaces().Item(1);
  EXPECT_EQ(i.InterfaceDescription, "Intel Ethernet");
  EXPECT_EQ(i.InterfaceIndex, 2);
  EXPECT_EQ(i.InterfaceType, 6);
  EXPECT_EQ(i.MaximumTransmissionUnit, 1500);
  EXPECT_EQ(i.Speed, 1000000000);
  EXPECT_EQ(i.AdminStatus, 1);
  EXPECT_EQ(i.OperationalStatus, 5);
  EXPECT_EQ(i.OctetsReceived, static_cast<int32_t>(3000000000u - 4294967296u))
      << "an unsigned count from 2,147,483,648 reads as negative";
  EXPECT_EQ(i.UnicastPacketsReceived, 11);
  EXPECT_EQ(i.NonunicastPacketsReceived, 12);
  EXPECT_EQ(i.DiscardedIncomingPackets, 13);
  EXPECT_EQ(i.IncomingErrors, 14);
  EXPECT_EQ(i.UnknownProtocolPackets, 15);
  EXPECT_EQ(i.OctetsSent, 21);
  EXPECT_EQ(i.UnicastPacketsSent, 22);
  EXPECT_EQ(i.NonunicastPacketsSent, 23);
  EXPECT_EQ(i.DiscardedOutgoingPackets, 24);
  EXPECT_EQ(i.OutgoingErrors, 25);
  EXPECT_EQ(i.OutputQueueLength, 26);
  EXPECT_EQ(i.LastChange, 0);
  // The name is 16-bit text taken byte by byte: a NUL after each letter, to
  // the whole field.
  ASSERT_EQ(i.InterfaceName.size(), 512u);
  EXPECT_EQ(i.InterfaceName.substr(0, 8), std::string("e\0t\0h\0"
                                                      "0\0",
                                                      8));
  EXPECT_EQ(i.InterfaceName.find_first_not_of('\0', 8), std::string::npos);
}

TEST(InterfaceTable, RowsPastTheThirtyNinthRepeatIt) {
  auto sim = Machine(Rows(45));
  CIpHelper helper(*sim);
  CInterfaces& table = helper.Interfaces();
  ASSERT_EQ(table.Count(), 45);
  EXPECT_EQ(table.Item(38)->InterfaceIndex, 38);
  EXPECT_EQ(table.Item(39)->InterfaceIndex, 39);
  for (int n = 40; n <= 45; ++n) EXPECT_EQ(table.Item(n)->InterfaceIndex, 39) << n;
  // The sums count the 39th row seven times in all.
  int32_t received = 0;
  for (int i = 1; i <= 39; ++i) received += i * 100;
  EXPECT_EQ(helper.BytesReceived(), received + 6 * 3900);
}

TEST(InterfaceTable, AnAdditionThatWouldOverflowIsLeftOut) {
  auto sim = Machine(R"([{"in_octets": 2000000000}, {"in_octets": 2000000000},
                         {"in_octets": 100}])");
  CIpHelper helper(*sim);
  helper.Interfaces();
  EXPECT_EQ(helper.BytesReceived(), 2000000100);
}

TEST(InterfaceTable, EachReadingIsAFreshSnapshot) {
  auto sim = Machine(Rows(2));
  CIpHelper helper(*sim);
  CInterfaces first = helper.Interfaces();
  sim->interfaces->at(0).in_octets = 5000;
  CInterfaces& second = helper.Interfaces();
  EXPECT_EQ(first.Item(1)->OctetsReceived, 100);
  EXPECT_EQ(second.Item(1)->OctetsReceived, 5000);
  EXPECT_EQ(helper.BytesReceived(), 5200);
}

TEST(InterfaceTable, TheCollectionAddsFindsAndRemoves) {
  CInterfaces c;
  CInterface a, b;
  a.InterfaceIndex = 1;
  b.InterfaceIndex = 2;
  c.Add(a, "first");
  c.Add(b);
  EXPECT_EQ(c.Count(), 2);
  EXPECT_EQ(c.Item("first")->InterfaceIndex, 1);
  EXPECT_EQ(c.Item(2)->InterfaceIndex, 2);
  EXPECT_EQ(c.Item(3), nullptr);
  EXPECT_TRUE(c.Remove("first"));
  EXPECT_EQ(c.Item(1)->InterfaceIndex, 2);
  EXPECT_FALSE(c.Remove(5));
  int seen = 0;
  for (const auto& entry : c) seen += entry->InterfaceIndex;
  EXPECT_EQ(seen, 2);
}

}  // namespace
}  // namespace tarnex::testing
