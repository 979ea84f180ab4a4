#include <gtest/gtest.h>

#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

std::unique_ptr<SimPlatform> Load(const std::string& json, std::string& error) {
  SimOptions options;
  options.quiet = true;
  return SimPlatform::FromText(json, options, error);
}

TEST(Scenario, UnknownKeyIsAnErrorWithItsName) {
  std::string error;
  EXPECT_EQ(Load(R"({"start": "2012-11-14 10:00:00", "countres": {}})", error), nullptr);
  EXPECT_NE(error.find("countres"), std::string::npos);
}

TEST(Scenario, BadStartTimeIsAnError) {
  std::string error;
  EXPECT_EQ(Load(R"({"start": "2012-02-30 10:00:00"})", error), nullptr);
  EXPECT_EQ(Load(R"({"start": "yesterday"})", error), nullptr);
  EXPECT_NE(error.find("start"), std::string::npos);
}

TEST(Scenario, AProgramsRunTimeAndWindowAreCheckedAndNamed) {
  std::string error;
  for (const char* bad :
       {R"("programs": [])", R"("programs": {"a.exe": 5})",
        R"("programs": {"a.exe": {"runs_for": -1}})",
        R"("programs": {"a.exe": {"runs_for": "soon"}})", R"("programs": {"a.exe": {"window": 1}})",
        R"("programs": {"a.exe": {"ends": 1}})"}) {
    error.clear();
    EXPECT_EQ(Load(std::string(R"({"start": "2012-11-14 10:00:00", )") + bad + "}", error), nullptr)
        << bad;
    EXPECT_NE(error.find("program"), std::string::npos) << bad << ": " << error;
  }
}

TEST(Scenario, AProgramRunsForItsTimeAndOneWithoutAWindowHasNone) {
  std::string error;
  auto sim = Load(R"({"start": "2012-11-14 10:00:00", "programs": {
      "C:\\Apps\\short.exe": {"runs_for": 10}, "hidden.exe": {"window": false}}})",
                  error);
  ASSERT_NE(sim, nullptr) << error;
  ASSERT_TRUE(sim->ShellOpen("C:\\Apps\\SHORT.exe", "", "C:\\Apps"));
  ASSERT_TRUE(sim->ShellOpen("D:\\x\\hidden.exe", "", "D:\\x"));
  ASSERT_TRUE(sim->ShellOpen("D:\\x\\plain.exe", "", "D:\\x"));
  // The processes in the order the machine lists them: the three started.
  std::vector<int64_t> pids = sim->EnumProcesses();
  ASSERT_EQ(pids.size(), 3u);
  std::string path;
  ASSERT_TRUE(sim->ProcessFileName(pids[0], path));
  EXPECT_EQ(path, "C:\\Apps\\SHORT.exe");
  const int64_t short_run = pids[0];
  EXPECT_EQ(sim->ProcessWindow(short_run), SimPlatform::kWindowBase + short_run);
  EXPECT_EQ(sim->ProcessWindow(pids[1]), 0) << "no window";
  sim->Loop().Wait(9000);
  EXPECT_NE(sim->ProcessWindow(short_run), 0);
  sim->Loop().Wait(1000);
  EXPECT_EQ(sim->ProcessWindow(short_run), 0);
  EXPECT_FALSE(sim->ProcessFileName(short_run, path));
  EXPECT_EQ(sim->EnumProcesses().size(), 2u);
  // A program the scenario does not name runs until it is asked to close; a
  // program without a window cannot be asked.
  const int64_t plain = pids[2];
  ASSERT_NE(sim->ProcessWindow(plain), 0);
  EXPECT_FALSE(sim->CloseWindow(plain)) << "a process identifier is not its window";
  EXPECT_TRUE(sim->CloseWindow(sim->ProcessWindow(plain)));
  EXPECT_EQ(sim->ProcessWindow(plain), 0);
  EXPECT_FALSE(sim->CloseWindow(SimPlatform::kWindowBase + pids[1]));
  EXPECT_EQ(sim->closed, std::vector<int64_t>{SimPlatform::kWindowBase + plain});
}

TEST(Scenario, MalformedJsonIsAnError) {
  std::string error;
  EXPECT_EQ(Load("{", error), nullptr);
  EXPECT_EQ(Load("[]", error), nullptr);
  EXPECT_EQ(Load(R"({"counters": {"\\X\\Y": "high"}})", error), nullptr);
  EXPECT_NE(error.find("\\X\\Y"), std::string::npos);
  EXPECT_EQ(Load(R"({"counters": {"\\X\\Y": [{"value": 1, "for": 0}]}})", error), nullptr);
  EXPECT_EQ(Load(R"({"counters": {"\\X\\Y": [{"value": 1, "fro": 2}]}})", error), nullptr);
  EXPECT_NE(error.find("fro"), std::string::npos);
}

