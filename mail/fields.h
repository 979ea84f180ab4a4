// Fields of the server model owned by mail and summaries.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_MAIL_FIELDS(X)                                                     \
  /* the mail settings, as the main screen keeps them for the clock */            \
  X(Text, SMTP, "")                                                               \
  X(Text, SMTPPort, "")                                                           \
  X(Text, EFrom, "")                                                              \
  X(Text, ESubject, "")                                                           \
  X(Text, EBody, "")                                                              \
  X(Text, ETo, "")                                                                \
  /* the text that goes out to every recipient */                                 \
  X(Text, EInfo, "")                                                              \
  /* the recipients (the mail form's List1) */                                    \
  X(TextList, EmailList1, {})                                                     \
  /* 1: the daily report goes out; the include options change nothing */          \
  X(int32_t, autosend, 0)                                                         \
  X(Flags<6>, include, {})                                                        \
  /* 1 once the daily mail went out; the status line */                           \
  X(int32_t, MidnightArmed, 0)                                                    \
  X(Text, Label7, "")                                                             \
  /* the server summary: the long text, its bandwidth block, the day's figures */ \
  X(Text, SummaryText, "")                                                        \
  X(Text, BandwidthText, "")                                                      \
  X(Text, SummarySent, "")                                                        \
  X(Text, SummaryRec, "")                                                         \
  /* the mail form ("SMTP Email Utility"): its own copies of the settings, */     \
  /* the recipients' list, the server pick-list, the DNS server, and the */       \
  /* direct sender's running log */                                               \
  X(Text, EmailFormSMTP, "")                                                      \
  X(Text, EmailFormSMTPPort, "")                                                  \
  X(Text, EmailFormFrom, "")                                                      \
  X(Text, EmailFormSubject, "")                                                   \
  X(Text, EmailFormBody, "")                                                      \
  X(int32_t, EmailFormAuto, 0)                                                    \
  X(Flags<6>, EmailFormInclude, {})                                               \
  X(int32_t, EmailFormCheck1, 0)                                                  \
  X(TextList, EmailFormList1, {})                                                 \
  X(int32_t, EmailFormListIndex, -1)                                              \
  X(Text, EmailFormAddName, "")                                                   \
  X(TextList, EmailFormServers, {})                                               \
  X(Text, EmailFormDNS, "")                                                       \
  X(Text, EmailFormStatus, "")
