// The direct sender: looks up a domain's mail exchanger over DNS and hands
// the message to it, one socket per recipient, each a small state machine
// driven by what arrives on it. The state is the socket's Tag. Nothing in
// the system starts it; a caller does what the first state presumes (see
// DirectSender::Start), as the mail form's "Send Direct" command does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "core/context.h"
#include "platform/winsock.h"

namespace tarnex {

// Reads a name of a DNS message at `position`, appending it to `text` and
// moving `position` past it. A length byte of exactly 192 is a pointer: the
// next byte is the offset to read on from, and `position` moves past the two
// bytes. Other length bytes, 193 and up included, are label lengths, so a
// pointer to an offset of 256 or more is not followed. Labels are joined by
// "." when another label follows. A byte beyond the end of the message
// reads as 0, and pointers are followed at most 64 deep.
void ReadName(const std::string& reply, size_t& position, std::string& text);

// The exchanger of lowest preference among the first `count` answers of a
// DNS reply whose question starts at `position` (12 in a reply): the
// earlier of equal preferences; the first answer that is not an MX record
// ends the search. "" when there is none.
std::string ParseMX(const std::string& reply, size_t position, int count);

// A name as DNS writes it: each label behind its length, then a zero byte.
std::string EncodeName(const std::string& name);

// A standard query, asking for recursion, for the MX records of `domain`.
std::string MXQuery(const std::string& domain, uint16_t id);

class DirectSender {
 public:
  // The host name the sender greets exchangers with.
  static constexpr const char* kHeloHost = "station.tarnex.invalid";

  explicit DirectSender(Context& ctx);
  ~DirectSender();
  DirectSender(const DirectSender&) = delete;
  DirectSender& operator=(const DirectSender&) = delete;

  // The lines shared by every socket: the MAIL FROM line, the header lines
  // and the body.
  std::string MailFromLine, HeaderLines, Body;

  // Starts socket `index` for one recipient: its RCPT TO line and To header,
  // the query for `domain`, then what the first state presumes: the
  // datagram protocol aimed at the DNS server on port 53, the Tag
  // "DNSCONNECT", and a first arrival prompted.
  void Start(int index, const std::string& domain, const std::string& rcpt_line,
             const std::string& to_header);
  // The reaction to an arrival on socket `index`.
  void DataArrival(int index);

  // Whether a connection of the sender is still open.
  bool Running() const { return running_; }
  int OpenSockets() const { return open_count_; }
  std::string Tag(int index) const;

  // The ports of DNS and of the exchangers (53 and 25); a test that runs
  // its servers on free ports sets them.
  int DnsPort = 53;
  int SmtpPort = 25;

 private:
  struct Slot {
    std::unique_ptr<Winsock> sock;
    std::string Tag;
    int Protocol = 0;  // 0: TCP, 1: datagrams
    std::string RemoteHost;
    int RemotePort = 0;
    std::string rcpt_line;
    std::string to_header;
    std::string query;
  };
  Slot& Socket(int index);
  void Closed(Slot& slot);

  Context& ctx_;
  std::map<int, Slot> sckMail_;
  int open_count_ = 0;
  bool running_ = false;
};

}  // namespace tarnex
