// The application on the simulated machine for a benchmark, started, in a
// folder of its own that goes away with it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "core/app.h"
#include "platform/sim/sim_platform.h"

class BenchApp {
 public:
  explicit BenchApp(const char* scenario) {
    char pattern[] = "/tmp/tarnex-bench-XXXXXX";
    dir_ = mkdtemp(pattern);
    tarnex::SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = tarnex::SimPlatform::FromText(scenario, options, error);
    if (!sim_) {
      std::cerr << "scenario: " << error << "\n";
      std::exit(1);
    }
    app_ = std::make_unique<tarnex::App>(*sim_, dir_);
    app_->FormLoad();
  }
  ~BenchApp() {
    app_.reset();
    sim_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  BenchApp(const BenchApp&) = delete;
  BenchApp& operator=(const BenchApp&) = delete;

  tarnex::App& app() { return *app_; }
  tarnex::SimPlatform& sim() { return *sim_; }
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
  std::unique_ptr<tarnex::SimPlatform> sim_;
  std::unique_ptr<tarnex::App> app_;
};
