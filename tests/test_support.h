// Shared helpers of the tests: a scratch installation folder, a simulated
// machine, and the application on top of it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "core/app.h"
#include "platform/fault_platform.h"
#include "platform/sim/sim_platform.h"

namespace tarnex::testing {

inline std::string MakeTempDir() {
  char pattern[] = "/tmp/tarnex-test-XXXXXX";
  const char* dir = mkdtemp(pattern);
  return dir != nullptr ? dir : "";
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream out;
  out << in.rdbuf();
  return out.str();
}

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

inline bool Exists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0;
}

// A server with its system-information program and memory tool.
constexpr const char* kBasicScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50},
  "commands": {
    "Systeminfo.exe": "\r\nHost Name:                 SRV1\r\nOS Name:                   Microsoft Windows Server 2008 R2 Standard \r\nOS Version:                6.1.7601 Service Pack 1 Build 7601\r\nProduct ID:                00477-001-0000421-84319\r\nOriginal Install Date:     3/12/2012, 4:15:22 PM\r\nSystem Boot Time:          11/13/2012, 7:02:41 AM\r\nSystem Manufacturer:       Dell Inc.\r\nSystem Model:              PowerEdge R410\r\nProcessor(s):              1 Processor(s) Installed.\r\nBIOS Version:              Dell Inc. 1.9.0, 12/12/2011\r\nBoot Device:               \\Device\\HarddiskVolume1\r\nInput Locale:              en-us;English (United States)\r\nTotal Physical Memory:     4,095 MB\r\nAvailable Physical Memory: 2,710 MB\r\n",
    "ram.exe -i": "1x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n1x I-cache 32 Kb, 8-way set associative, 64 byte line size\r\nSSE2 instructions\r\n"
  }
})";

// A simulated machine with the application on it, in a fresh folder. With
// faults, the application sees the machine through a FaultPlatform, whose
// faults() a test injects.
class SimApp {
 public:
  enum class Faults { kNone, kInjectable };

  explicit SimApp(const std::string& scenario = kBasicScenario, std::string dir = "",
                  Faults faults = Faults::kNone)
      : dir_(dir.empty() ? MakeTempDir() : std::move(dir)) {
    SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = SimPlatform::FromText(scenario, options, error);
    if (!sim_) ADD_FAILURE() << "scenario: " << error;
    if (faults == Faults::kInjectable) faults_ = std::make_unique<FaultPlatform>(*sim_);
    app_ = std::make_unique<App>(faults_ ? static_cast<Platform&>(*faults_) : *sim_, dir_);
  }
  ~SimApp() {
    app_.reset();
    faults_.reset();
    sim_.reset();
    std::error_code ignored;
    if (owns_) std::filesystem::remove_all(dir_, ignored);
  }
  void Keep() { owns_ = false; }

  App& app() { return *app_; }
  Context& ctx() { return app_->ctx(); }
  ServerModel& model() { return app_->model(); }
  SimPlatform& sim() { return *sim_; }
  FaultPlatform& faults() { return *faults_; }
  EventLoop& loop() { return sim_->Loop(); }
  const std::string& dir() const { return dir_; }
  // A file of the installation folder as it is on disk, once the settings
  // written since the loop last waited are there.
  std::string File(const std::string& relative) {
    app_->Flush();
    return ReadFile(dir_ + "/" + relative);
  }
  bool Has(const std::string& relative) const { return Exists(dir_ + "/" + relative); }

 private:
  std::string dir_;
  bool owns_ = true;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<FaultPlatform> faults_;
  std::unique_ptr<App> app_;
};

}  // namespace tarnex::testing
