#include "platform/event_loop.h"

#include <algorithm>
#include <cerrno>
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

CivilTime RealTimeSource::Now() const {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tm local{};
  localtime_r(&ts.tv_sec, &local);
  CivilTime t;
  t.year = local.tm_year + 1900;
  t.month = local.tm_mon + 1;
  t.day = local.tm_mday;
  t.hour = local.tm_hour;
  t.minute = local.tm_min;
  t.second = local.tm_sec > 59 ? 59 : local.tm_sec;
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

EventLoop::EventLoop(TimeSource& time) : time_(time) {}
EventLoop::~EventLoop() = default;

int EventLoop::AddTimer(Handler handler) {
  auto rec = std::make_shared<TimerRec>();
  rec->handler = std::move(handler);
  timers_[next_id_] = rec;
  return next_id_++;
}

bool EventLoop::SetTimerInterval(int id, int64_t ms) {
  auto it = timers_.find(id);
  if (it == timers_.end() || ms < 0 || ms > kMaxInterval) return false;
  it->second->interval = ms;
  it->second->due = time_.MonotonicMs() + ms;
  return true;
}

int EventLoop::TimerInterval(int id) const {
  auto it = timers_.find(id);
  return it == timers_.end() ? 0 : static_cast<int>(it->second->interval);
}

void EventLoop::SetTimerEnabled(int id, bool enabled) {
  auto it = timers_.find(id);
  if (it == timers_.end()) return;
  if (enabled && !it->second->enabled) {
    it->second->due = time_.MonotonicMs() + it->second->interval;
    it->second->armed = next_armed_++;
  }
  it->second->enabled = enabled;
}

bool EventLoop::TimerEnabled(int id) const {
  auto it = timers_.find(id);
  return it != timers_.end() && it->second->enabled;
}

int EventLoop::WatchFd(int fd, short events, FdHandler handler) {
  auto rec = std::make_shared<WatchRec>();
  rec->fd = fd;
  rec->events = events;
  rec->handler = std::move(handler);
  watches_[next_id_] = rec;
  return next_id_++;
}

void EventLoop::SetWatchEvents(int id, short events) {
  auto it = watches_.find(id);
  if (it != watches_.end()) it->second->events = events;
}

void EventLoop::Unwatch(int id) {
  watches_.erase(id);
}

int64_t EventLoop::NextTimerDue() const {
  int64_t due = kNoDeadline;
  for (const auto& [id, t] : timers_) {
    if (t->enabled && t->interval > 0 && t->active < kMaxTimerNesting && t->due < due) due = t->due;
  }
  return due;
}

void EventLoop::Turn(int64_t deadline) {
  std::vector<pollfd> fds;
  std::vector<std::shared_ptr<WatchRec>> polled;
  for (const auto& [id, w] : watches_) {
    if (w->active || w->events == 0) continue;
    fds.push_back(pollfd{w->fd, w->events, 0});
    polled.push_back(w);
  }
  const int64_t due = NextTimerDue();
  time_.Poll(fds, due < deadline ? due : deadline);

  ++depth_;
  for (size_t i = 0; i < fds.size() && !stopping_; ++i) {
    if (fds[i].revents == 0) continue;
    auto& w = polled[i];
    // A watch removed by an earlier callback of this turn is not called.
    bool live = false;
    for (const auto& [id, rec] : watches_) live = live || rec == w;
    if (!live || w->active) continue;
    w->active = true;
    w->handler(fds[i].revents);
    w->active = false;
  }

  const int64_t now = time_.MonotonicMs();
  std::vector<std::shared_ptr<TimerRec>> ready;
  for (const auto& [id, t] : timers_) {
    if (t->enabled && t->interval > 0 && t->active < kMaxTimerNesting && t->due <= now) {
      ready.push_back(t);
    }
  }
  // Earliest due first; at the same due time, in the order they were enabled.
  std::sort(ready.begin(), ready.end(), [](const auto& a, const auto& b) {
    return a->due != b->due ? a->due < b->due : a->armed < b->armed;
  });
  for (auto& t : ready) {
    if (stopping_) break;
    // An earlier handler of this turn may have disabled or re-armed it.
    if (!t->enabled || t->interval <= 0 || t->due > time_.MonotonicMs()) continue;
    t->due = time_.MonotonicMs() + t->interval;
    ++t->active;
    t->handler();
    --t->active;
  }
  --depth_;
}

void EventLoop::DoEvents() {
  Turn(time_.MonotonicMs());
}

void EventLoop::Wait(int64_t ms) {
  // Once stopping, a turn would dispatch nothing and only block (or, on the
  // virtual clock, move time on).
  if (stopping_) return;
  const int64_t end = time_.MonotonicMs() + (ms > 0 ? ms : 0);
  do {
    Turn(end);
  } while (!stopping_ && time_.MonotonicMs() < end);
}

void EventLoop::Run() {
  while (!stopping_) Turn(kNoDeadline);
}

}  // namespace tarnex
