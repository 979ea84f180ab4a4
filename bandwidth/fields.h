// Fields of the server model owned by the bandwidth accounting: the traffic
// totals of the day, month and year with their texts and peaks, the month
// table, the expected line speeds, and the disk traffic of the system drive
// with its day and month sums, peaks and load bands.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_BANDWIDTH_FIELDS(X)                                                  \
  /* the expected line speeds: the choice lists, the choices and the limits */      \
  X(TextList, UpBWList, {})                                                         \
  X(TextList, DnBWList, {})                                                         \
  X(Text, UpBW, "")                                                                 \
  X(Text, DnBW, "")                                                                 \
  X(Text, UpBWLimit, "")                                                            \
  X(Text, DnBWLimit, "")                                                            \
  /* the disk counters of the system drive */                                       \
  X(double, DiskFreePercent, 0)                                                     \
  X(double, DiskFreeMB, 0)                                                          \
  X(double, DiskWriteBps, 0)                                                        \
  X(double, DiskReadBps, 0)                                                         \
  X(double, DiskQueue, 0)                                                           \
  X(double, DiskTime, 0)                                                            \
  X(double, DiskIdle, 0)                                                            \
  /* disk traffic: sums since the month began (or the start) and since midnight */  \
  X(double, DiskReadMonth, 0)                                                       \
  X(double, DiskWriteMonth, 0)                                                      \
  X(double, DiskTotalMonth, 0)                                                      \
  X(double, DiskReadDay, 0)                                                         \
  X(double, DiskWriteDay, 0)                                                        \
  X(double, DiskTotalDay, 0)                                                        \
  X(double, DiskReadPeak, 0)                                                        \
  X(double, DiskWritePeak, 0)                                                       \
  /* disk load bands, zeroed daily */                                               \
  X(double, IdleSamples, 0)                                                         \
  X(double, IdleBand0, 0)                                                           \
  X(double, IdleBand1, 0)                                                           \
  X(double, IdleBand2, 0)                                                           \
  X(double, IdleBand3, 0)                                                           \
  X(Texts<4>, IdlePer, {})                                                          \
  /* the disk texts: rates, peaks, day and month totals, time, idle, free, queue */ \
  X(Text, Label45, "")                                                              \
  X(Text, Label46, "")                                                              \
  X(Text, Label49, "")                                                              \
  X(Text, Label50, "")                                                              \
  X(Text, Label47, "")                                                              \
  X(Text, Label48, "")                                                              \
  X(Text, Label65, "")                                                              \
  X(Text, Label58, "")                                                              \
  X(Text, Label60, "")                                                              \
  X(Text, Label62, "")                                                              \
  X(Text, Label59, "")                                                              \
  X(Text, Label61, "")                                                              \
  /* 1 once the day's roll-over ran */                                              \
  X(int32_t, DayClosed, 0)                                                          \
  /* the traffic tick: the fourteen sums over the adapters */                       \
  X(double, NetBytesSent, 0)                                                        \
  X(double, NetBytesRec, 0)                                                         \
  X(double, NetBytesTotal, 0)                                                       \
  X(double, NetPacketsRec, 0)                                                       \
  X(double, NetPacketsSent, 0)                                                      \
  X(double, NetRecErrors, 0)                                                        \
  X(double, NetOutErrors, 0)                                                        \
  X(double, NetOutQueue, 0)                                                         \
  X(double, NetOffloaded, 0)                                                        \
  X(double, NetPackets, 0)                                                          \
  X(double, NetRecUnicast, 0)                                                       \
  X(double, NetRecNonUnicast, 0)                                                    \
  X(double, NetSentUnicast, 0)                                                      \
  X(double, NetSentNonUnicast, 0)                                                   \
  /* ... and each adapter's values, by adapter slot */                              \
  X(Doubles<6>, AdapterBytesSent, {})                                               \
  X(Doubles<6>, AdapterBytesRec, {})                                                \
  X(Doubles<6>, AdapterBytesTotal, {})                                              \
  X(Doubles<6>, AdapterPacketsRec, {})                                              \
  X(Doubles<6>, AdapterPacketsSent, {})                                             \
  X(Doubles<6>, AdapterRecErrors, {})                                               \
  X(Doubles<6>, AdapterOutErrors, {})                                               \
  X(Doubles<6>, AdapterOutQueue, {})                                                \
  X(Doubles<6>, AdapterOffloaded, {})                                               \
  X(Doubles<6>, AdapterPackets, {})                                                 \
  X(Doubles<6>, AdapterRecUnicast, {})                                              \
  X(Doubles<6>, AdapterRecNonUnicast, {})                                           \
  X(Doubles<6>, AdapterSentUnicast, {})                                             \
  X(Doubles<6>, AdapterSentNonUnicast, {})                                          \
  /* this tick's throughput, bits per second */                                     \
  X(double, CurSent, 0)                                                             \
  X(double, CurRec, 0)                                                              \
  /* the totals of the day, the month and the year, bytes, kept as text */          \
  X(Text, DailySent, "")                                                            \
  X(Text, DailyRec, "")                                                             \
  X(Text, tup, "")                                                                  \
  X(Text, tdn, "")                                                                  \
  X(Text, AnnualSent, "")                                                           \
  X(Text, AnnualRec, "")                                                            \
  /* the date, month and year the totals belong to */                               \
  X(Text, rdate, "")                                                                \
  X(Text, BandwidthMonthKey, "")                                                    \
  X(Text, BandwidthYearKey, "")                                                     \
  /* peaks since the start of the run (whole Mbps) and the graph figures */         \
  X(Text, Label8a, "")                                                              \
  X(Text, Label7a, "")                                                              \
  X(float, SentPeak, 0)                                                             \
  X(float, RecPeak, 0)                                                              \
  X(Text, SentPeakText, "")                                                         \
  X(Text, RecPeakText, "")                                                          \
  X(int32_t, SentMbps, 0)                                                           \
  X(int32_t, RecMbps, 0)                                                            \
  X(double, ScaleRec, 100)                                                          \
  X(double, ScaleSent, 100)                                                         \
  /* the traffic texts of the main screen: the seven packet lines first */          \
  X(Text, Label51, "")                                                              \
  X(Text, Label52, "")                                                              \
  X(Text, Label53, "")                                                              \
  X(Text, Label54, "")                                                              \
  X(Text, Label55, "")                                                              \
  X(Text, Label56, "")                                                              \
  X(Text, Label57, "")                                                              \
  X(Text, upthru, "")                                                               \
  X(Text, dnthru, "")                                                               \
  X(Text, trstart, "")                                                              \
  X(Text, tsstart, "")                                                              \
  X(Text, ttstart, "")                                                              \
  X(Text, Label24, "")                                                              \
  X(Text, Label25, "")                                                              \
  X(Text, Label75, "")                                                              \
  X(Text, Label26, "")                                                              \
  X(Text, tbrec, "")                                                                \
  X(Text, tbsent, "")                                                               \
  /* the month table: five week slots and the month, sent and received */           \
  X(Texts<5>, BWSWk, {})                                                            \
  X(Texts<5>, BWRWk, {})                                                            \
  X(Text, BWSMon, "")                                                               \
  X(Text, BWRMon, "")                                                               \
  X(Text, MonthLabel, "")                                                           \
  X(Text, LastMonthLabel, "")                                                       \
  /* the bandwidth window: its mode, caption and text */                            \
  X(int32_t, BWSumMode, 0)                                                          \
  X(Text, BWSumCaption, "")                                                         \
  X(Text, BWSumText, "")
