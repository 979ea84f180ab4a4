// The rules on single programs: one listed program a tick, in turn, with its
// six counters. Four rules time their hold against the clock (seconds since
// midnight as a single), two count visits. None has a key: they speak
// whatever Once says, and nothing clears a mark or a count on firing, so a
// rule over its limit speaks at every visit while its condition holds.
#include "base/legacy.h"
#include "rules/engine.h"

namespace tarnex {

using legacy::Str;
using legacy::StrSingle;
using legacy::Val;

namespace {
constexpr int32_t kLastSlot = 100;
}  // namespace

void ProgramRules(Context& ctx) {
  auto& m = ctx.model();
  const auto now = [&ctx] { return static_cast<float>(ctx.loop().Timer()); };

  // 1. The next program, back to the first after the last.
  m.ProgIndex += 1;
  if (m.ProgLast < m.ProgIndex) m.ProgIndex = 0;
  const int32_t index = m.ProgIndex;
  // Every statement below names the element of the program; past the last
  // of the 101 slots each fails and is passed over, so nothing happens.
  if (index < 0 || index > kLastSlot) return;
  const size_t i = static_cast<size_t>(index);

  // 2. The name as listed; a position past the end of the list reads empty.
  m.ProgName[i] = i < m.Programlist.size() ? m.Programlist[i] : std::string();

  const double processors = Val(m.ProcessorCount);

  // 3, 4. Processor, 300 seconds. With no processor count the division
  // fails, the failed test counts as met, and the held figure is not stored.
  m.ProgCPU[i] = ctx.ReadCounter(m.hProgCPU[i]);
  if (processors == 0 || m.ProgCPU[i] / processors > 80) {
    if (processors != 0) m.CPUHold[i] = m.ProgCPU[i] / processors;
    if (m.CPUStart[i] == 0) m.CPUStart[i] = now();
    if (now() - m.CPUStart[i] > 300) {
      AddText(m, "The Program " + m.ProgName[i] + " has had High Processor/CPU (" +
                     Str(m.WriteHigh[i]) + "%) for over " + StrSingle(m.CPUStart[i]) +
                     " Sec. Excessive Processor Usage can cause other programs not to function "
                     "as expected.");
    }
  } else {
    m.CPUStart[i] = 0;
  }

  // 5, 6. Virtual memory growing at every visit, 600 seconds.
  m.ProgVirtual[i] = ctx.ReadCounter(m.hProgVirtual[i]);
  if (m.ProgVirtual[i] > m.VirtualHigh[i]) {
    m.VirtualHigh[i] = m.ProgVirtual[i];
    if (m.VirtualStart[i] == 0) m.VirtualStart[i] = now();
    if (now() - m.VirtualStart[i] > 600) {
      AddText(m, "The Program " + m.ProgName[i] +
                     " has had its Virtual Memory continually grow for over " +
                     StrSingle(m.VirtualStart[i]) +
                     " Sec. This continuing to grow could mean a memory shortage or program "
                     "issues, such as programming issues or memory leaks.");
    }
  } else {
    m.VirtualStart[i] = 0;
  }

  // 7, 8. Page faults, a new highest value at more than 60 visits in a row.
  m.ProgFaults[i] = ctx.ReadCounter(m.hProgFaults[i]);
  if (m.ProgFaults[i] > m.FaultHigh[i]) {
    m.FaultHigh[i] = m.ProgFaults[i];
    m.FaultCount[i] += 1;
    if (m.FaultCount[i] > 60) {
      AddText(m, "The Program " + m.ProgName[i] + " has had high Page Faults for over " +
                     Str(m.FaultCount[i]) +
                     " Sec. Excessive page faults from a particular process are an indication "
                     "usually of bad coding practices. Either the functions and DLLs are not "
                     "organized correctly, or the data set that the application is using is "
                     "being called in a less than efficient manner.");
    }
  } else {
    m.FaultCount[i] = 0;
  }

  // 9, 10. Working set, a new highest value at more than 90 visits in a row.
  m.ProgWorkingSet[i] = ctx.ReadCounter(m.hProgWorkingSet[i]);
  if (m.ProgWorkingSet[i] > m.WorkingSetHigh[i]) {
    m.WorkingSetHigh[i] = m.ProgWorkingSet[i];
    m.WorkingSetCount[i] += 1;
    if (m.WorkingSetCount[i] > 90) {
      AddText(m, "The Program " + m.ProgName[i] +
                     " has had its Working Set continually grow for over " +
                     Str(m.WorkingSetCount[i]) +
                     " Sec. If there is not a Memory Shortage then this may indicate the Programs "
                     "code is causing a Memory Leak!");
    }
  } else {
    m.WorkingSetCount[i] = 0;
  }

  // 11, 12. Disk reads above 50000000 bytes a second, 600 seconds.
  m.ProgRead[i] = ctx.ReadCounter(m.hProgRead[i]);
  if (m.ProgRead[i] > 50000000) {
    m.ReadHigh[i] = m.ProgRead[i];
    if (m.ReadStart[i] == 0) m.ReadStart[i] = now();
    if (now() - m.ReadStart[i] > 600) {
      AddText(m, "The Program " + m.ProgName[i] + " has had high Hard Drive Reads (" +
                     Str(m.ReadHigh[i]) + " Bytes) for over " + StrSingle(m.ReadStart[i]) +
                     " Sec. Excessive Hard Drive Usage by one program can cause others to have "
                     "to wait for processing");
    }
  } else {
    m.ReadStart[i] = 0;
  }

  // 13. Disk writes, the same.
  m.ProgWrite[i] = ctx.ReadCounter(m.hProgWrite[i]);
  if (m.ProgWrite[i] > 50000000) {
    m.WriteHigh[i] = m.ProgWrite[i];
    if (m.WriteStart[i] == 0) m.WriteStart[i] = now();
    if (now() - m.WriteStart[i] > 600) {
      AddText(m, "The Program " + m.ProgName[i] + " has had high Hard Drive Writes (" +
                     Str(m.WriteHigh[i]) + " Bytes) for over " + StrSingle(m.WriteStart[i]) +
                     " Sec. Excessive Hard Drive Usage by one program can cause others to have "
                     "to wait for processing");
    }
  } else {
    m.WriteStart[i] = 0;
  }
}

}  // namespace tarnex
