// Fields of the server model owned by the back-up control: the sending of new
// back-up files, the back-up path and clock, the programs closed for a full
// back-up, and the list of what is backed up.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_BACKUP_FIELDS(X)                                              \
  /* the back-up settings of the main screen */                              \
  X(int32_t, Check1, 0)                                                      \
  X(Text, Text1, "")                                                         \
  X(Text, BUPath, "")                                                        \
  X(Flags<2>, SendOpt, {})                                                   \
  X(Text, BUFreq, "")                                                        \
  X(double, BackupInterval, 0)                                               \
  X(Text, CRTime, "")                                                        \
  X(int32_t, CloseCHK, 0)                                                    \
  /* the programs closed and started again around a full back-up */          \
  X(Texts<4>, CloseME, {})                                                   \
  X(Texts<4>, CmdLine, {})                                                   \
  /* the window each had when CloseALL closed it, 0 if none; not saved */    \
  X(WindowHandles, ClosedHandle, {})                                         \
  /* the file back-up list */                                                \
  X(TextList, List2, {})                                                     \
  /* its pickers: the folder (Dir3), the files selected in it (File3), */    \
  /* the path chosen (Text4), sub-folders too (Check14), the entry that */   \
  /* a double click removes (List2Index), and the walk's counts */           \
  X(Text, Dir3, "")                                                          \
  X(TextList, File3, {})                                                     \
  X(Text, Text4, "")                                                         \
  X(int32_t, Check14, 1)                                                     \
  X(int32_t, List2Index, -1)                                                 \
  X(double, FolderCount, 0)                                                  \
  X(double, FileCount, 0)                                                    \
  X(Text, StopWalk, "0")                                                     \
  /* run-time scratch zeroed at start */                                     \
  X(double, BackupCount, 0)                                                  \
  /* the choice lists of the interval and of the close and restart time */   \
  X(TextList, BUFreqList, {})                                                \
  X(TextList, CRTimeList, {})                                                \
  /* the back-up status lines */                                             \
  X(Text, Label20, "")                                                       \
  X(Text, Label21, "")                                                       \
  /* 0 nothing running, 1 a file back-up, 2 a full back-up */                \
  X(int32_t, BackupState, 0)                                                 \
  /* the back-up clock's time as hhmm, and "1" once this hour's record is */ \
  /* written */                                                              \
  X(Text, ClockNow, "")                                                      \
  X(Text, HourLatch, "")                                                     \
  /* "Send Summary": kept, read by nothing */                                \
  X(int32_t, SendSummary, 0)                                                 \
  /* the end-task list and the close-on-back-up list */                      \
  X(TextList, killlist, {})                                                  \
  X(TextList, BUClosed2, {})
