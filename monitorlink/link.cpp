#include "monitorlink/link.h"

#include "base/legacy.h"

namespace tarnex {

using legacy::Format;
using legacy::LCase;
using legacy::Left;
using legacy::Mid;
using legacy::Right;
using legacy::Str;
using legacy::Val;

namespace {

// The port text of a slot as a 32-bit integer; a text that is no number
// leaves the local port as it was.
void SetPortFromText(Winsock& l, const std::string& text) {
  if (auto port = legacy::ImplicitNumber(text))
    l.SetLocalPort(static_cast<int>(legacy::CLng(*port)));
}

void Mark(ServerModel& m, int slot, bool connected) {
  const size_t at = static_cast<size_t>(slot);
  m.conc[at] = connected ? 1 : 0;
  m.coffc[at] = connected ? 0 : 1;
}

// Blocks are fields joined by "|" behind their prefix.
class Block {
 public:
  explicit Block(std::string& out, const char* prefix) : out_(out) { out_ += prefix; }
  Block& Add(const std::string& field) {
    if (!first_) out_ += '|';
    first_ = false;
    out_ += field;
    return *this;
  }
  Block& Add(double general) { return Add(Str(general)); }

 private:
  std::string& out_;
  bool first_ = true;
};

}  // namespace

void ArmSlots(Context& ctx, Listeners& listeners) {
  for (int i = 0; i < Listeners::kSlots; ++i) {
    Winsock& l = listeners[i];
    l.OnConnectionRequest = [&ctx, &listeners, i](intptr_t id) {
      SlotConnectionRequest(ctx, listeners, i, id);
    };
    l.OnDataArrival = [&ctx, &listeners, i](size_t) { SlotDataArrival(ctx, listeners, i); };
    l.OnClose = [&ctx, &listeners, i] { SlotClosed(ctx, listeners, i); };
    l.OnConnect = [&ctx, i] { SlotConnected(ctx, i); };
    // No handler for the error event: a failure shows only in the state.
  }
}

void SlotConnectionRequest(Context& ctx, Listeners& listeners, int slot, intptr_t request_id) {
  auto& m = ctx.model();
  Winsock& l = listeners[slot];
  // 1. The listening socket takes the connection itself; one already there
  // is closed without a word.
  l.Close();
  ctx.Yield();
  l.Accept(request_id);
  // 2. The marks.
  Mark(m, slot, l.state() == Winsock::kConnected);
  // 3, 4. The banner.
  m.ConnectBanner = "XP";
  if (!m.SName.empty()) {
    m.ConnectBanner = "XP" + m.SName + "  (Remote " + std::to_string(slot + 1) + ")";
  }
  l.SendData(m.ConnectBanner);
}

LogonOutcome CheckLogon(std::string_view data, const std::string& password, const std::string& code,
                        int slot) {
  LogonOutcome out;
  // Only a text that starts with "CHK", in capitals, is a logon.
  if (Left(data, 3) != "CHK") return out;
  // The rest, untrimmed: password and server code in one run, neither of
  // them case-sensitive.
  const std::string c = LCase(Mid(data, 4));
  if (c == LCase(password + code)) {
    out.kind = LogonOutcome::kPassed;
    return out;
  }
  out.kind = LogonOutcome::kFailed;
  const std::string head = "Log on Failed for Monitoring Remote " + std::to_string(slot + 1);
  if (Left(c, static_cast<int64_t>(password.size())) == LCase(password)) {
    out.journal = head + "  Server Code Incorrect";
    out.reply = "FAILED SERVER CODE\r\n";
  } else if (Right(c, static_cast<int64_t>(code.size())) == LCase(code)) {
    out.journal = head + "  Password Incorrect";
    out.reply = "FAILED PASSWORD\r\n";
  } else {
    out.journal = head + "  Password and Server Code Incorrect";
    out.reply = "FAILED Check Password and Server Code\r\n";
  }
  return out;
}

void SlotDataArrival(Context& ctx, Listeners& listeners, int slot) {
  auto& m = ctx.model();
  Winsock& l = listeners[slot];
  // 1. One arrival is one message; nothing is kept for the next.
  const std::string data = l.GetData();
  if (!data.empty()) m.Label27 = data;
  const LogonOutcome outcome =
      CheckLogon(data, m.CPUpass[static_cast<size_t>(slot)], m.SrvCODE, slot);
  if (outcome.kind == LogonOutcome::kIgnored) return;
  if (outcome.kind == LogonOutcome::kFailed) {
    // 5, 6. The journal, the reply, and the monitor is put out; the slot
    // listens again on the port it had.
    ctx.MyEvents(outcome.journal);
    l.SendData(outcome.reply);
    ctx.Wait(100);
    l.Close();
    l.Listen();
    m.Label27 = "Password Check Failed Remote " + std::to_string(slot);
    return;
  }
  // 7. Passed.
  l.SendData("W^" + m.SysInfo);
  m.SlotStatus = 1;
  m.Label27 = "Password Check Passed Remote " + std::to_string(slot);
}

void SlotClosed(Context& ctx, Listeners& listeners, int slot) {
  auto& m = ctx.model();
  Winsock& l = listeners[slot];
  l.Close();
  SetPortFromText(l, *CPUPorts(m)[static_cast<size_t>(slot)]);
  l.Listen();
  Mark(m, slot, false);
  m.SlotStatus = 2;
}

void SlotConnected(Context& ctx, int slot) {
  ctx.model().Label27 = "Remote " + std::to_string(slot) + " Connected";
}

std::string BuildStatusFrame(const ServerModel& m, const CivilTime& now) {
  std::string f;
  f.reserve(1024);
  {
    // The processor. Deferred calls equal to the interrupts mean the two
    // counters are not there: both show -1.
    const bool no_dpc = Val(m.DPCPercent) == Val(m.Interrupts);
    Block(f, "C^")
        .Add(Format(Val(m.CPUUsage), "0.0"))
        .Add(m.CPULastMin)
        .Add(m.CPULastHR)
        .Add(m.CPULast24)
        .Add(Format(Val(m.Interrupts), "0"))
        .Add(no_dpc ? std::string("-1") : Format(Val(m.DPCQueued), "0"))
        .Add(no_dpc ? std::string("-1") : Format(Val(m.DPCPercent), "0"))
        .Add(m.CPUMHZ);
  }
  Block(f, "M^")
      .Add(m.ProcessCount)
      .Add(m.ThreadCount)
      .Add(m.MemCommitted)
      .Add(m.MemAvailable)
      .Add(m.CacheBytes)
      .Add(m.CachePeak)
      .Add(m.PageReads)
      .Add(m.PageWrites)
      .Add(m.PageFaults)
      .Add(m.SystemCalls)
      .Add(m.ContextSwitches)
      .Add(m.ServiceCount);
  Block(f, "H^")
      .Add(Left(m.SystemDrive, 1))
      .Add(m.DiskReadBps)
      .Add(m.DiskWriteBps)
      .Add(m.DiskReadPeak)
      .Add(m.DiskWritePeak)
      .Add(m.DiskReadMonth)
      .Add(m.DiskWriteMonth)
      .Add(m.DiskTime)
      .Add(m.DiskIdle)
      .Add(m.DiskFreeMB)
      .Add(m.DiskFreePercent)
      .Add(m.DiskQueue);
  // Sent and received; the packet rates are crossed, as the console shows
  // them.
  Block(f, "S^")
      .Add(Val(m.DailySent))
      .Add(m.CurSent)
      .Add(m.tsstart)
      .Add(m.NetPacketsRec)
      .Add(m.NetOutErrors)
      .Add(m.NetOffloaded)
      .Add(m.NetOutQueue)
      .Add(m.Label8a);
  Block(f, "R^")
      .Add(Val(m.DailyRec))
      .Add(m.CurRec)
      .Add(m.trstart)
      .Add(m.NetPacketsSent)
      .Add(m.NetRecErrors)
      .Add(m.NetBytesTotal)
      .Add(m.Label7a)
      .Add(m.ttstart);
  Block(f, "X^")
      .Add(m.UpTimeText)
      .Add(m.SwapPeak)
      .Add(m.SwapCurrent)
      .Add(m.Label21)
      .Add(m.Label20)
      .Add(legacy::FormatDate(now, "HH:MM:SS AMPM"));
  return f;
}

void BuildFrame(Context& ctx) {
  ctx.model().StatusFrame = BuildStatusFrame(ctx.model(), ctx.Now());
}

void AddFindingToFrame(ServerModel& m, const std::string& note) {
  m.StatusFrame += "@";
  m.StatusFrame += note;
}

void SendFrame(Context& ctx, Listeners& listeners) {
  // Whether a slot has logged on is not looked at.
  for (int i = 0; i < Listeners::kSlots; ++i) {
    Winsock& l = listeners[i];
    if (l.state() == Winsock::kConnected) l.SendData(ctx.model().StatusFrame);
  }
}

void SendMessages(Context& ctx, Listeners& listeners) {
  auto& m = ctx.model();
  for (int i = 0; i < Listeners::kSlots; ++i) {
    Winsock& l = listeners[i];
    std::string& message = m.PendingMessage[static_cast<size_t>(i)];
    if (l.state() != Winsock::kConnected || message.empty()) continue;
    // The pause lets a monitor read the frame and the message as two
    // arrivals.
    ctx.Wait(i == 0 ? 500 : 100);
    l.SendData(message);
    message.clear();
    ctx.Yield();
  }
}

void ShowLinkState(Context& ctx, Listeners& listeners) {
  auto& m = ctx.model();
  m.Label34 = std::to_string(static_cast<int>(listeners[0].state())) + " | " +
              Format(m.CurRec, "0") + " | " + Format(m.CurSent, "0");
}

void KeepListening(Context& ctx, Listeners& listeners) {
  for (int i = 0; i < Listeners::kSlots; ++i) {
    Winsock& l = listeners[i];
    const Winsock::State state = l.state();
    if (state == Winsock::kConnected || state == Winsock::kListening) continue;
    // The half second is waited for a slot that was never opened too, so
    // start-up's own cycle stands still for it.
    l.Close();
    ctx.Wait(500);
    l.Listen();
  }
}

void Generate(Context& ctx, Listeners& listeners, int index) {
  auto& m = ctx.model();
  legacy::Random& rnd = listeners.rnd;
  auto reseed = [&] { rnd.Randomize(static_cast<float>(ctx.loop().Timer())); };
  std::string text;
  for (int n = 0; n < 20; ++n) {
    reseed();
    const int k = static_cast<int>(legacy::Int(10.0f * rnd.Rnd() + 1.0f));
    int c = 0;
    do {
      reseed();
      const float r = rnd.Rnd();
      switch (k) {
        case 2:
        case 5:
        case 6:
          c = static_cast<int>(legacy::Int(26.0f * r + 97.0f));
          break;
        case 7:
          c = static_cast<int>(legacy::Int(9.0f * r + 49.0f));
          break;
        case 9:
          c = static_cast<int>(legacy::Int(90.0f * r + 49.0f));
          break;
        default:
          c = static_cast<int>(legacy::Int(26.0f * r + 65.0f));
          break;
      }
      // i, I, o, O and l are drawn again; nothing else is refused.
    } while (c == 105 || c == 73 || c == 111 || c == 79 || c == 108);
    text += static_cast<char>(c);
  }
  if (index >= 5) {
    m.SrvCODE = text;
  } else if (index >= 0) {
    m.CPUpass[static_cast<size_t>(index)] = text;
  }
}

}  // namespace tarnex
