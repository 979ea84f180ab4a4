// The relay sender: the message handed to the configured mail server on a
// socket of the program's own, one recipient after another. It is a timed
// monologue: nothing the server answers is read, and nothing it refuses is
// reported.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/context.h"
#include "platform/winsock.h"

namespace tarnex {

// A socket of the mail senders with the properties the senders set before
// they connect: the remote host and port.
struct RelaySocket {
  explicit RelaySocket(Context& ctx) : sock(ctx.platform().NewSocket()) {}
  std::unique_ptr<Winsock> sock;
  std::string RemoteHost;
  int RemotePort = 0;
};

// The pause of the message writer: from the time of day (seconds since
// midnight, single precision) until that time plus `seconds` lies below the
// time of day; it also ends when the time of day wraps past midnight. The
// event loop runs meanwhile.
void SendPause(Context& ctx, float seconds);

// The pause of the mail form: from the whole second of the time of day until
// `seconds` have gone by since that whole second, so that a short pause may
// end at once.
void FormPause(Context& ctx, float seconds);

// Close, the relay as remote host and port (SMTP, SMTPPort), one turn of the
// event loop, connect, and half a second of waiting.
void ConnectRelay(Context& ctx, RelaySocket& socket);

// The message in the wire form the senders have always used: EHLO, the
// envelope without angle brackets, the headers, the one text part, no
// dot-stuffing, and no closing boundary unless there is an attachment
// (`encoder_text` is then the attachment's encoded text, or null). Returns
// once the socket is closed.
void Sendmail(Context& ctx, const std::string& from, const std::string& to,
              const std::string& subject, const std::string& body, RelaySocket& socket,
              const std::string& attachment, const std::string* encoder_text);

// EInfo to every recipient of the list, in list order: the connect loop of
// 30 tries (redialled at the 10th and the 20th) and the message. A recipient
// whose connection never comes is passed over in silence. `always_connect`:
// the main window's sender dials before every recipient; the mail form's
// only when its socket is not connected.
void SendToAll(Context& ctx, RelaySocket& socket, const std::vector<std::string>& list,
               bool always_connect);

// The daily report (the main window's Winsock2): the summary in mode "E"
// as EInfo, to every recipient of the main window's list.
void sendit(Context& ctx, RelaySocket& winsock2);

// EInfo to every recipient of the mail form's list, on its socket
// (Winsock1).
void SendEmail(Context& ctx, RelaySocket& winsock1);

}  // namespace tarnex
