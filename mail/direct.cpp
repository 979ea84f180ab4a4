#include "mail/direct.h"

#include "base/legacy.h"
#include "mail/relay.h"

namespace tarnex {

namespace {

const char* const CRLF = "\r\n";
constexpr int kMaxPointers = 64;

uint8_t ByteAt(const std::string& reply, size_t position) {
  return position < reply.size() ? static_cast<uint8_t>(reply[position]) : 0;
}

void ReadNameFrom(const std::string& reply, size_t& position, std::string& text, int depth) {
  while (ByteAt(reply, position) != 0) {
    const uint8_t length = ByteAt(reply, position);
    if (length == 192) {
      size_t target = ByteAt(reply, position + 1);
      if (depth < kMaxPointers) ReadNameFrom(reply, target, text, depth + 1);
      position += 2;
      return;
    }
    ++position;
    for (uint8_t i = 0; i < length; ++i) {
      text.push_back(static_cast<char>(ByteAt(reply, position)));
      ++position;
    }
    if (ByteAt(reply, position) != 0) text.push_back('.');
  }
  ++position;
}

}  // namespace

void ReadName(const std::string& reply, size_t& position, std::string& text) {
  ReadNameFrom(reply, position, text, 0);
}

std::string ParseMX(const std::string& reply, size_t position, int count) {
  int best_preference = 65535;
  std::string best;
  bool kept = false;
  // The question: its name, then its type and class.
  std::string question;
  ReadName(reply, position, question);
  position += 4;
  while (count > 0) {
    std::string name;
    ReadName(reply, position, name);
    if (ByteAt(reply, position + 1) != 15) return best;
    // The low byte of the type, the class and the time to live.
    position += 1 + 7;
    position += 2;  // the data's length, which the walk does not need
    const int preference = ByteAt(reply, position) * 256 + ByteAt(reply, position + 1);
    position += 2;
    std::string exchange;
    ReadName(reply, position, exchange);
    if (!kept || preference < best_preference) {
      best = exchange;
      best_preference = preference;
      kept = true;
    }
    --count;
  }
  return best;
}

std::string EncodeName(const std::string& name) {
  std::string out;
  for (const std::string& label : legacy::Split(name, ".")) {
    out.push_back(static_cast<char>(label.size() & 0xFF));
    out += label;
  }
  out.push_back('\0');
  return out;
}

std::string MXQuery(const std::string& domain, uint16_t id) {
  std::string q;
  q.push_back(static_cast<char>(id >> 8));
  q.push_back(static_cast<char>(id & 0xFF));
  q += std::string("\x01\x00", 2);                          // recursion desired
  q += std::string("\x00\x01\x00\x00\x00\x00\x00\x00", 8);  // one question
  q += EncodeName(domain);
  q += std::string("\x00\x0f\x00\x01", 4);  // MX, IN
  return q;
}

DirectSender::DirectSender(Context& ctx) : ctx_(ctx) {}

DirectSender::~DirectSender() = default;

DirectSender::Slot& DirectSender::Socket(int index) {
  Slot& slot = sckMail_[index];
  if (!slot.sock) {
    slot.sock = ctx_.platform().NewSocket();
    slot.sock->OnDataArrival = [this, index](size_t) { DataArrival(index); };
    slot.sock->OnConnect = [this] { ++open_count_; };
    slot.sock->OnClose = [this, index] {
      --open_count_;
      Closed(sckMail_[index]);
    };
    slot.sock->OnError = [this, index](int, const std::string&) {
      Slot& s = sckMail_[index];
      if (s.Protocol == 0) --open_count_;
      s.sock->Close();
      Closed(s);
    };
  }
  return slot;
}

void DirectSender::Closed(Slot& slot) {
  if (open_count_ == 0) running_ = false;
}

std::string DirectSender::Tag(int index) const {
  auto it = sckMail_.find(index);
  return it == sckMail_.end() ? std::string() : it->second.Tag;
}

void DirectSender::Start(int index, const std::string& domain, const std::string& rcpt_line,
                         const std::string& to_header) {
  Slot& slot = Socket(index);
  slot.rcpt_line = rcpt_line;
  slot.to_header = to_header;
  slot.query = MXQuery(domain, static_cast<uint16_t>(0x5400 + (index & 0xFF)));
  running_ = true;
  slot.sock->Close();
  slot.Protocol = 1;
  slot.RemoteHost = ctx_.model().EmailFormDNS;
  slot.RemotePort = DnsPort;
  slot.sock->OpenDatagram(slot.RemoteHost, slot.RemotePort);
  slot.Tag = "DNSCONNECT";
  DataArrival(index);
}

void DirectSender::DataArrival(int index) {
  Slot& slot = Socket(index);
  Winsock& s = *slot.sock;
  const std::string reply = s.GetData();
  if (slot.Protocol == 0) ctx_.model().EmailFormStatus += reply;
  const std::string tag = slot.Tag;
  if (tag == "DNSCONNECT") {
    slot.Tag = "MXQUERY";
    s.SendData(slot.query);
  } else if (tag == "MXQUERY") {
    s.Close();
    while (s.state() != Winsock::kClosed) ctx_.Yield();
    slot.Protocol = 0;
    slot.RemotePort = SmtpPort;
    const int count = ByteAt(reply, 6) * 256 + ByteAt(reply, 7);
    slot.RemoteHost = legacy::Trim(ParseMX(reply, 12, count));
    slot.Tag = "CONNECT";
    s.Connect(slot.RemoteHost, slot.RemotePort);
  } else if (tag == "CONNECT") {
    slot.Tag = "HELO";
    s.SendData(std::string("HELO ") + kHeloHost + CRLF);
  } else if (tag == "HELO") {
    slot.Tag = "MAILFROM";
    s.SendData(MailFromLine);
  } else if (tag == "MAILFROM") {
    slot.Tag = "RCPT";
    s.SendData(slot.rcpt_line);
  } else if (tag == "RCPT") {
    if (reply.empty() || legacy::Left(reply, 3) != "250") {
      s.Close();
      return;
    }
    slot.Tag = "DATA";
    s.SendData(std::string("DATA ") + CRLF);
  } else if (tag == "DATA") {
    if (reply.empty() || legacy::Left(reply, 3) != "354") {
      s.Close();
      return;
    }
    slot.Tag = "BODY";
    s.SendData(HeaderLines + slot.to_header);
    FormPause(ctx_, 0.2f);
    s.SendData(Body);
    s.SendData(std::string(".") + CRLF);
  } else if (tag == "BODY") {
    if (reply.empty() || legacy::Left(reply, 3) != "250") {
      s.Close();
      return;
    }
    slot.Tag = "QUIT";
    s.SendData(std::string("QUIT") + CRLF);
  }
  // "QUIT": nothing; the peer closes.
}

}  // namespace tarnex
