#include "platform/event_loop.h"

#include <algorithm>
#include <climits>

namespace tarnex {

namespace {
constexpr int64_t kNoDeadline = INT64_MAX;
}  // namespace

EventLoop::EventLoop(TimeSource& time) : time_(time) {}
EventLoop::~EventLoop() = default;

int EventLoop::AddTimer(Handler handler) {
  auto rec = std::make_shared<TimerRec>();
  rec->handler = std::move(handler);
  timers_[next_id_] = rec;
  return next_id_++;
}

void EventLoop::RemoveTimer(int id) {
  timers_.erase(id);
}

int EventLoop::AddBeforeSleep(Handler hook) {
  before_sleep_[next_id_] = std::move(hook);
  return next_id_++;
}

void EventLoop::RemoveBeforeSleep(int id) {
  before_sleep_.erase(id);
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
  for (const auto& [id, hook] : before_sleep_) hook();
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
