// The counter catalogue: every counter the system adds to its query, group by
// group, with the paths spelled exactly as the system has always spelled them.
#pragma once

#include <functional>

#include "core/context.h"
#include "core/model.h"
#include "platform/platform.h"

namespace tarnex {

// Adds the counters of one group. Each add gives way to pending events.
class CounterCatalogue {
 public:
  CounterCatalogue(Platform& platform, ServerModel& model, std::function<void()> yield)
      : platform_(platform), m_(model), yield_(std::move(yield)) {}
  // Over a context: each add lets pending events run.
  explicit CounterCatalogue(Context& ctx)
      : CounterCatalogue(ctx.platform(), ctx.model(), [&ctx] { ctx.Yield(); }) {}

  // The whole set-up in the order of start-up: adapter discovery, memory
  // (which opens the query anew), processor, the running programs, logical
  // disk, objects, system, network, server, ISA Server and web, SQL Server.
  void SetUp();

  void CounterMEM();
  void CounterCPU();
  void CounterLogicalDrive();
  void CounterObjects();
  void CounterSYStem();
  void CounterNetwork();
  void CounterServer();
  void CounterISAServer();
  void CounterSQL();

  // Collects the query a second time and reads the thirty-three server values.
  void ReadServerValues();

 private:
  // Machine form: "\\" + ComputerName + path.
  void AddM(const std::string& path, int32_t& handle);
  // Local form: the path as it stands.
  void AddL(const std::string& path, int32_t& handle);
  double Read(int32_t handle);

  Platform& platform_;
  ServerModel& m_;
  std::function<void()> yield_;
};

// The cycle's step 19: all server counters for a recording or the console,
// else only the work item shortages.
void ReadServerCounters(Context& ctx);

// The thirty-three counters of the server object, in the order of
// ServerValues.
extern const char* const kServerCounterNames[33];
// Their names as the performance console and the recordings show them.
extern const char* const kServerCaptions[33];

}  // namespace tarnex
