#include "platform/native/http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/port.h"
#include "platform/native/native_network.h"

namespace tarnex {

namespace {

// "http://HOST:PORT" split; false when it is not that.
bool SplitAddress(const std::string& address, std::string& host, int& port) {
  const std::string scheme = "http://";
  if (address.compare(0, scheme.size(), scheme) != 0) return false;
  std::string rest = address.substr(scheme.size());
  while (!rest.empty() && rest.back() == '/') rest.pop_back();
  const size_t colon = rest.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  host = rest.substr(0, colon);
  if (host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return ParsePort(rest.substr(colon + 1), port) && port > 0;
}

class Socket {
 public:
  explicit Socket(int fd) : fd_(fd) {}
  ~Socket() {
    if (fd_ >= 0) close(fd_);
  }
  int fd() const { return fd_; }

 private:
  int fd_;
};

bool WaitReady(int fd, short events, int ms) {
  pollfd p{fd, events, 0};
  int n = 0;
  do {
    n = poll(&p, 1, ms);
  } while (n < 0 && errno == EINTR);
  return n > 0;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

HttpReply HttpFetch(const HttpCall& call) {
  HttpReply reply;
  std::string host;
  int port = 0;
  if (!SplitAddress(call.address, host, port)) {
    reply.error = "not an address of the form http://HOST:PORT: '" + call.address + "'";
    return reply;
  }
  sockaddr_storage address{};
  socklen_t length = 0;
  if (!NumericSocketAddress(host, port, address, length)) {
    reply.error = "the host must be a numeric address: '" + host + "'";
    return reply;
  }
  Socket s(socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (s.fd() < 0 || connect(s.fd(), reinterpret_cast<sockaddr*>(&address), length) != 0) {
    reply.error = "cannot connect to " + call.address + ": " + std::strerror(errno);
    return reply;
  }
  std::string request = call.method + " " + call.target + " HTTP/1.0\r\nHost: " + host + ":" +
                        std::to_string(port) + "\r\n";
  for (const auto& [name, value] : call.headers) request += name + ": " + value + "\r\n";
  if (!call.body.empty() || call.method == "POST") {
    request += "Content-Length: " + std::to_string(call.body.size()) + "\r\n";
  }
  request += "\r\n" + call.body;
  size_t sent = 0;
  while (sent < request.size()) {
    const ssize_t n = send(s.fd(), request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      reply.error = "cannot send to " + call.address + ": " + std::strerror(errno);
      return reply;
    }
    sent += static_cast<size_t>(n);
  }

  std::string head;
  bool in_body = false;
  char buffer[16384];
  for (;;) {
    if (!WaitReady(s.fd(), POLLIN, call.idle_ms)) {
      reply.error =
          "no answer from " + call.address + " in " + std::to_string(call.idle_ms / 1000) + " s";
      return reply;
    }
    const ssize_t n = recv(s.fd(), buffer, sizeof(buffer), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      reply.error = "the connection to " + call.address + " failed: " + std::strerror(errno);
      return reply;
    }
    if (n == 0) break;
    std::string piece(buffer, static_cast<size_t>(n));
    if (!in_body) {
      head += piece;
      const size_t end = head.find("\r\n\r\n");
      if (end == std::string::npos) continue;
      piece = head.substr(end + 4);
      head.resize(end);
      in_body = true;
      // "HTTP/1.1 200 OK", then the headers.
      const size_t space = head.find(' ');
      reply.status = space == std::string::npos ? 0 : std::atoi(head.c_str() + space + 1);
      size_t pos = head.find("\r\n");
      while (pos != std::string::npos) {
        const size_t next = head.find("\r\n", pos + 2);
        const std::string line =
            head.substr(pos + 2, next == std::string::npos ? std::string::npos : next - pos - 2);
        const size_t colon = line.find(':');
        if (colon != std::string::npos) {
          const size_t value = line.find_first_not_of(' ', colon + 1);
          reply.headers[Lower(line.substr(0, colon))] =
              value == std::string::npos ? "" : line.substr(value);
        }
        pos = next;
      }
      if (piece.empty()) continue;
    }
    if (call.on_body) {
      if (!call.on_body(piece)) return reply;
    } else {
      reply.body += piece;
    }
  }
  if (!in_body) reply.error = "the answer of " + call.address + " ended before its headers";
  return reply;
}

std::function<bool(const std::string&)> EventStreamReader(
    std::function<bool(const std::string& event, const std::string& data)> on_event) {
  return [pending = std::string(),
          on_event = std::move(on_event)](const std::string& piece) mutable {
    pending += piece;
    for (size_t end; (end = pending.find("\n\n")) != std::string::npos;) {
      const std::string block = pending.substr(0, end);
      pending.erase(0, end + 2);
      const std::string kEvent = "event: ";
      const std::string name = block.rfind(kEvent, 0) == 0
                                   ? block.substr(kEvent.size(), block.find('\n') - kEvent.size())
                                   : std::string();
      const size_t data = block.find("data: ");
      if (data != std::string::npos && !on_event(name, block.substr(data + 6))) return false;
    }
    return true;
  };
}

}  // namespace tarnex
