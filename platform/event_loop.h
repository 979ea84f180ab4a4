// The one event loop of the process: clock, timers, socket watches, DoEvents
// and Wait, and the hooks that run before it waits. Everything runs on one thread; handlers may nest, since a timer can
// fire inside another handler's Wait (itself included).
//
// Nesting bound: a timer whose handler is already running kMaxTimerNesting
// times is passed over for that turn, and a socket watch never runs inside its
// own callback. A fault that makes handlers slow therefore cannot grow the
// stack without end.
#pragma once

#include <poll.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "base/civil_time.h"

namespace tarnex {

// Where time comes from and how the loop blocks: the host's clocks, or a
// virtual clock that jumps to the next deadline when nothing is ready.
class TimeSource {
 public:
  virtual ~TimeSource() = default;
  // Milliseconds on a monotonic clock.
  virtual int64_t MonotonicMs() const = 0;
  // Local wall time.
  virtual CivilTime Now() const = 0;
  // Waits until a descriptor is ready or the monotonic clock reaches
  // `deadline_ms` (INT64_MAX: no deadline). Returns what poll(2) returns.
  virtual int Poll(std::vector<pollfd>& fds, int64_t deadline_ms) = 0;
};

class EventLoop {
 public:
  static constexpr int kMaxTimerNesting = 2;
  static constexpr int kMaxInterval = 65535;

  using Handler = std::function<void()>;
  using FdHandler = std::function<void(short revents)>;

  explicit EventLoop(TimeSource& time);
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  int64_t MonotonicMs() const { return time_.MonotonicMs(); }
  CivilTime Now() const { return time_.Now(); }
  // Seconds since midnight, with the fraction (the legacy Timer function).
  double Timer() const { return SecondsSinceMidnight(time_.Now()); }

  // Timers start disabled with an interval of 0 (which never fires). Timers
  // due at the same moment fire in the order they were enabled; a new
  // interval moves the due time but not that order.
  int AddTimer(Handler handler);
  // Removes a timer; a handler of it that is running finishes.
  void RemoveTimer(int id);
  // Setting the interval re-arms an enabled timer from now. An interval
  // outside 0..65535 is refused and the previous one stays.
  bool SetTimerInterval(int id, int64_t ms);
  int TimerInterval(int id) const;
  void SetTimerEnabled(int id, bool enabled);
  bool TimerEnabled(int id) const;

  // Watches a descriptor; `events` as for poll(2).
  int WatchFd(int fd, short events, FdHandler handler);
  void SetWatchEvents(int id, short events);
  void Unwatch(int id);

  // Adds a hook that runs at the start of every turn of the loop, before it
  // looks for what is ready: before each wait, each yield, each sleep.
  int AddBeforeSleep(Handler hook);
  void RemoveBeforeSleep(int id);

  // Runs once what is ready now (descriptors, due timers) and returns.
  void DoEvents();
  // Keeps running events until `ms` has passed; returns at once after Stop().
  void Wait(int64_t ms);
  // Runs until Stop().
  void Run();
  void Stop() { stopping_ = true; }
  bool Stopping() const { return stopping_; }
  // How deep handlers are nested right now (0 outside any handler).
  int Depth() const { return depth_; }

 private:
  struct TimerRec {
    Handler handler;
    int64_t interval = 0;
    bool enabled = false;
    int64_t due = 0;
    uint64_t armed = 0;  // when it was last enabled, for the firing order
    int active = 0;
  };
  struct WatchRec {
    int fd;
    short events;
    FdHandler handler;
    bool active = false;
  };

  // One turn: waits until `deadline` at most, then dispatches what is ready.
  void Turn(int64_t deadline);
  int64_t NextTimerDue() const;

  TimeSource& time_;
  std::map<int, Handler> before_sleep_;
  std::map<int, std::shared_ptr<TimerRec>> timers_;
  std::map<int, std::shared_ptr<WatchRec>> watches_;
  int next_id_ = 1;
  uint64_t next_armed_ = 1;
  int depth_ = 0;
  bool stopping_ = false;
};

}  // namespace tarnex
