// The server model: the one record that holds the whole state of the program.
// Fields bear the names of the system's inputs and indicators. Text is
// single-byte (Windows-1252); numbers are doubles unless noted. The fields
// listed here belong to the application core; each subsystem lists its own in
// its fields.h, and the model is assembled from all of them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "backup/fields.h"
#include "bandwidth/fields.h"
#include "console/fields.h"
#include "counters/fields.h"
#include "inventory/fields.h"
#include "mail/fields.h"
#include "monitorlink/fields.h"
#include "rules/fields.h"
#include "tracking/fields.h"
#include "update/fields.h"

namespace tarnex {

using Text = std::string;
using TextList = std::vector<std::string>;
using History = std::vector<int32_t>;
template <size_t N>
using Texts = std::array<std::string, N>;
template <size_t N>
using Flags = std::array<int32_t, N>;
template <size_t N>
using Doubles = std::array<double, N>;
// One slot per listed program, index 0 to 100.
using ProgHandles = std::array<int32_t, 101>;
using ProgValues = std::array<double, 101>;
using AdapterHandles = std::array<int32_t, 6>;
using ServerHandles = std::array<int32_t, 33>;
using SQLHandles = std::array<int32_t, 14>;
// The windows of the four programs closed around a back-up.
using WindowHandles = std::array<int32_t, 4>;

// X(type, name, initial value)
#define TARNEX_MODEL_FIELDS(X)                                                \
  /* identity and environment */                                              \
  X(Text, AppVersion, "0.80")                                                 \
  X(Text, AppBuildDate, "14 Nov 2012")                                        \
  X(Text, AppPath, "")                                                        \
  X(Text, WinDir, "")                                                         \
  X(Text, ComputerName, "")                                                   \
  X(Text, ProcessorCount, "")                                                 \
  X(int32_t, PerfServiceBroken, 0)                                            \
  X(Text, SystemDrive, "")                                                    \
  X(Text, DriveCaption, "")                                                   \
  X(Text, SystemBinDir, "")                                                   \
  X(Text, HourNow, "")                                                        \
  X(Text, SysInfo, "")                                                        \
  X(double, Left, 0)                                                          \
  X(double, Top, 0)                                                           \
  /* the panel of settings the main window shows: "" or Frame1 to Frame5 */   \
  X(Text, ShownPanel, "")                                                     \
  X(TextList, OperatorMessages, {})                                           \
  X(TextList, OperatorQuestions, {})                                          \
  /* run-time scratch zeroed at start */                                      \
  X(double, LogAllSeconds, 0)                                                 \
  X(double, LogAllElapsed, 0)                                                 \
  X(double, MinuteTick, 0)                                                    \
  /* the clock cycle: the time as hhmm and the day of the month */            \
  X(Text, rtime, "")                                                          \
  X(Text, ddate, "")                                                          \
  /* settings of the main screen */                                           \
  X(Flags<3>, Check3, {})                                                     \
  X(Text, SName, "")                                                          \
  /* the sampling cycle */                                                    \
  X(Text, CPUUsage, "")                                                       \
  X(double, CPUSpeed, 0)                                                      \
  X(double, MaxClockSpeed, 0)                                                 \
  X(Text, DPCQueued, "")                                                      \
  X(Text, Interrupts, "")                                                     \
  X(Text, DPCPercent, "")                                                     \
  X(Text, CPUPrivilege, "")                                                   \
  X(Text, CPUInterrupt, "")                                                   \
  X(double, ProcessCount, 0)                                                  \
  X(double, ThreadCount, 0)                                                   \
  X(double, HandleCount, 0)                                                   \
  X(Text, UpTimeText, "")                                                     \
  X(double, ContextSwitches, 0)                                               \
  X(double, SystemCalls, 0)                                                   \
  X(double, PageFaults, 0)                                                    \
  X(double, MemAvailable, 0)                                                  \
  X(double, MemCommitted, 0)                                                  \
  X(double, PageReads, 0)                                                     \
  X(double, PageWrites, 0)                                                    \
  X(double, CacheBytes, 0)                                                    \
  X(double, CachePeak, 0)                                                     \
  X(double, MemPages, 0)                                                      \
  X(double, PoolNonpaged, 0)                                                  \
  X(double, PagesInput, 0)                                                    \
  X(double, PagesOutput, 0)                                                   \
  X(double, PoolPaged, 0)                                                     \
  X(double, TotalMemory, 0)                                                   \
  X(Text, BNText, "")                                                         \
  X(float, CycleStart, 0)                                                     \
  X(float, CycleElapsed, 0)                                                   \
  X(TextList, CAver1, {})                                                     \
  X(TextList, CAver2, {})                                                     \
  X(TextList, CAver3, {})                                                     \
  X(TextList, CHours, {})                                                     \
  X(Text, LastMinText, "")                                                    \
  X(Text, LastHourText, "")                                                   \
  X(Text, CPULastMin, "")                                                     \
  X(Text, CPULastHR, "")                                                      \
  X(Text, CPULast24, "")                                                      \
  /* texts of the main screen */                                              \
  X(Text, Label27, "")                                                        \
  X(Text, Label32, "")                                                        \
  X(Text, CPUMHZ, "")                                                         \
  X(Text, cpu1, "")                                                           \
  X(Text, Label77, "")                                                        \
  X(Text, Label22, "")                                                        \
  X(Text, Label23, "")                                                        \
  X(Text, procnum, "")                                                        \
  X(Text, procnumb, "")                                                       \
  X(Text, Label39, "")                                                        \
  X(Text, Label38, "")                                                        \
  X(Text, Label36, "")                                                        \
  X(Text, SystemCallsText, "")                                                \
  X(Text, Label30, "")                                                        \
  X(Text, free, "")                                                           \
  X(Text, used, "")                                                           \
  X(Text, Label29, "")                                                        \
  X(Text, Label28, "")                                                        \
  X(Text, Label42, "")                                                        \
  X(Text, Label41, "")                                                        \
  X(Text, Label40, "")                                                        \
  X(Text, Label43, "")                                                        \
  X(Text, Label44, "")                                                        \
  /* the journal */                                                           \
  X(Text, EventText, "")                                                      \
  /* the strip charts: processor, received, sent, and the three CPU charts */ \
  X(History, picGraph0, History(300))                                         \
  X(History, picGraph1, History(300))                                         \
  X(History, picGraph2, History(300))                                         \
  X(History, CPUU0, History(60))                                              \
  X(History, CPUU1, History(60))                                              \
  X(History, CPUU2, History(30))                                              \
  TARNEX_COUNTER_FIELDS(X)                                                    \
  TARNEX_RULE_FIELDS(X)                                                       \
  TARNEX_INVENTORY_FIELDS(X)                                                  \
  TARNEX_BANDWIDTH_FIELDS(X)                                                  \
  TARNEX_MONITORLINK_FIELDS(X)                                                \
  TARNEX_BACKUP_FIELDS(X)                                                     \
  TARNEX_MAIL_FIELDS(X)                                                       \
  TARNEX_TRACKING_FIELDS(X)                                                   \
  TARNEX_CONSOLE_FIELDS(X)                                                    \
  TARNEX_UPDATE_FIELDS(X)

struct ServerModel {
#define TARNEX_DECLARE_FIELD(type, name, init) type name = init;
  TARNEX_MODEL_FIELDS(TARNEX_DECLARE_FIELD)
#undef TARNEX_DECLARE_FIELD
#define TARNEX_DECLARE_HANDLE(name) int32_t name = 0;
  TARNEX_HANDLE_FIELDS(TARNEX_DECLARE_HANDLE)
#undef TARNEX_DECLARE_HANDLE
};

// The whole model as one JSON object, text turned from Windows-1252 to UTF-8.
nlohmann::json ModelToJson(const ServerModel& model);

}  // namespace tarnex