TEST(Scenario, StartTimeAndEnvironmentAreTaken) {
  std::string error;
  auto sim = Load(R"({"start": "2012-11-14 10:00:00", "env": {"COMPUTERNAME": "SRV1"}})", error);
  ASSERT_NE(sim, nullptr) << error;
  EXPECT_EQ(sim->Loop().Now(), (CivilTime{2012, 11, 14, 10, 0, 0, 0}));
  EXPECT_EQ(sim->Environment("COMPUTERNAME"), "SRV1");
  EXPECT_EQ(sim->Environment("WinDIR"), "");
}

TEST(Scenario, LauncherStartOverridesTheScenario) {
  SimOptions options;
  options.start = CivilTime{2020, 1, 2, 3, 4, 5, 0};
  std::string error;
  auto sim = SimPlatform::FromText(R"({"start": "2012-11-14 10:00:00"})", options, error);
  ASSERT_NE(sim, nullptr);
  EXPECT_EQ(sim->Loop().Now(), (CivilTime{2020, 1, 2, 3, 4, 5, 0}));
}

double Read(PerfCounters& pdh, int32_t handle) {
  uint32_t status = 0;
  return pdh.GetDoubleCounterValue(handle, status);
}

TEST(Scenario, SegmentsAreTakenOnePerCollectionAndTheLastHolds) {
  std::string error;
  auto sim =
      Load(R"({"counters": {"\\Memory\\Pages/sec": [5, {"value": 7, "for": 2}, 9]}})", error);
  ASSERT_NE(sim, nullptr) << error;
  auto& pdh = sim->Counters();
  uint32_t q = 0;
  pdh.OpenQuery(q);
  int32_t h = 0;
  ASSERT_EQ(pdh.AddCounter(q, "\\\\ANY\\memory\\PAGES/SEC", h), 0u);
  EXPECT_EQ(Read(pdh, h), 0.0);  // nothing collected yet
  std::vector<double> seen;
  for (int i = 0; i < 6; ++i) {
    pdh.CollectQueryData(q);
    seen.push_back(Read(pdh, h));
  }
  EXPECT_EQ(seen, (std::vector<double>{5, 7, 7, 9, 9, 9}));
}

TEST(Scenario, ConstantCounterAndPathsWithOrWithoutTheMachine) {
  std::string error;
  auto sim = Load(R"({"counters": {"\\\\SRV1\\Objects\\Processes": 42}})", error);
  ASSERT_NE(sim, nullptr) << error;
  auto& pdh = sim->Counters();
  uint32_t q = 0;
  pdh.OpenQuery(q);
  int32_t a = 0, b = 0;
  ASSERT_EQ(pdh.AddCounter(q, "\\Objects\\Processes", a), 0u);
  ASSERT_EQ(pdh.AddCounter(q, "\\\\OTHER\\objects\\processes", b), 0u);
  pdh.CollectQueryData(q);
  pdh.CollectQueryData(q);
  EXPECT_EQ(Read(pdh, a), 42);
  EXPECT_EQ(Read(pdh, b), 42);
}

TEST(Scenario, PathNotInTheScenarioCannotBeAdded) {
  std::string error;
  auto sim = Load(R"({})", error);
  ASSERT_NE(sim, nullptr);
  auto& pdh = sim->Counters();
  uint32_t q = 0;
  pdh.OpenQuery(q);
  int32_t h = 0;
  EXPECT_NE(pdh.AddCounter(q, "\\Memory\\Pages/sec", h), 0u);
  EXPECT_EQ(h, 0);
  pdh.CollectQueryData(q);
  EXPECT_EQ(Read(pdh, h), 0.0);
}

TEST(Scenario, CountersOfAnotherQueryAreNotCollected) {
  std::string error;
  auto sim = Load(R"({"counters": {"\\A\\B": 3}})", error);
  auto& pdh = sim->Counters();
  uint32_t first = 0, second = 0;
  pdh.OpenQuery(first);
  pdh.OpenQuery(second);
  int32_t h = 0;
  pdh.AddCounter(first, "\\A\\B", h);
  pdh.CollectQueryData(second);
  EXPECT_EQ(Read(pdh, h), 0.0);
  pdh.CollectQueryData(first);
  EXPECT_EQ(Read(pdh, h), 3.0);
}

TEST(Scenario, YesNoQuestionsGetTheLauncherAnswer) {
  SimOptions options;
  options.quiet = true;
  options.answer = true;
  std::string error;
  auto sim = SimPlatform::FromText("{}", options, error);
  EXPECT_TRUE(sim->AskYesNo("Start now?"));
  EXPECT_EQ(sim->questions, std::vector<std::string>{"Start now?"});
}

}  // namespace
}  // namespace tarnex::testing
