// Fields of the server model owned by the bottleneck analysis: the rule
// switches, the rule counts, the per-program marks and the two views.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tarnex {
// A time mark per listed program (index 0 to 100): seconds since midnight as
// a single, 0 when no episode runs.
using ProgMarks = std::array<float, 101>;
// One flag per row of the data view.
using RowMarks = std::vector<int32_t>;
}  // namespace tarnex

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_RULE_FIELDS(X)                                                  \
  /* the twelve switches as stored (section Monitor) */                        \
  X(Flags<12>, BNMonitor, {})                                                  \
  /* the twelve rule switches, copied from BNMonitor at start and on Save */   \
  X(int32_t, BNCPU, 0)                                                         \
  X(int32_t, BNMemory, 0)                                                      \
  X(int32_t, BNDisk, 0)                                                        \
  X(int32_t, BNNetwork, 0)                                                     \
  X(int32_t, BNSQL, 0)                                                         \
  X(int32_t, BNFirewall, 0)                                                    \
  X(int32_t, BNWeb, 0)                                                         \
  X(int32_t, BNProxy, 0)                                                       \
  X(int32_t, BNCache, 0)                                                       \
  X(int32_t, BNServer, 0)                                                      \
  X(int32_t, Once, 0)                                                          \
  X(int32_t, BNPrograms, 0)                                                    \
  /* set by a click on Label16: the next pass adds a test text */              \
  X(int32_t, BNTestFlag, 0)                                                    \
  /* rule state: the count of each counting rule, by its key */                \
  X(Doubles<62>, BNCount, {})                                                  \
  /* the highest value of the high-water rules 32, 33, 34 and 36, by key */    \
  X(Doubles<62>, BNHigh, {})                                                   \
  /* findings since the start, by group in kRuleGroups' order */             \
  X(Doubles<12>, BNFindings, {})                                               \
  /* rule 4: high, middle, low (of five slots, three are used) */              \
  X(Doubles<5>, MemPagesCount, {})                                             \
  /* rules 11, 12, 13: one array of three slots shared by the three */         \
  X(Doubles<3>, CPUCount, {})                                                  \
  /* rule 15: below 5, below 10, below 15 */                                   \
  X(Doubles<3>, DiskIdleCount, {})                                             \
  /* rule 30: poor, fair, good */                                              \
  X(Doubles<3>, QueueCount, {})                                                \
  /* the trend rules: non-paged pool, paged pool, pages output */              \
  X(Doubles<3>, TrendCount, {})                                                \
  X(Doubles<3>, TrendHigh, {})                                                 \
  /* the program rules, by position in Programlist */                          \
  X(Texts<101>, ProgName, {})                                                  \
  X(ProgMarks, CPUStart, {})                                                   \
  X(ProgMarks, VirtualStart, {})                                               \
  X(ProgMarks, ReadStart, {})                                                  \
  X(ProgMarks, WriteStart, {})                                                 \
  X(ProgValues, CPUHold, {})                                                   \
  X(ProgValues, VirtualHigh, {})                                               \
  X(ProgValues, FaultHigh, {})                                                 \
  X(ProgValues, WorkingSetHigh, {})                                            \
  X(ProgValues, FaultCount, {})                                                \
  X(ProgValues, WorkingSetCount, {})                                           \
  X(ProgValues, ReadHigh, {})                                                  \
  X(ProgValues, WriteHigh, {})                                                 \
  /* "BottleNecks Tracked": the static list of what is watched */              \
  X(Text, BNTrackedText, "")                                                   \
  /* "Monitor BottleNeck Data": open flag, timer, rows 0 to 207 (only row 0 */ \
  /* while closed), the next free row and the width in twips */                \
  X(int32_t, BNViewOpen, 0)                                                    \
  X(int32_t, BNViewTimer, 0)                                                   \
  X(TextList, BNCaption, TextList(1))                                          \
  X(TextList, BNVal, TextList(1))                                              \
  X(RowMarks, BNValRed, RowMarks(1))                                           \
  X(double, BNRow, 0)                                                          \
  X(double, BNViewWidth, 0)
