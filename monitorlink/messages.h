// The form that sends a message to the monitors: what it loads, the sizes
// it shows, and Send, which queues the message for the slots ticked.
#pragma once

#include "core/context.h"

namespace tarnex {

// The largest message, heading and summary included.
inline constexpr size_t kMessageLimit = 4300;

// Loading, once the summary file has been written: the summary, the ticks
// of the last send, the last message, the summary's size.
void LoadSendMsg(Context& ctx);
void CloseSendMsg(Context& ctx);
// The size texts after a change of the message or of the summary.
void MessageChanged(ServerModel& m);
void SummaryChanged(ServerModel& m);
// A click on "All" ticks every slot.
void TickAll(ServerModel& m);
// The switch of the text in view.
void SwitchMessageView(ServerModel& m);
// Send: the message is queued for each slot ticked and the form closes; a
// message above the limit is refused with the form left open.
void SendMessage(Context& ctx);

}  // namespace tarnex
