#include "platform/event_loop.h"
#include "platform/native/time_sources.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tarnex {
namespace {

constexpr CivilTime kStart{2024, 3, 15, 12, 0, 0, 0};

// Everything here runs on the virtual clock at speed 0: time only moves when
// nothing is ready, straight to the next deadline.
class EventLoopTest : public ::testing::Test {
 protected:
  // A timer with the given interval, enabled, that appends the virtual time
  // of each call to `log`.
  int LoggingTimer(int64_t interval, std::vector<int64_t>& log) {
    const int id = loop_.AddTimer([this, &log] { log.push_back(loop_.MonotonicMs()); });
    EXPECT_TRUE(loop_.SetTimerInterval(id, interval));
    loop_.SetTimerEnabled(id, true);
    return id;
  }

  VirtualTimeSource clock_{kStart, 0};
  EventLoop loop_{clock_};
};

// A non-blocking pipe, closed on destruction.
class Pipe {
 public:
  Pipe() {
    int fds[2] = {-1, -1};
    if (::pipe2(fds, O_NONBLOCK | O_CLOEXEC) == 0) {
      read_fd_ = fds[0];
      write_fd_ = fds[1];
    }
  }
  ~Pipe() {
    if (read_fd_ >= 0) ::close(read_fd_);
    if (write_fd_ >= 0) ::close(write_fd_);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  bool ok() const { return read_fd_ >= 0 && write_fd_ >= 0; }
  int read_fd() const { return read_fd_; }
  bool Write(const std::string& bytes) {
    return ::write(write_fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  std::string Drain() {
    std::string out;
    char buffer[256];
    ssize_t n;
    while ((n = ::read(read_fd_, buffer, sizeof buffer)) > 0) out.append(buffer, n);
    return out;
  }

 private:
  int read_fd_ = -1;
  int write_fd_ = -1;
};

TEST_F(EventLoopTest, NewTimerIsDisabledWithIntervalZero) {
  int calls = 0;
  const int id = loop_.AddTimer([&] { ++calls; });
  EXPECT_FALSE(loop_.TimerEnabled(id));
  EXPECT_EQ(loop_.TimerInterval(id), 0);
  loop_.Wait(100000);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(loop_.MonotonicMs(), 100000);
}

TEST_F(EventLoopTest, TimersDueTogetherFireInEnableOrder) {
  std::string fired;
  const int a = loop_.AddTimer([&] { fired += 'a'; });
  const int b = loop_.AddTimer([&] { fired += 'b'; });
  const int c = loop_.AddTimer([&] { fired += 'c'; });
  for (int id : {a, b, c}) ASSERT_TRUE(loop_.SetTimerInterval(id, 1000));
  loop_.SetTimerEnabled(c, true);
  loop_.SetTimerEnabled(a, true);
  loop_.SetTimerEnabled(b, true);

  loop_.Wait(1000);
  EXPECT_EQ(fired, "cab");
  loop_.Wait(1000);
  EXPECT_EQ(fired, "cabcab");
  EXPECT_EQ(loop_.MonotonicMs(), 2000);
}

TEST_F(EventLoopTest, NewIntervalKeepsTheTimersPlaceInTheOrder) {
  std::string fired;
  int a = 0;
  a = loop_.AddTimer([&] {
    fired += 'a';
    loop_.SetTimerInterval(a, 1000);  // the sampling cycle retunes itself like this
  });
  const int b = loop_.AddTimer([&] { fired += 'b'; });
  for (int id : {a, b}) ASSERT_TRUE(loop_.SetTimerInterval(id, 1000));
  loop_.SetTimerEnabled(a, true);
  loop_.SetTimerEnabled(b, true);
  loop_.Wait(3000);
  EXPECT_EQ(fired, "ababab");
}

TEST_F(EventLoopTest, ReEnabledTimerFiresAfterTheOthersDueWithIt) {
  std::string fired;
  const int a = loop_.AddTimer([&] { fired += 'a'; });
  const int b = loop_.AddTimer([&] { fired += 'b'; });
  ASSERT_TRUE(loop_.SetTimerInterval(a, 1000));
  ASSERT_TRUE(loop_.SetTimerInterval(b, 1000));
  loop_.SetTimerEnabled(a, true);
  loop_.SetTimerEnabled(b, true);
  loop_.Wait(1000);
  EXPECT_EQ(fired, "ab");

  // Both re-armed at 1500, b first: from now on b comes first.
  loop_.Wait(500);
  loop_.SetTimerEnabled(b, false);
  loop_.SetTimerEnabled(a, false);
  loop_.SetTimerEnabled(b, true);
  loop_.SetTimerEnabled(a, true);
  loop_.Wait(1000);
  EXPECT_EQ(fired, "abba");
  EXPECT_EQ(loop_.MonotonicMs(), 2500);
}

TEST_F(EventLoopTest, TimersWithDifferentIntervalsInterleaveByDueTime) {
  std::string fired;
  const int slow = loop_.AddTimer([&] { fired += 's'; });
  const int fast = loop_.AddTimer([&] { fired += 'f'; });
  ASSERT_TRUE(loop_.SetTimerInterval(slow, 300));
  ASSERT_TRUE(loop_.SetTimerInterval(fast, 200));
  loop_.SetTimerEnabled(slow, true);
  loop_.SetTimerEnabled(fast, true);
  // fast: 200 400 600 800 1000 1200; slow: 300 600 900 1200 (slow enabled first).
  loop_.Wait(1200);
  EXPECT_EQ(fired, "fsfsffsfsf");
}

TEST_F(EventLoopTest, OneSecondTimerFires3600TimesInAnHour) {
  std::vector<int64_t> log;
  LoggingTimer(1000, log);
  loop_.Wait(3600 * 1000);
  ASSERT_EQ(log.size(), 3600u);
  EXPECT_EQ(log.front(), 1000);
  EXPECT_EQ(log.back(), 3600 * 1000);
  for (size_t i = 1; i < log.size(); ++i) ASSERT_EQ(log[i] - log[i - 1], 1000) << i;
  EXPECT_EQ(loop_.MonotonicMs(), 3600 * 1000);
  EXPECT_EQ(loop_.Now(), (CivilTime{2024, 3, 15, 13, 0, 0, 0}));
}

TEST_F(EventLoopTest, IntervalChangedInsideItsOwnHandlerCountsFromThatMoment) {
  std::vector<int64_t> log;
  int id = 0;
  id = loop_.AddTimer([&] {
    log.push_back(loop_.MonotonicMs());
    if (log.size() == 1) {
      loop_.Wait(200);  // the change happens at 1200, not at the firing time
      EXPECT_TRUE(loop_.SetTimerInterval(id, 300));
    }
  });
  ASSERT_TRUE(loop_.SetTimerInterval(id, 1000));
  loop_.SetTimerEnabled(id, true);

  loop_.Wait(2000);
  EXPECT_EQ(log, (std::vector<int64_t>{1000, 1500, 1800}));
  EXPECT_EQ(loop_.TimerInterval(id), 300);
}

TEST_F(EventLoopTest, SettingTheIntervalReArmsFromNow) {
  std::vector<int64_t> log;
  const int id = LoggingTimer(1000, log);
  loop_.Wait(600);
  ASSERT_TRUE(loop_.SetTimerInterval(id, 1000));
  loop_.Wait(1400);
  EXPECT_EQ(log, (std::vector<int64_t>{1600}));
}

TEST_F(EventLoopTest, IntervalOutOfRangeIsRefusedAndTheOldOneStays) {
  std::vector<int64_t> log;
  const int id = LoggingTimer(1000, log);
  loop_.Wait(600);

  EXPECT_FALSE(loop_.SetTimerInterval(id, 65536));
  EXPECT_FALSE(loop_.SetTimerInterval(id, -1));
  EXPECT_FALSE(loop_.SetTimerInterval(id, INT64_MAX));
  EXPECT_FALSE(loop_.SetTimerInterval(id, INT64_MIN));
  EXPECT_EQ(loop_.TimerInterval(id), 1000);
  EXPECT_TRUE(loop_.TimerEnabled(id));

  // A refused value does not re-arm either: the timer keeps its 1000 due time.
  loop_.Wait(400);
  EXPECT_EQ(log, (std::vector<int64_t>{1000}));

  EXPECT_TRUE(loop_.SetTimerInterval(id, 65535));
  EXPECT_EQ(loop_.TimerInterval(id), 65535);
  loop_.Wait(65535);
  EXPECT_EQ(log, (std::vector<int64_t>{1000, 1000 + 65535}));
}

TEST_F(EventLoopTest, UnknownTimerIdIsIgnored) {
  EXPECT_FALSE(loop_.SetTimerInterval(42, 100));
  EXPECT_EQ(loop_.TimerInterval(42), 0);
  loop_.SetTimerEnabled(42, true);
  EXPECT_FALSE(loop_.TimerEnabled(42));
}

TEST_F(EventLoopTest, DisablingStopsTheTimer) {
  std::vector<int64_t> log;
  const int id = LoggingTimer(100, log);
  loop_.Wait(300);
  EXPECT_EQ(log.size(), 3u);
  loop_.SetTimerEnabled(id, false);
  EXPECT_FALSE(loop_.TimerEnabled(id));
  loop_.Wait(10000);
  EXPECT_EQ(log.size(), 3u);

  // Enabling again arms it from now.
  loop_.SetTimerEnabled(id, true);
  loop_.Wait(100);
  EXPECT_EQ(log.back(), 10400);
  EXPECT_EQ(log.size(), 4u);
}

TEST_F(EventLoopTest, RemovedTimerNeverFiresAgain) {
  std::vector<int64_t> log;
  const int id = LoggingTimer(100, log);
  loop_.Wait(250);
  ASSERT_EQ(log.size(), 2u);
  loop_.RemoveTimer(id);
  EXPECT_FALSE(loop_.TimerEnabled(id));
  EXPECT_FALSE(loop_.SetTimerInterval(id, 100));
  loop_.SetTimerEnabled(id, true);
  loop_.Wait(1000);
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(EventLoopTest, TimerRemovingItselfInItsHandlerFinishesThatRun) {
  int calls = 0;
  int id = 0;
  id = loop_.AddTimer([&] {
    ++calls;
    loop_.RemoveTimer(id);
    ++calls;  // the handler runs on after its timer is gone
  });
  loop_.SetTimerInterval(id, 100);
  loop_.SetTimerEnabled(id, true);
  loop_.Wait(1000);
  EXPECT_EQ(calls, 2);
}

TEST_F(EventLoopTest, BeforeSleepHooksRunAtTheStartOfEveryTurn) {
  int hooks = 0;
  std::vector<int> order;
  const int hook = loop_.AddBeforeSleep([&] {
    ++hooks;
    order.push_back(0);
  });
  const int timer = loop_.AddTimer([&] { order.push_back(1); });
  loop_.SetTimerInterval(timer, 100);
  loop_.SetTimerEnabled(timer, true);
  loop_.DoEvents();  // a yield is a turn
  EXPECT_EQ(hooks, 1);
  loop_.Wait(100);  // a wait runs a turn (or more) before each sleep
  EXPECT_GE(hooks, 2);
  ASSERT_GE(order.size(), 3u);
  EXPECT_EQ(order[order.size() - 2], 0) << "the hook runs before the timer of its turn";
  EXPECT_EQ(order.back(), 1);
  loop_.RemoveBeforeSleep(hook);
  const int before = hooks;
  loop_.Wait(300);
  EXPECT_EQ(hooks, before);
}

TEST_F(EventLoopTest, TimerDisablingItselfInItsHandlerStops) {
  int calls = 0;
  int id = 0;
  id = loop_.AddTimer([&] {
    if (++calls == 2) loop_.SetTimerEnabled(id, false);
  });
  ASSERT_TRUE(loop_.SetTimerInterval(id, 50));
  loop_.SetTimerEnabled(id, true);
  loop_.Wait(5000);
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(loop_.TimerEnabled(id));
}

TEST_F(EventLoopTest, IntervalZeroNeverFires) {
  std::vector<int64_t> log;
  const int id = LoggingTimer(0, log);
  EXPECT_TRUE(loop_.TimerEnabled(id));
  loop_.Wait(100000);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(loop_.MonotonicMs(), 100000);

  // Setting 0 on a running timer silences it too.
  ASSERT_TRUE(loop_.SetTimerInterval(id, 10));
  loop_.Wait(20);
  EXPECT_EQ(log.size(), 2u);
  ASSERT_TRUE(loop_.SetTimerInterval(id, 0));
  loop_.Wait(100000);
  EXPECT_EQ(log.size(), 2u);
  EXPECT_TRUE(loop_.TimerEnabled(id));
}

TEST_F(EventLoopTest, TimerDisabledByAnEarlierHandlerOfTheSameTurnDoesNotFire) {
  std::string fired;
  int b = 0;
  const int a = loop_.AddTimer([&] {
    fired += 'a';
    loop_.SetTimerEnabled(b, false);
  });
  b = loop_.AddTimer([&] { fired += 'b'; });
  ASSERT_TRUE(loop_.SetTimerInterval(a, 1000));
  ASSERT_TRUE(loop_.SetTimerInterval(b, 1000));
  loop_.SetTimerEnabled(a, true);
  loop_.SetTimerEnabled(b, true);
  loop_.Wait(3000);
  EXPECT_EQ(fired, "aaa");
}

TEST_F(EventLoopTest, WaitInsideAHandlerLetsAnotherTimerFire) {
  std::vector<std::pair<int64_t, int>> other;  // (time, depth)
  const int slow = loop_.AddTimer([&] { loop_.Wait(500); });
  const int fast = loop_.AddTimer([&] { other.emplace_back(loop_.MonotonicMs(), loop_.Depth()); });
  ASSERT_TRUE(loop_.SetTimerInterval(slow, 1000));
  ASSERT_TRUE(loop_.SetTimerInterval(fast, 300));
  loop_.SetTimerEnabled(slow, true);
  loop_.SetTimerEnabled(fast, true);

  EXPECT_EQ(loop_.Depth(), 0);
  loop_.Wait(1000);
  EXPECT_EQ(loop_.Depth(), 0);
  const std::vector<std::pair<int64_t, int>> expected = {
      {300, 1}, {600, 1}, {900, 1}, {1200, 2}, {1500, 2}};
  EXPECT_EQ(other, expected);
  // The outer Wait ended when the handler came back, at the end of its Wait.
  EXPECT_EQ(loop_.MonotonicMs(), 1500);
}

TEST_F(EventLoopTest, TimerNestsInsideItsOwnWaitOnlyUpToTheBound) {
  int depth = 0;
  int max_depth = 0;
  int nested_calls = 0;
  int other_at_bound = 0;
  const int self = loop_.AddTimer([&] {
    ++depth;
    max_depth = std::max(max_depth, depth);
    if (depth > 1) ++nested_calls;
    loop_.Wait(250);
    --depth;
  });
  const int other = loop_.AddTimer([&] {
    if (depth == EventLoop::kMaxTimerNesting) ++other_at_bound;
  });
  ASSERT_TRUE(loop_.SetTimerInterval(self, 100));
  ASSERT_TRUE(loop_.SetTimerInterval(other, 50));
  loop_.SetTimerEnabled(self, true);
  loop_.SetTimerEnabled(other, true);

  loop_.Wait(100);
  EXPECT_EQ(max_depth, EventLoop::kMaxTimerNesting);
  EXPECT_EQ(nested_calls, 1);
  // Passing over the nested timer does not hold up the others.
  EXPECT_GT(other_at_bound, 0);
  EXPECT_EQ(depth, 0);

  loop_.Wait(5000);
  EXPECT_EQ(max_depth, EventLoop::kMaxTimerNesting);
  EXPECT_GT(nested_calls, 1);
  EXPECT_EQ(depth, 0);
}

TEST_F(EventLoopTest, DoEventsDoesNotMoveVirtualTime) {
  std::vector<int64_t> log;
  LoggingTimer(1000, log);
  for (int i = 0; i < 100; ++i) loop_.DoEvents();
  EXPECT_EQ(loop_.MonotonicMs(), 0);
  EXPECT_EQ(loop_.Now(), kStart);
  EXPECT_TRUE(log.empty());

  // An overdue timer runs in DoEvents, at the time the clock shows.
  clock_.Advance(1500);
  loop_.DoEvents();
  EXPECT_EQ(log, (std::vector<int64_t>{1500}));
  loop_.DoEvents();
  EXPECT_EQ(log.size(), 1u);
  EXPECT_EQ(loop_.MonotonicMs(), 1500);
}

TEST(EventLoopPacedTest, DoEventsDoesNotMoveVirtualTimeWhenPaced) {
  VirtualTimeSource clock(kStart, 1000);
  EventLoop loop(clock);
  int calls = 0;
  const int id = loop.AddTimer([&] { ++calls; });
  ASSERT_TRUE(loop.SetTimerInterval(id, 1));
  loop.SetTimerEnabled(id, true);
  for (int i = 0; i < 20; ++i) loop.DoEvents();
  EXPECT_EQ(loop.MonotonicMs(), 0);
  EXPECT_EQ(calls, 0);
}

TEST_F(EventLoopTest, WaitReturnsEarlyAfterStop) {
  int later = 0;
  const int stopper = loop_.AddTimer([&] { loop_.Stop(); });
  const int other = loop_.AddTimer([&] { ++later; });
  ASSERT_TRUE(loop_.SetTimerInterval(stopper, 100));
  ASSERT_TRUE(loop_.SetTimerInterval(other, 200));
  loop_.SetTimerEnabled(stopper, true);
  loop_.SetTimerEnabled(other, true);

  EXPECT_FALSE(loop_.Stopping());
  loop_.Wait(10000);
  EXPECT_TRUE(loop_.Stopping());
  EXPECT_EQ(loop_.MonotonicMs(), 100);
  EXPECT_EQ(later, 0);
}

TEST_F(EventLoopTest, TimersDueWithTheStopperDoNotRunAfterStop) {
  std::string fired;
  const int a = loop_.AddTimer([&] {
    fired += 'a';
    loop_.Stop();
  });
  const int b = loop_.AddTimer([&] { fired += 'b'; });
  ASSERT_TRUE(loop_.SetTimerInterval(a, 100));
  ASSERT_TRUE(loop_.SetTimerInterval(b, 100));
  loop_.SetTimerEnabled(a, true);
  loop_.SetTimerEnabled(b, true);
  loop_.Wait(1000);
  EXPECT_EQ(fired, "a");
}

TEST_F(EventLoopTest, WaitAfterStopReturnsAtOnce) {
  int calls = 0;
  const int id = loop_.AddTimer([&] { ++calls; });
  ASSERT_TRUE(loop_.SetTimerInterval(id, 10));
  loop_.SetTimerEnabled(id, true);
  loop_.Stop();
  loop_.Wait(5000);
  EXPECT_EQ(loop_.MonotonicMs(), 0);
  EXPECT_EQ(calls, 0);
}

TEST_F(EventLoopTest, StopInsideANestedWaitEndsTheOuterWaitToo) {
  bool inner_returned = false;
  const int outer = loop_.AddTimer([&] {
    loop_.Wait(5000);
    inner_returned = true;
  });
  const int stopper = loop_.AddTimer([&] { loop_.Stop(); });
  ASSERT_TRUE(loop_.SetTimerInterval(outer, 1000));
  ASSERT_TRUE(loop_.SetTimerInterval(stopper, 1500));
  loop_.SetTimerEnabled(outer, true);
  loop_.SetTimerEnabled(stopper, true);
  loop_.Wait(60000);
  EXPECT_TRUE(inner_returned);
  EXPECT_EQ(loop_.MonotonicMs(), 1500);
}

TEST_F(EventLoopTest, RunReturnsAfterStopFromATimer) {
  int calls = 0;
  const int id = loop_.AddTimer([&] {
    if (++calls == 5) loop_.Stop();
  });
  ASSERT_TRUE(loop_.SetTimerInterval(id, 1000));
  loop_.SetTimerEnabled(id, true);
  loop_.Run();
  EXPECT_EQ(calls, 5);
  EXPECT_EQ(loop_.MonotonicMs(), 5000);
  EXPECT_EQ(loop_.Now(), (CivilTime{2024, 3, 15, 12, 0, 5, 0}));
}

// Waits `ms` on a fresh loop started at `start` and returns the clock.
CivilTime AfterWait(const CivilTime& start, int64_t ms) {
  VirtualTimeSource clock(start, 0);
  EventLoop loop(clock);
  loop.Wait(ms);
  EXPECT_EQ(loop.MonotonicMs(), ms);
  return loop.Now();
}

TEST(VirtualTimeSourceTest, NowStartsAtTheGivenTime) {
  const CivilTime start{2024, 7, 4, 12, 34, 56, 500};
  VirtualTimeSource clock(start, 0);
  EventLoop loop(clock);
  EXPECT_EQ(loop.Now(), start);
  EXPECT_EQ(loop.MonotonicMs(), 0);
  EXPECT_DOUBLE_EQ(loop.Timer(), 12 * 3600 + 34 * 60 + 56.5);
}

TEST(VirtualTimeSourceTest, NowCrossesMidnightAndYearEnd) {
  EXPECT_EQ(AfterWait({2023, 12, 31, 23, 59, 59, 250}, 1000),
            (CivilTime{2024, 1, 1, 0, 0, 0, 250}));
  EXPECT_EQ(AfterWait({2024, 3, 15, 23, 30, 0, 0}, 3600 * 1000),
            (CivilTime{2024, 3, 16, 0, 30, 0, 0}));
}

TEST(VirtualTimeSourceTest, NowCrossesMonthEnds) {
  // Leap year: February has 29 days.
  EXPECT_EQ(AfterWait({2024, 2, 28, 23, 0, 0, 0}, 3600 * 1000),
            (CivilTime{2024, 2, 29, 0, 0, 0, 0}));
  EXPECT_EQ(AfterWait({2024, 2, 29, 0, 0, 0, 0}, 86400 * 1000),
            (CivilTime{2024, 3, 1, 0, 0, 0, 0}));
  EXPECT_EQ(AfterWait({2023, 2, 28, 23, 59, 59, 999}, 1), (CivilTime{2023, 3, 1, 0, 0, 0, 0}));
  EXPECT_EQ(AfterWait({2024, 4, 30, 12, 0, 0, 0}, 12 * 3600 * 1000),
            (CivilTime{2024, 5, 1, 0, 0, 0, 0}));
  EXPECT_EQ(AfterWait({2024, 1, 31, 0, 0, 0, 0}, 86400 * 1000),
            (CivilTime{2024, 2, 1, 0, 0, 0, 0}));
}

TEST(VirtualTimeSourceTest, TimerFunctionFollowsTheVirtualClockAcrossMidnight) {
  VirtualTimeSource clock({2024, 3, 15, 23, 59, 0, 0}, 0);
  EventLoop loop(clock);
  std::vector<double> seen;
  const int id = loop.AddTimer([&] { seen.push_back(loop.Timer()); });
  ASSERT_TRUE(loop.SetTimerInterval(id, 30000));
  loop.SetTimerEnabled(id, true);
  loop.Wait(90000);
  EXPECT_EQ(seen, (std::vector<double>{86370.0, 0.0, 30.0}));
  EXPECT_EQ(loop.Now(), (CivilTime{2024, 3, 16, 0, 0, 30, 0}));
}

TEST(VirtualTimeSourceTest, PacedSpeedMovesVirtualTime) {
  VirtualTimeSource clock(kStart, 1000);
  EventLoop loop(clock);
  std::vector<int64_t> log;
  const int id = loop.AddTimer([&] { log.push_back(loop.MonotonicMs()); });
  ASSERT_TRUE(loop.SetTimerInterval(id, 1000));
  loop.SetTimerEnabled(id, true);
  loop.Wait(5000);
  EXPECT_EQ(log, (std::vector<int64_t>{1000, 2000, 3000, 4000, 5000}));
  EXPECT_EQ(loop.MonotonicMs(), 5000);
  EXPECT_EQ(loop.Now(), (CivilTime{2024, 3, 15, 12, 0, 5, 0}));
}

TEST(VirtualTimeSourceTest, PacedSpeedMovesVirtualTimeWithNoTimers) {
  VirtualTimeSource clock(kStart, 1000);
  EventLoop loop(clock);
  loop.Wait(3000);
  EXPECT_EQ(loop.MonotonicMs(), 3000);
  EXPECT_EQ(loop.Now(), (CivilTime{2024, 3, 15, 12, 0, 3, 0}));
}

TEST_F(EventLoopTest, FdWatchFiresWhenAPipeIsReadable) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  std::vector<short> events;
  std::string got;
  loop_.WatchFd(pipe.read_fd(), POLLIN, [&](short revents) {
    events.push_back(revents);
    got += pipe.Drain();
  });

  loop_.Wait(100);
  EXPECT_TRUE(events.empty());

  ASSERT_TRUE(pipe.Write("ping"));
  loop_.DoEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0] & POLLIN);
  EXPECT_EQ(got, "ping");

  // Drained: nothing more until new data.
  loop_.Wait(100);
  EXPECT_EQ(events.size(), 1u);
  ASSERT_TRUE(pipe.Write("pong"));
  loop_.Wait(100);
  EXPECT_EQ(events.size(), 2u);
  EXPECT_EQ(got, "pingpong");
}

TEST_F(EventLoopTest, FdWatchDoesNotRunInsideItsOwnCallback) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  int depth = 0;
  int max_depth = 0;
  int calls = 0;
  int timer_calls_inside = 0;
  const int timer = loop_.AddTimer([&] {
    if (depth > 0) ++timer_calls_inside;
  });
  ASSERT_TRUE(loop_.SetTimerInterval(timer, 10));
  loop_.SetTimerEnabled(timer, true);
  loop_.WatchFd(pipe.read_fd(), POLLIN, [&](short) {
    ++calls;
    ++depth;
    max_depth = std::max(max_depth, depth);
    // Still readable while the callback runs: the nested turns must pass it over.
    for (int i = 0; i < 5; ++i) loop_.DoEvents();
    loop_.Wait(100);
    pipe.Drain();
    --depth;
  });

