#include <gtest/gtest.h>

#include "counters/query.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::string WithAdapters(const std::string& list) {
  return R"({"env": {"COMPUTERNAME": "SRV1"}, "counters": {"\\Processor(0)\\% Idle Time": 1},
             "objects": {"Network Interface": [)" +
         list + "]}}";
}

TEST(Adapters, NoNetworkObjectMeansNoAdapter) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().AdapterCount, 0);
  EXPECT_EQ(s.model().AdapterName[0], "");
}

TEST(Adapters, NameOfFiveCharactersIsNotTrackedAndOfSixIs) {
  SimApp s(WithAdapters(R"("eth01", "eth012", "")"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().AdapterCount, 1);
  EXPECT_EQ(s.model().AdapterName[0], "eth012");
}

TEST(Adapters, LoopbackAndTunnelNamesAreSkippedInAnyCase) {
  SimApp s(WithAdapters(
      R"("Local Area Connection", "LOCALHOST adapter", "isatap.{1234}", "ISATAP x", "Intel Local NIC")"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().AdapterCount, 1);
  EXPECT_EQ(s.model().AdapterName[0], "Intel Local NIC");
}

TEST(Adapters, SeventhAdapterIsCountedButHasNoSlot) {
  SimApp s(WithAdapters(
      R"("Adapter 1", "Adapter 2", "Adapter 3", "Adapter 4", "Adapter 5", "Adapter 6", "Adapter 7")"));
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().AdapterCount, 7);
  EXPECT_EQ(s.model().AdapterName[5], "Adapter 6");
  for (const auto& name : s.model().AdapterName) EXPECT_NE(name, "Adapter 7");
}

TEST(Adapters, ObjectIsAskedForWithoutBackslashesAndAnyCase) {
  SimApp s(R"({"env": {"COMPUTERNAME": "SRV1"},
              "objects": {"network interface": ["Broadcom NetXtreme"]}})");
  ASSERT_TRUE(s.app().FormLoad());
  EXPECT_EQ(s.model().AdapterCount, 1);
}

TEST(QueryLayer, CounterOfAProductNotInstalledKeepsHandleZeroAndReadsZero) {
  SimApp s;
  ASSERT_TRUE(s.app().FormLoad());
  int32_t handle = 0;
  AddCounter(s.sim().Counters(), s.model().PerfQuery,
             "\\\\SRV1\\SQLServer:Latches\\Latch Waits/sec", handle, {});
  EXPECT_EQ(handle, 0);
  s.loop().Wait(3000);
  uint32_t status = 0;
  EXPECT_EQ(s.sim().Counters().GetDoubleCounterValue(handle, status), 0.0);
  EXPECT_TRUE(s.sim().messages.empty());
}

TEST(QueryLayer, AddingGivesWayToPendingEvents) {
  SimApp s;
  int yields = 0;
  int32_t handle = 0;
  uint32_t query = 0;
  s.sim().Counters().OpenQuery(query);
  AddCounter(s.sim().Counters(), query, "\\Processor(0)\\% Idle Time", handle, [&] { ++yields; });
  EXPECT_NE(handle, 0);
  EXPECT_EQ(yields, 1);
}

TEST(QueryLayer, ProcessorPathUsesTheLocalisedNames) {
  SimApp s;
  EXPECT_EQ(ProcessorPath(s.sim().Counters(), 3), "\\Processor(3)\\% Processor Time");
}

TEST(QueryLayer, EnumerationHandsOutNulSeparatedNames) {
  SimApp s(WithAdapters(R"("Adapter 1", "Adapter 2")"));
  std::string counters, instances;
  ASSERT_EQ(EnumObjectItems(s.sim().Counters(), "SRV1", "Network Interface", counters, instances),
            0u);
  EXPECT_EQ(instances, std::string("Adapter 1\0Adapter 2\0\0", 21));
  EXPECT_NE(EnumObjectItems(s.sim().Counters(), "SRV1", "No Such Object", counters, instances), 0u);
}

}  // namespace
}  // namespace tarnex::testing
