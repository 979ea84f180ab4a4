// Fields of the server model owned by the web-site tracking.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_TRACKING_FIELDS(X)                                                    \
  /* the settings of section Track */                                                \
  X(int32_t, TrackEnabled, 0)                                                        \
  X(Text, TrackInterval, "")                                                         \
  X(Text, WebSite, "")                                                               \
  /* each group's log folder, how far into today's log it has read, and its names */ \
  X(Text, DataPath1, "")                                                             \
  X(Text, DataPath2, "")                                                             \
  X(Text, DataPath3, "")                                                             \
  X(Text, DataPath4, "")                                                             \
  X(double, LogLen1, 0)                                                              \
  X(double, LogLen2, 0)                                                              \
  X(double, LogLen3, 0)                                                              \
  X(double, LogLen4, 0)                                                              \
  X(TextList, DataLog1, {})                                                          \
  X(TextList, DataLog2, {})                                                          \
  X(TextList, DataLog3, {})                                                          \
  X(TextList, DataLog4, {})                                                          \
  /* 1 once the tracking work of the night ran; set by the night's harvest test */   \
  X(int32_t, DayTrackClosed, 0)                                                      \
  X(int32_t, HarvestDone, 0)
