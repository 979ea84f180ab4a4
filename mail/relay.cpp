#include "mail/relay.h"

#include <cmath>

#include "base/legacy.h"
#include "mail/summary.h"

namespace tarnex {

namespace {

const char* const CRLF = "\r\n";

float TimeOfDay(Context& ctx) {
  return static_cast<float>(ctx.loop().Timer());
}

// Lets events run for about `seconds` (at least a millisecond), so that the
// loop of a pause neither spins on a virtual clock nor oversleeps its end.
void RunEventsFor(Context& ctx, double seconds) {
  const double ms = std::ceil(seconds * 1000.0);
  ctx.Wait(ms < 1 ? 1 : static_cast<int64_t>(ms));
}

// The port text as a 32-bit number; a text that is not a number leaves the
// port as it was.
void SetPort(RelaySocket& socket, const std::string& text) {
  const std::string t = legacy::Trim(text);
  if (t.empty() || t.find_first_not_of("0123456789.+-") != std::string::npos) return;
  const double value = legacy::Val(t);
  if (value < -2147483648.0 || value > 2147483647.0) return;
  socket.RemotePort = static_cast<int>(legacy::CLng(value));
}

}  // namespace

void SendPause(Context& ctx, float seconds) {
  const float start = TimeOfDay(ctx);
  for (;;) {
    const float now = TimeOfDay(ctx);
    if (start + seconds < now || now < start || ctx.loop().Stopping()) return;
    RunEventsFor(ctx, static_cast<double>(start + seconds - now) + 0.001);
  }
}

void FormPause(Context& ctx, float seconds) {
  const float start = std::floor(TimeOfDay(ctx));
  for (;;) {
    const float now = TimeOfDay(ctx);
    if (now - start >= seconds || now < start || ctx.loop().Stopping()) return;
    RunEventsFor(ctx, static_cast<double>(seconds - (now - start)));
  }
}

void ConnectRelay(Context& ctx, RelaySocket& socket) {
  const auto& m = ctx.model();
  socket.sock->Close();
  socket.RemoteHost = m.SMTP;
  SetPort(socket, m.SMTPPort);
  ctx.Yield();
  socket.sock->Connect(socket.RemoteHost, socket.RemotePort);
  ctx.Wait(500);
}

void Sendmail(Context& ctx, const std::string& from, const std::string& to,
              const std::string& subject, const std::string& body, RelaySocket& socket,
              const std::string& attachment, const std::string* encoder_text) {
  Winsock& s = *socket.sock;
  auto send = [&s](const std::string& text) { s.SendData(text); };
  SendPause(ctx, 0.5f);
  send("EHLO " + s.LocalIP() + CRLF);
  send("MAIL FROM:" + from + CRLF);
  SendPause(ctx, 0.5f);
  send("RCPT TO:" + to + CRLF);
  send(std::string("DATA") + CRLF);
  SendPause(ctx, 0.5f);
  send(std::string("MIME-Version: 1.0") + CRLF);
  // The display name is the address up to its "@", or the whole address.
  const size_t at = from.find('@');
  const std::string name = at == std::string::npos ? from : from.substr(0, at);
  send("From: " + name + " <" + from + ">" + CRLF);
  send("To: <" + to + ">" + CRLF);
  send("Subject: " + subject + CRLF);
  send(std::string("Content-Type: multipart/mixed;") + CRLF);
  send(std::string("              boundary=Unique-Boundary") + CRLF + CRLF);
  send(std::string(" [ Random garbage here ]") + CRLF + CRLF);
  send(std::string(CRLF) + "--Unique-Boundary" + CRLF);
  send(std::string("Content-type: text/plain; charset=US-ASCII") + CRLF + CRLF);
  send(body + CRLF + CRLF);
  if (!legacy::Trim(attachment).empty()) {
    const size_t slash = attachment.rfind('\\');
    const std::string bare = slash == std::string::npos ? attachment : attachment.substr(slash + 1);
    send(std::string("--Unique-Boundary") + CRLF);
    send(std::string("Content-Type: multipart/parallel; boundary=Unique-Boundary-2") + CRLF + CRLF);
    send(std::string("--Unique-Boundary-2") + CRLF);
    send(std::string("Content-Type: application/octet-stream;") + CRLF);
    send(" name=" + bare + CRLF);
    send(std::string("Content-Transfer-Encoding: base64") + CRLF);
    send(std::string("Content-Disposition: inline;") + CRLF);
    send(" filename=" + bare + CRLF + CRLF);
    send((encoder_text != nullptr ? *encoder_text : std::string()) + "==" + CRLF);
    send(std::string("--Unique-Boundary-2----Unique-Boundary--") + CRLF);
  }
  send(std::string(CRLF) + "." + CRLF);
  SendPause(ctx, 0.5f);
  send(std::string("QUIT") + CRLF);
  SendPause(ctx, 0.5f);
  s.Close();
}

void SendToAll(Context& ctx, RelaySocket& socket, const std::vector<std::string>& list,
               bool always_connect) {
  auto& m = ctx.model();
  // The list is read entry by entry as it stands at each step.
  for (size_t i = 0; i < list.size(); ++i) {
    m.ETo = list[i];
    ctx.Yield();
    if (always_connect || socket.sock->state() != Winsock::kConnected) ConnectRelay(ctx, socket);
    bool connected = false;
    for (int j = 1; j <= 30; ++j) {
      if (socket.sock->state() == Winsock::kConnected) {
        connected = true;
        break;
      }
      if (j == 10 || j == 20) ConnectRelay(ctx, socket);
      ctx.Wait(100);
      ctx.Yield();
    }
    // No connection: this recipient is missed, and nobody is told.
    if (!connected) continue;
    // Nothing the server answers is read: the reply flag the form clears
    // here has no reader.
    ctx.Yield();
    Sendmail(ctx, m.EFrom, m.ETo, m.ESubject, m.EInfo, socket, "", nullptr);
  }
}

void sendit(Context& ctx, RelaySocket& winsock2) {
  ModSummary(ctx, "E");
  ctx.model().EInfo = ctx.model().SummaryText;
  SendToAll(ctx, winsock2, ctx.model().EmailList1, true);
}

void SendEmail(Context& ctx, RelaySocket& winsock1) {
  SendToAll(ctx, winsock1, ctx.model().EmailFormList1, false);
}

}  // namespace tarnex
