// The sampling cycle (Timer1), once a second: the steps in their order, each
// done by the part of the system that owns it, with the yields between them.
#include "bandwidth/disk.h"
#include "bandwidth/traffic.h"
#include "base/legacy.h"
#include "core/app.h"
#include "core/figures.h"
#include "counters/catalogue.h"
#include "counters/programs.h"
#include "counters/recordings.h"
#include "inventory/processor_facts.h"
#include "monitorlink/link.h"
#include "monitorlink/listeners.h"
#include "rules/engine.h"

namespace tarnex {

void App::Timer1() {
  auto& m = model_;

  // 1. The cycle's clock; the processor texts start from zero.
  m.CycleStart = static_cast<float>(loop().Timer());
  m.CPUPrivilege = "0";
  m.DPCQueued = "0";
  m.CPUInterrupt = "0";
  m.Interrupts = "0";
  m.DPCPercent = "0";

  // 2. The log-all window.
  LogAllWindow(ctx_);

  // 3. The collection.
  m.MinuteTick += 1;
  platform_.Counters().CollectQueryData(m.PerfQuery);

  // 4, 5. Processor, its texts, the chart and the averages.
  ReadProcessor(ctx_);
  ShowProcessor(ctx_);
  ctx_.Yield();

  // 6. Interrupts and deferred calls.
  ShowInterrupts(ctx_);
  ctx_.Yield();

  // 7. Objects and system.
  ReadObjects(ctx_);
  ctx_.Yield();

  // 8. Memory.
  ReadMemory(ctx_);
  ctx_.Yield();

  // 9 to 15. The disk of the system drive.
  ReadDisk(ctx_);
  CountDiskLoad(ctx_);
  SumDiskTraffic(ctx_);
  ctx_.Yield();
  DiskPeaksAndTotals(ctx_);
  ctx_.Yield();
  ShowDisk(ctx_);

  // 16. Memory pages and the pools.
  ReadMemoryPages(ctx_);
  ctx_.Yield();

  // 17. The program list at the thirtieth tick. The rule pass of step 21 sets
  // the counter to 0, so it reads 1 here on every cycle and this test, like
  // those of steps 18, 20 and 22, does not hold in steady running.
  if (m.MinuteTick == 30) RefreshPrograms(platform_, m, [this] { ctx_.Yield(); });

  // 18. The page file and the service count, at the sixtieth tick.
  if (m.MinuteTick > 59) {
    SwapInfo(ctx_);
    CountServices(platform_, m);
    m.ServiceText = "Service: " + legacy::Str(m.ServiceCount);
  }

  // 19. Server counters.
  ReadServerCounters(ctx_);
  ctx_.Yield();

  // 20. While recording: the program list again and the programs' counters.
  ReadRecordedPrograms(ctx_);

  // 21. The traffic totals, then the bottleneck rules (which leave the tick
  // counter at 0).
  getbandwidthXP(ctx_);
  BottleneckCheck(ctx_);

  // 22. The tick counter wraps.
  if (m.MinuteTick > 60) m.MinuteTick = 1;

  // 23. While recording: a line to each snapshot file.
  if (m.LogAllSeconds != 0) LogMYData(ctx_);

  // 24. The status frame of this second.
  BuildFrame(ctx_);
  ctx_.Yield();

  // 25. What the rules found goes to the journal and closes the frame.
  const bool found = !m.BNText.empty();
  JournalFindings(ctx_);
  if (found) AddFindingToFrame(m, m.BNText);

  // 26. The frame to every connected slot.
  SendFrame(ctx_, *listeners_);
  ctx_.Yield();

  // 27. The queued messages.
  SendMessages(ctx_, *listeners_);

  // 28. The link's status line.
  ShowLinkState(ctx_, *listeners_);

  // 29. The slots are kept listening.
  KeepListening(ctx_, *listeners_);
  ctx_.Yield();

  // 30. The month table.
  MonthCheck(ctx_);

  // 31. The cycle's length retunes the timer: seconds taken from a number of
  // milliseconds, so the interval stays at 1000 or a unit or two below. At
  // midnight the difference is far out of range, the interval is refused and
  // the previous one stays.
  m.CycleElapsed = static_cast<float>(loop().Timer()) - m.CycleStart;
  if (m.CycleElapsed > 900) m.CycleElapsed = 0;
  if (timer1_ != 0) {
    loop().SetTimerInterval(timer1_, legacy::CLng(1000 - static_cast<double>(m.CycleElapsed)));
  }
}

}  // namespace tarnex
