// A TCP client of loopback for the tests that talk to a running server.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>

namespace tarnex::testing {

// A plain TCP client of loopback, a monitor for instance, that keeps all it
// receives. Each wait gives up after `give_up_seconds`.
class LoopbackClient {
 public:
  explicit LoopbackClient(int give_up_seconds = 60) : give_up_(give_up_seconds) {}
  ~LoopbackClient() { Drop(); }
  LoopbackClient(const LoopbackClient&) = delete;
  LoopbackClient& operator=(const LoopbackClient&) = delete;
  // Connects, trying again while the port refuses, up to the give-up.
  bool Connect(int port) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(give_up_);
    while (std::chrono::steady_clock::now() < end) {
      fd_ = socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in a{};
      a.sin_family = AF_INET;
      a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      a.sin_port = htons(static_cast<uint16_t>(port));
      if (connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return true;
      close(fd_);
      fd_ = -1;
      usleep(50 * 1000);
    }
    return false;
  }
  void Send(const std::string& bytes) {
    size_t at = 0;
    while (at < bytes.size()) {
      const ssize_t n = send(fd_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (n <= 0) return;
      at += static_cast<size_t>(n);
    }
  }
  // Reads until `done` holds of what came, the peer closes, or the give-up.
  bool ReadUntil(const std::function<bool(const std::string&)>& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(give_up_);
    while (!done(got_)) {
      if (closed_ || std::chrono::steady_clock::now() >= end) return false;
      pollfd p{fd_, POLLIN, 0};
      if (poll(&p, 1, 200) <= 0) continue;
      char buffer[65536];
      const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) {
        closed_ = true;
        continue;
      }
      got_.append(buffer, static_cast<size_t>(n));
    }
    return true;
  }
  bool WaitClosed() {
    ReadUntil([this](const std::string&) { return closed_; });
    return closed_;
  }
  void Drop() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  const std::string& got() const { return got_; }
  size_t Count(const std::string& what) const {
    size_t n = 0;
    for (size_t at = got_.find(what); at != std::string::npos; at = got_.find(what, at + 1)) ++n;
    return n;
  }

 private:
  int give_up_;
  int fd_ = -1;
  std::string got_;
  bool closed_ = false;
};

}  // namespace tarnex::testing
