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

constexpr const char* kBasicScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50}
})";

// A simulated machine with the application on it, in a fresh folder.
class SimApp {
 public:
  explicit SimApp(const std::string& scenario = kBasicScenario, std::string dir = "")
      : dir_(dir.empty() ? MakeTempDir() : std::move(dir)) {
    SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = SimPlatform::FromText(scenario, options, error);
    if (!sim_) ADD_FAILURE() << "scenario: " << error;
    app_ = std::make_unique<App>(*sim_, dir_);
  }
  ~SimApp() {
    app_.reset();
    sim_.reset();
    std::error_code ignored;
    if (owns_) std::filesystem::remove_all(dir_, ignored);
  }
  void Keep() { owns_ = false; }

  App& app() { return *app_; }
  ServerModel& model() { return app_->model(); }
  SimPlatform& sim() { return *sim_; }
  EventLoop& loop() { return sim_->Loop(); }
  const std::string& dir() const { return dir_; }
  std::string File(const std::string& relative) const { return ReadFile(dir_ + "/" + relative); }
  bool Has(const std::string& relative) const { return Exists(dir_ + "/" + relative); }

 private:
  std::string dir_;
  bool owns_ = true;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<App> app_;
};

}  // namespace tarnex::testing
