// Fields of the server model owned by the monitor link: the ports, passwords
// and users of the five slots, the server code and the connection indicators.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_MONITORLINK_FIELDS(X)                                   \
  /* the ports of the five slots (text, as stored) */                  \
  X(Text, CPUPort, "")                                                 \
  X(Text, CPUPort2, "")                                                \
  X(Text, CPUPort3, "")                                                \
  X(Text, CPUPort4, "")                                                \
  X(Text, CPUPort5, "")                                                \
  /* their passwords */                                                \
  X(Texts<5>, CPUpass, {})                                             \
  /* the back-up ports */                                              \
  X(Text, BUPort, "")                                                  \
  X(Text, BUPort2, "")                                                 \
  X(Text, BUPort3, "")                                                 \
  X(Text, BUPort4, "")                                                 \
  X(Text, BUPort5, "")                                                 \
  /* the server code, the users, the connection indicators */          \
  X(Text, SrvCODE, "")                                                 \
  X(Texts<5>, MUser, {})                                               \
  X(Flags<5>, cno, {})                                                 \
  /* the choice lists of the ten ports */                              \
  X(TextList, CPUPortList, {})                                         \
  X(TextList, CPUPort2List, {})                                        \
  X(TextList, CPUPort3List, {})                                        \
  X(TextList, CPUPort4List, {})                                        \
  X(TextList, CPUPort5List, {})                                        \
  X(TextList, BUPortList, {})                                          \
  X(TextList, BUPort2List, {})                                         \
  X(TextList, BUPort3List, {})                                         \
  X(TextList, BUPort4List, {})                                         \
  X(TextList, BUPort5List, {})                                         \
  /* each slot connected, or not (two screen marks, exactly one on) */ \
  X(Flags<5>, conc, {})                                                \
  X(Flags<5>, coffc, {})
