// What travels on the monitor slots: the banner of a connection, the logon
// and its replies, the close of a connection, the status frame of each
// second, the queued server messages and the slots' watch in the cycle.
#pragma once

#include <string>
#include <string_view>

#include "base/civil_time.h"
#include "core/context.h"
#include "monitorlink/listeners.h"

namespace tarnex {

// The handlers of the five slots' events.
void ArmSlots(Context& ctx, Listeners& listeners);

// The events themselves, as the handlers run them.
void SlotConnectionRequest(Context& ctx, Listeners& listeners, int slot, intptr_t request_id);
void SlotDataArrival(Context& ctx, Listeners& listeners, int slot);
void SlotClosed(Context& ctx, Listeners& listeners, int slot);
void SlotConnected(Context& ctx, int slot);

// What a logon text gets: ignored (not "CHK"), passed, or refused with a
// journal line and the reply to the monitor.
struct LogonOutcome {
  enum Kind { kIgnored, kPassed, kFailed } kind = kIgnored;
  std::string journal;
  std::string reply;
};
LogonOutcome CheckLogon(std::string_view data, const std::string& password, const std::string& code,
                        int slot);

// The six blocks of the status frame, from the model and the time of the
// frame.
std::string BuildStatusFrame(const ServerModel& m, const CivilTime& now);

// The sampling cycle's steps of the link. 24: the frame is built.
void BuildFrame(Context& ctx);
// 25, after the findings were journalled: "@" and the note (already cut)
// close the frame.
void AddFindingToFrame(ServerModel& m, const std::string& note);
// 26: the frame goes to every connected slot, logged on or not.
void SendFrame(Context& ctx, Listeners& listeners);
// 27: the queued messages, 500 ms behind the frame on slot 0 and 100 ms
// more on each of the others.
void SendMessages(Context& ctx, Listeners& listeners);
// 28: the link's status line.
void ShowLinkState(Context& ctx, Listeners& listeners);
// 29: a slot neither connected nor listening listens again on its port,
// after half a second when it was closing or failed.
void KeepListening(Context& ctx, Listeners& listeners);

// A fresh password (index 0 to 4) or server code (5 and above): twenty
// characters, the generator reseeded from the clock before each draw.
void Generate(Context& ctx, Listeners& listeners, int index);

}  // namespace tarnex
