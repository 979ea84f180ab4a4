// Fields of the server model owned by the monitor link: the ports, passwords
// and users of the five slots, the server code and the connection indicators.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_MONITORLINK_FIELDS(X)                                      \
  /* the ports of the five slots (text, as stored) */                     \
  X(Text, CPUPort, "")                                                    \
  X(Text, CPUPort2, "")                                                   \
  X(Text, CPUPort3, "")                                                   \
  X(Text, CPUPort4, "")                                                   \
  X(Text, CPUPort5, "")                                                   \
  /* their passwords */                                                   \
  X(Texts<5>, CPUpass, {})                                                \
  /* the back-up ports */                                                 \
  X(Text, BUPort, "")                                                     \
  X(Text, BUPort2, "")                                                    \
  X(Text, BUPort3, "")                                                    \
  X(Text, BUPort4, "")                                                    \
  X(Text, BUPort5, "")                                                    \
  /* the server code, the users, the connection indicators */             \
  X(Text, SrvCODE, "")                                                    \
  X(Texts<5>, MUser, {})                                                  \
  X(Flags<5>, cno, {})                                                    \
  /* the choice lists of the ten ports */                                 \
  X(TextList, CPUPortList, {})                                            \
  X(TextList, CPUPort2List, {})                                           \
  X(TextList, CPUPort3List, {})                                           \
  X(TextList, CPUPort4List, {})                                           \
  X(TextList, CPUPort5List, {})                                           \
  X(TextList, BUPortList, {})                                             \
  X(TextList, BUPort2List, {})                                            \
  X(TextList, BUPort3List, {})                                            \
  X(TextList, BUPort4List, {})                                            \
  X(TextList, BUPort5List, {})                                            \
  /* each slot connected, or not (two screen marks, exactly one on) */    \
  X(Flags<5>, conc, {})                                                   \
  X(Flags<5>, coffc, {})                                                  \
  /* 0 at start, 1 after a logon passed, 2 after a close; written only */ \
  X(int32_t, SlotStatus, 0)                                               \
  /* the banner of the latest connection, the link's status line */       \
  X(Text, ConnectBanner, "")                                              \
  X(Text, Label34, "")                                                    \
  /* the frame of this second, and the message waiting for each slot */   \
  X(Text, StatusFrame, "")                                                \
  X(Texts<5>, PendingMessage, {})                                         \
  /* the form that sends a message (sendmsg): its two texts, the summary  \
     switch, the six ticks, the switch of the text in view, its sizes */  \
  X(int32_t, SendMsgOpen, 0)                                              \
  X(Text, MsgText1, "")                                                   \
  X(Text, MsgText2, "")                                                   \
  X(int32_t, MsgCheck1, 0)                                                \
  X(Flags<6>, MsgSendTo, {})                                              \
  X(Text, MsgCommand4, "Edit Summary")                                    \
  X(int32_t, MessageBusy, 0)                                              \
  X(Text, MsgSizeText, "")                                                \
  X(Text, MsgSummarySizeText, "")                                         \
  X(Text, MsgTotalSizeText, "")
