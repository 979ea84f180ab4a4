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
  /* the log lines of the pass at work, shared by the harvest and the back-fill: */  \
  /* the text whose non-empty pieces between CR LF are the lines */                  \
  X(Text, DataLBuff, "")                                                             \
  /* 1 once the tracking work of the night ran; set by the night's harvest test */   \
  X(int32_t, DayTrackClosed, 0)                                                      \
  X(int32_t, HarvestDone, 0)                                                         \
  /* "Enabled" as read or saved: empty until the set-up was first saved */           \
  X(Text, TrackEnabledText, "")                                                      \
  /* the set-up dialog (tracking): log folders Text1 to Text4, the hint and */       \
  /* status line Text5, the page folder Text6, the names List1 to List4, the */      \
  /* old logs List5, the switch Check1 and the schedule picked, 0 to 5 */            \
  X(int32_t, TrackDialogOpen, 0)                                                     \
  X(Texts<6>, TrackText, {})                                                         \
  X(TextList, TrackList1, {})                                                        \
  X(TextList, TrackList2, {})                                                        \
  X(TextList, TrackList3, {})                                                        \
  X(TextList, TrackList4, {})                                                        \
  X(TextList, TrackList5, {})                                                        \
  X(int32_t, TrackCheck1, 0)                                                         \
  X(int32_t, TrackOption1, -1)                                                       \
  /* what the folder browser and the file dialog give back, and the title and */     \
  /* start folder the last of them was opened with */                                \
  X(Text, TrackFolderChoice, "")                                                     \
  X(TextList, TrackFileChoice, {})                                                   \
  X(Text, TrackDialogTitle, "")                                                      \
  X(Text, TrackDialogStart, "")                                                      \
  /* the statistics viewer (ViewStats): its rows, cells parted by tabs, its */       \
  /* sums, Auto Refresh, the seconds left in Label1 and the form's counter */        \
  X(int32_t, ViewStatsOpen, 0)                                                       \
  X(TextList, StatsRows, {})                                                         \
  X(double, StatsHits, 0)                                                            \
  X(double, StatsToday, 0)                                                           \
  X(double, StatsSize, 0)                                                            \
  X(int32_t, StatsAutoRefresh, 0)                                                    \
  X(Text, StatsLabel1, "")                                                           \
  X(int32_t, StatsCounter, 0)
