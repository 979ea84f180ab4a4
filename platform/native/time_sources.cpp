#include "platform/native/time_sources.h"

#include <poll.h>

#include <climits>
#include <cmath>
#include <ctime>

namespace tarnex {

namespace {

constexpr int64_t kNoDeadline = INT64_MAX;

int64_t ClockMs(clockid_t id) {
  timespec ts{};
  clock_gettime(id, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

int PollFor(std::vector<pollfd>& fds, int timeout_ms) {
  const int n = poll(fds.data(), fds.size(), timeout_ms);
  return n < 0 ? 0 : n;  // EINTR: a signal arrived, the loop looks again
}

}  // namespace

int64_t RealTimeSource::MonotonicMs() const {
  return ClockMs(CLOCK_MONOTONIC);
}

std::optional<CivilTime> LocalCivilTime(int64_t epoch_seconds) {
  tm local{};
  const time_t seconds = static_cast<time_t>(epoch_seconds);
  if (localtime_r(&seconds, &local) == nullptr) return std::nullopt;
  CivilTime t;
  t.year = local.tm_year + 1900;
  t.month = local.tm_mon + 1;
  t.day = local.tm_mday;
  t.hour = local.tm_hour;
  t.minute = local.tm_min;
  t.second = local.tm_sec > 59 ? 59 : local.tm_sec;  // a leap second reads as :59
  return t;
}

CivilTime RealTimeSource::Now() const {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  CivilTime t = LocalCivilTime(ts.tv_sec).value_or(CivilTime{});
  t.millis = static_cast<int>(ts.tv_nsec / 1000000);
  return t;
}

int RealTimeSource::Poll(std::vector<pollfd>& fds, int64_t deadline_ms) {
  int timeout = -1;
  if (deadline_ms != kNoDeadline) {
    const int64_t left = deadline_ms - MonotonicMs();
    timeout = left <= 0 ? 0 : static_cast<int>(left > INT_MAX ? INT_MAX : left);
  }
  return PollFor(fds, timeout);
}

VirtualTimeSource::VirtualTimeSource(const CivilTime& start, double speed)
    : start_epoch_ms_(ToEpochMillis(start)), speed_(speed) {}

int VirtualTimeSource::Poll(std::vector<pollfd>& fds, int64_t deadline_ms) {
  if (deadline_ms <= now_ms_) return PollFor(fds, 0);
  if (speed_ <= 0) {
    // As fast as possible: whatever is ready now runs, else time jumps.
    const int n = PollFor(fds, deadline_ms == kNoDeadline ? 50 : 0);
    if (n == 0 && deadline_ms != kNoDeadline) now_ms_ = deadline_ms;
    return n;
  }
  const int64_t real_start = ClockMs(CLOCK_MONOTONIC);
  int timeout = 50;
  if (deadline_ms != kNoDeadline) {
    const double real_left = std::ceil(static_cast<double>(deadline_ms - now_ms_) / speed_);
    timeout = real_left > 60000 ? 60000 : static_cast<int>(real_left);
  }
  const int n = PollFor(fds, timeout);
  const int64_t real_spent = ClockMs(CLOCK_MONOTONIC) - real_start;
  int64_t next = now_ms_ + static_cast<int64_t>(static_cast<double>(real_spent) * speed_);
  if (n == 0 && deadline_ms != kNoDeadline && timeout < 60000) next = deadline_ms;
  if (deadline_ms != kNoDeadline && next > deadline_ms) next = deadline_ms;
  if (next > now_ms_) now_ms_ = next;
  return n;
}

}  // namespace tarnex
