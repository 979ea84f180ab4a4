// The two clocks behind the event loop: the host's, and a virtual one for the
// simulated machine.
#pragma once

#include <optional>

#include "platform/event_loop.h"

namespace tarnex {

// Seconds since 1970 as this host's local time.
std::optional<CivilTime> LocalCivilTime(int64_t epoch_seconds);

// The host's clocks: CLOCK_MONOTONIC, CLOCK_REALTIME in local time, poll(2).
class RealTimeSource : public TimeSource {
 public:
  int64_t MonotonicMs() const override;
  CivilTime Now() const override;
  int Poll(std::vector<pollfd>& fds, int64_t deadline_ms) override;
};

// A virtual clock starting at a given local time. With speed 0 ("max") time
// moves only when nothing is ready, straight to the next deadline; with a
// speed of N it is paced to N virtual seconds per real second, so that real
// sockets can take part.
class VirtualTimeSource : public TimeSource {
 public:
  VirtualTimeSource(const CivilTime& start, double speed);
  int64_t MonotonicMs() const override { return now_ms_; }
  CivilTime Now() const override { return FromEpochMillis(start_epoch_ms_ + now_ms_); }
  int Poll(std::vector<pollfd>& fds, int64_t deadline_ms) override;
  void Advance(int64_t ms) { now_ms_ += ms; }

 private:
  int64_t start_epoch_ms_;
  int64_t now_ms_ = 0;
  double speed_;
};

}  // namespace tarnex
