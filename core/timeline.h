// The operator's timeline: steps of the command layer, each done at the first
// turn of the loop at or after its time, in the order given.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/civil_time.h"

namespace tarnex {

class App;

class OperatorTimeline {
 public:
  struct Step {
    CivilTime at;
    nlohmann::json step;  // {"form", "open", "set", "do", "answer", "close"}
  };

  // `report` hears of a step that could not be done.
  OperatorTimeline(App& app, std::vector<Step> steps,
                   std::function<void(const std::string&)> report);
  ~OperatorTimeline();
  OperatorTimeline(const OperatorTimeline&) = delete;
  OperatorTimeline& operator=(const OperatorTimeline&) = delete;

  // The first step that names something the forms do not have, as
  // "operator step N (at TIME): what is wrong"; "" when all are good.
  std::string Check() const;
  // Arms the timeline; steps already due run at the next turn.
  void Start();
  // Steps done so far.
  size_t Done() const { return next_; }

 private:
  void Due();
  void Arm();

  App& app_;
  std::vector<Step> steps_;
  std::function<void(const std::string&)> report_;
  size_t next_ = 0;
  int timer_ = 0;
  bool running_ = false;
};

}  // namespace tarnex
