// Fields of the server model owned by the bandwidth accounting: the expected
// line speeds and the disk traffic of the system drive with its day and month
// sums, peaks and load bands.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_BANDWIDTH_FIELDS(X)                                                                    \
  /* the expected line speeds: the choice lists, the choices and the limits */                        \
  X(TextList, UpBWList, {})                                                                           \
  X(TextList, DnBWList, {})                                                                           \
  X(Text, UpBW, "")                                                                                   \
  X(Text, DnBW, "")                                                                                   \
  X(Text, UpBWLimit, "")                                                                              \
  X(Text, DnBWLimit, "")                                                                              \
  /* the disk counters of the system drive */                                                         \
  X(double, DiskFreePercent, 0)                                                                       \
  X(double, DiskFreeMB, 0)                                                                            \
  X(double, DiskWriteBps, 0)                                                                          \
  X(double, DiskReadBps, 0)                                                                           \
  X(double, DiskQueue, 0)                                                                             \
  X(double, DiskTime, 0)                                                                              \
  X(double, DiskIdle, 0)                                                                              \
  /* disk traffic: sums since the month began (or the start) and since midnight */                    \
  X(double, DiskReadMonth, 0)                                                                         \
  X(double, DiskWriteMonth, 0)                                                                        \
  X(double, DiskTotalMonth, 0)                                                                        \
  X(double, DiskReadDay, 0)                                                                           \
  X(double, DiskWriteDay, 0)                                                                          \
  X(double, DiskTotalDay, 0)                                                                          \
  X(double, DiskReadPeak, 0)                                                                          \
  X(double, DiskWritePeak, 0)                                                                         \
  /* disk load bands, zeroed daily */                                                                 \
  X(double, IdleSamples, 0)                                                                           \
  X(double, IdleBand0, 0)                                                                             \
  X(double, IdleBand1, 0)                                                                             \
  X(double, IdleBand2, 0)                                                                             \
  X(double, IdleBand3, 0)                                                                             \
  X(Texts<4>, IdlePer, {})                                                                            \
  /* the disk texts: rates, peaks, day and month totals, time, idle, free, queue */\
  X(Text, Label45, "")                                                                                \
  X(Text, Label46, "")                                                                                \
  X(Text, Label49, "")                                                                                \
  X(Text, Label50, "")                                                                                \
  X(Text, Label47, "")                                                                                \
  X(Text, Label48, "")                                                                                \
  X(Text, Label65, "")                                                                                \
  X(Text, Label58, "")                                                                                \
  X(Text, Label60, "")                                                                                \
  X(Text, Label62, "")                                                                                \
  X(Text, Label59, "")                                                                                \
  X(Text, Label61, "")                                                                                \
  /* 1 once the day's roll-over ran */                                                                \
  X(int32_t, DayClosed, 0)
