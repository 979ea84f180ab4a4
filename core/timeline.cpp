#include "core/timeline.h"

#include "base/legacy.h"
#include "core/app.h"
#include "core/commands.h"

namespace tarnex {

namespace {

std::string Where(size_t index, const CivilTime& at) {
  return "operator step " + std::to_string(index + 1) + " (at " +
         legacy::FormatDate(at, "yyyy-mm-dd hh:nn:ss") + ")";
}

}  // namespace

OperatorTimeline::OperatorTimeline(App& app, std::vector<Step> steps,
                                   std::function<void(const std::string&)> report)
    : app_(app), steps_(std::move(steps)), report_(std::move(report)) {}

OperatorTimeline::~OperatorTimeline() {
  if (timer_ != 0) app_.loop().RemoveTimer(timer_);
}

std::string OperatorTimeline::Check() const {
  for (size_t i = 0; i < steps_.size(); ++i) {
    const std::string problem = app_.commands().Check(steps_[i].step);
    if (!problem.empty()) return Where(i, steps_[i].at) + ": " + problem;
  }
  return {};
}

void OperatorTimeline::Start() {
  if (steps_.empty() || timer_ != 0) return;
  timer_ = app_.loop().AddTimer([this] { Due(); });
  Arm();
  app_.loop().SetTimerEnabled(timer_, true);
}

void OperatorTimeline::Arm() {
  // Timers wait at most about a minute; a later step is looked at again then.
  const int64_t left = ToEpochMillis(steps_[next_].at) - ToEpochMillis(app_.loop().Now());
  app_.loop().SetTimerInterval(timer_, left < 1 ? 1 : (left > 60000 ? 60000 : left));
}

void OperatorTimeline::Due() {
  // A step that waits inside (a command that pauses) lets the loop turn; the
  // next step comes after it, not inside it.
  if (running_) return;
  running_ = true;
  const int64_t now = ToEpochMillis(app_.loop().Now());
  while (next_ < steps_.size() && ToEpochMillis(steps_[next_].at) <= now &&
         !app_.loop().Stopping()) {
    const size_t index = next_++;
    const std::string problem = app_.commands().Run(steps_[index].step);
    if (!problem.empty()) report_(Where(index, steps_[index].at) + ": " + problem);
  }
  running_ = false;
  if (next_ < steps_.size() && !app_.loop().Stopping()) {
    Arm();
  } else {
    app_.loop().SetTimerEnabled(timer_, false);
  }
}

}  // namespace tarnex
