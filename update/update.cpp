#include "update/update.h"

#include "base/legacy.h"
#include "base/port.h"

namespace tarnex {

using legacy::Left;
using legacy::Mid;
using legacy::Val;

bool ParseUpdateServer(const std::string& text, std::string& host, int& port) {
  const size_t colon = text.rfind(':');
  host = text.substr(0, colon);
  port = kUpdatePort;
  if (colon != std::string::npos) {
    if (!ParsePort(text.substr(colon + 1), port) || port == 0) return false;
  }
  return !host.empty();
}

UpdateCheck::UpdateCheck(Context& ctx) : ctx_(ctx), socket_(ctx.platform().NewSocket()) {
  Winsock& w = *socket_;
  w.OnDataArrival = [this](size_t) { chkupdate(socket_->GetData()); };
  // A close from the peer leaves the socket listening, and a request on it
  // is accepted: nothing further uses either.
  w.OnClose = [this] {
    socket_->Close();
    socket_->Listen();
  };
  w.OnConnectionRequest = [this](intptr_t id) {
    socket_->Close();
    ctx_.Yield();
    socket_->Accept(id);
  };
}

void UpdateCheck::SetServer(const std::string& host, int port) {
  host_ = host;
  port_ = port;
}

void UpdateCheck::chk4up() {
  if (host_.empty()) return;
  Winsock& w = *socket_;
  w.SetLocalPort(0);
  // The client sends nothing: the server speaks first.
  w.Connect(host_, port_);
}

void UpdateCheck::chkupdate(const std::string& text) {
  auto& m = ctx_.model();
  Winsock& w = *socket_;
  // 1, 2. The address the server sees, beside this machine's own: differing,
  // the machine stands behind address translation.
  const std::string local = w.LocalIP();
  const std::string seen = Mid(text, 5);
  m.Label6 = "IP: " + seen;
  if (local != seen) {
    m.Label6 = "Modem IP: " + seen;
    m.Label8 = "PC IP: " + local;
  }
  // 3. The versions without their point, by the reply's form; a reply with
  // two digits before the point cuts our own the same way.
  std::string theirs, ours;
  if (Mid(text, 2, 1) == ".") {
    theirs = Left(text, 1) + Mid(text, 3, 2);
    ours = Left(m.AppVersion, 1) + Mid(m.AppVersion, 3, 2);
  } else {
    theirs = Left(text, 2) + Mid(text, 4, 2);
    ours = Left(m.AppVersion, 2) + Mid(m.AppVersion, 4, 2);
  }
  // 4.
  m.Label7 = "Your Version: " + m.AppVersion + "   Current Version: " + Left(text, 4);
  // 5.
  if (Val(ours) >= Val(theirs)) {
    w.Close();
    return;
  }
  // 6.
  if (!ctx_.AskYesNo("An update is available for Tarnex Server. Would you like to update Now?")) {
    w.Close();
    return;
  }
  // 7. A copy of the program, the downloader, and the end. A copy that
  // fails does not stop the update.
  Files& fs = ctx_.fs();
  if (!fs.FolderExists(ctx_.Path("\\Back-up"))) fs.MakeFolder(ctx_.Path("\\Back-up"));
  std::string source = ctx_.platform().ProgramFile();
  if (source.empty()) source = fs.Native(ctx_.Path("\\Tarnex Server.exe"));
  std::string program;
  FileInfo info;
  if (!source.empty() && fs.ReadFile(source, program, info)) {
    fs.WriteAll(ctx_.Path("\\Back-up\\Tarnex Server Version " + m.AppVersion + ".exe"), program);
  }
  ctx_.platform().ShellOpen(ctx_.Path("\\Downloader.exe"), "-TarnexSer", m.AppPath);
  ended_ = true;
  ctx_.loop().Stop();
}

}  // namespace tarnex
