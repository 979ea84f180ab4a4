#include "monitorlink/messages.h"

#include "base/legacy.h"

namespace tarnex {

void LoadSendMsg(Context& ctx) {
  auto& m = ctx.model();
  m.SendMsgOpen = 1;
  m.MessageBusy = 0;
  // 1. The summary just written.
  std::string summary;
  if (ctx.fs().ReadAll(ctx.Path("\\Bin\\Summary.txt"), summary)) m.MsgText2 = summary;
  // 2. The ticks of the last send; "2" is All.
  const std::string list = ctx.INIRead(Context::kSettingsFile, "Server", "Message List");
  if (legacy::Left(list, 1) == "2") {
    m.MsgSendTo.fill(1);
  } else {
    for (size_t i = 0; i < 5; ++i) {
      if (legacy::Mid(list, static_cast<int64_t>(i) + 1, 1) == "1") m.MsgSendTo[i] = 1;
    }
  }
  // 3. The last message.
  m.MsgText1 = ctx.INIRead(Context::kSettingsFile, "Server", "Last Message");
  // 4. The summary's size.
  m.MsgSummarySizeText = "Summary size = " + std::to_string(m.MsgText2.size());
}

void CloseSendMsg(Context& ctx) {
  auto& m = ctx.model();
  m.SendMsgOpen = 0;
  m.MessageBusy = 0;
}

void MessageChanged(ServerModel& m) {
  m.MsgSizeText = "Message Size = " + std::to_string(m.MsgText1.size());
  m.MsgTotalSizeText = "Total Size = " + std::to_string(m.MsgText1.size() + m.MsgText2.size());
}

void SummaryChanged(ServerModel& m) {
  m.MsgSummarySizeText = "Summary Size = " + std::to_string(m.MsgText2.size());
  m.MsgTotalSizeText = "Total Size = " + std::to_string(m.MsgText1.size() + m.MsgText2.size());
}

void TickAll(ServerModel& m) {
  m.MsgSendTo.fill(1);
}

void SwitchMessageView(ServerModel& m) {
  m.MsgCommand4 = m.MsgCommand4 == "Edit Summary" ? "Edit Message" : "Edit Summary";
}

void SendMessage(Context& ctx) {
  auto& m = ctx.model();
  // 1. Busy, and a second's wait.
  m.MessageBusy = 1;
  ctx.Wait(1000);
  // 2, 3. The last message is the one typed; the heading's date has five
  // y's, and so four digits of the year and the day of the year.
  const std::string last = m.MsgText1;
  const CivilTime now = ctx.Now();
  std::string message = "XM" + legacy::FormatDate(now, "dd mmm yyyyy") + " " +
                        legacy::TimeText(now) + "  - Message:\r\n" + m.MsgText1;
  // 4. The summary, as it stands in the form.
  if (m.MsgCheck1 == 1) message += "\r\n" + m.MsgText2;
  // 5. Too long: said, and the form stays open.
  if (message.size() > kMessageLimit) {
    ctx.ShowMessage("Server Message exceeded the 4300 character limit, size was " +
                    std::to_string(message.size()) +
                    ". You may need to send the message in 2 or more section.");
    return;
  }
  // 6. The ticks and the message are kept.
  m.MessageBusy = 0;
  std::string list;
  for (size_t i = 0; i < 5; ++i) list += m.MsgSendTo[i] == 1 ? "1" : "0";
  if (m.MsgSendTo[5] == 1) list = "2";
  ctx.INIWrite(Context::kSettingsFile, "Server", "Message List", list);
  ctx.INIWrite(Context::kSettingsFile, "Server", "Last Message", last);
  // 7. Queued, replacing one not yet delivered.
  for (size_t i = 0; i < 5; ++i) {
    if (m.MsgSendTo[i] == 1) m.PendingMessage[i] = message;
  }
  // 8. The form closes.
  m.SendMsgOpen = 0;
}

}  // namespace tarnex