  ASSERT_TRUE(pipe.Write("x"));
  loop_.DoEvents();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(max_depth, 1);
  EXPECT_GT(timer_calls_inside, 0);  // the nested Wait did run other events
  loop_.Wait(100);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, UnwatchInsideCallbackIsSafe) {
  Pipe first;
  Pipe second;
  ASSERT_TRUE(first.ok());
  ASSERT_TRUE(second.ok());
  std::vector<std::string> calls;
  int first_id = 0;
  int second_id = 0;
  const std::string first_tag(64, 'f');  // heap-allocated: a freed handler would show
  first_id = loop_.WatchFd(first.read_fd(), POLLIN, [&, tag = first_tag](short) {
    loop_.Unwatch(first_id);
    loop_.Unwatch(second_id);
    calls.push_back(tag);  // uses the handler's own state after unwatching it
  });
  second_id = loop_.WatchFd(second.read_fd(), POLLIN, [&](short) { calls.push_back("second"); });
  ASSERT_LT(first_id, second_id);

  // Both readable in the same turn; the first callback removes both watches.
  ASSERT_TRUE(first.Write("1"));
  ASSERT_TRUE(second.Write("2"));
  loop_.DoEvents();
  EXPECT_EQ(calls, std::vector<std::string>{first_tag});

  // Neither is called again although both stay readable.
  loop_.Wait(100);
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(EventLoopTest, WatchWithNoEventsIsNotCalled) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  int calls = 0;
  const int id = loop_.WatchFd(pipe.read_fd(), POLLIN, [&](short) {
    ++calls;
    pipe.Drain();
  });
  loop_.SetWatchEvents(id, 0);
  ASSERT_TRUE(pipe.Write("data"));
  loop_.Wait(100);
  EXPECT_EQ(calls, 0);
  loop_.SetWatchEvents(id, POLLIN);
  loop_.Wait(100);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, ReadyDescriptorDoesNotMoveTheVirtualClock) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  std::vector<int64_t> at;
  loop_.WatchFd(pipe.read_fd(), POLLIN, [&](short) {
    at.push_back(loop_.MonotonicMs());
    pipe.Drain();
  });
  std::vector<int64_t> log;
  LoggingTimer(1000, log);
  ASSERT_TRUE(pipe.Write("now"));
  loop_.Wait(1000);
  // The descriptor was served at 0, before time jumped to the timer.
  EXPECT_EQ(at, (std::vector<int64_t>{0}));
  EXPECT_EQ(log, (std::vector<int64_t>{1000}));
}

}  // namespace
}  // namespace tarnex
