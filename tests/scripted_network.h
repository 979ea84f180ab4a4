// A network without the host's sockets: a listener is a pipe that turns
// readable when a connection waits, and a connection is a socket pair whose
// other end the test holds. A protocol test then runs at full speed on the
// virtual clock, with its peer scripted in the test.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_loop.h"
#include "platform/forwarding_platform.h"
#include "platform/network.h"

namespace tarnex::testing {

class ScriptedNetwork : public Network {
 public:
  // The test's end of one connection.
  class Peer {
   public:
    explicit Peer(int fd) : fd_(fd) {}
    ~Peer() { ::close(fd_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    void Send(const std::string& bytes) {
      [[maybe_unused]] ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    // Everything received so far, without waiting.
    std::string Received() {
      char buffer[4096];
      for (;;) {
        const ssize_t n = ::recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT);
        if (n > 0) {
          received_.append(buffer, static_cast<size_t>(n));
          continue;
        }
        closed_ = closed_ || n == 0;
        break;
      }
      return received_;
    }
    // Whether the other side has closed (after Received() found the end).
    bool Closed() {
      Received();
      return closed_;
    }

   private:
    int fd_;
    std::string received_;
    bool closed_ = false;
  };

  ~ScriptedNetwork() override {
    for (auto& [fd, l] : listeners_) {
      ::close(l.wake);
      for (int c : l.waiting) ::close(c);
    }
  }

  // A client of this machine dials a port: null when nothing listens there.
  std::unique_ptr<Peer> Dial(int port) {
    for (auto& [fd, l] : listeners_) {
      if (l.port != port) continue;
      int pair[2];
      if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0)
        return nullptr;
      l.waiting.push_back(pair[0]);
      const char byte = 1;
      [[maybe_unused]] ssize_t n = ::write(l.wake, &byte, 1);
      return std::make_unique<Peer>(pair[1]);
    }
    return nullptr;
  }

  // A service this machine may connect to, by host name and port; the next
  // connection to it is handed to the test by Answer().
  void Serve(const std::string& host, const std::string& address, int port) {
    hosts_[host] = address;
    services_[address + ":" + std::to_string(port)];
  }
  std::unique_ptr<Peer> Answer(const std::string& address, int port) {
    auto& queue = services_[address + ":" + std::to_string(port)];
    if (queue.empty()) return nullptr;
    auto peer = std::move(queue.front());
    queue.pop_front();
    return peer;
  }
  bool Listening(int port) const {
    for (const auto& [fd, l] : listeners_) {
      if (l.port == port) return true;
    }
    return false;
  }

  int Listen(int port, int& bound_port) override {
    if (port == 0) port = next_port_++;
    if (Listening(port)) return -1;
    int pipe_fds[2];
    if (::pipe2(pipe_fds, O_NONBLOCK | O_CLOEXEC) != 0) return -1;
    listeners_[pipe_fds[0]] = Listener{port, pipe_fds[1], {}};
    bound_port = port;
    return pipe_fds[0];
  }
  int Accept(int listener) override {
    auto it = listeners_.find(listener);
    if (it == listeners_.end() || it->second.waiting.empty()) return -1;
    char byte;
    [[maybe_unused]] ssize_t n = ::read(listener, &byte, 1);
    const int fd = it->second.waiting.front();
    it->second.waiting.pop_front();
    return fd;
  }
  std::string PeerAddress(int fd, int& port) override {
    port = 50000 + fd;
    return "127.0.0.1";
  }
  bool Resolve(const std::string& host, std::string& address) override {
    auto it = hosts_.find(host);
    if (it == hosts_.end()) return false;
    address = it->second;
    return true;
  }
  int Connect(const std::string& address, int port) override {
    auto it = services_.find(address + ":" + std::to_string(port));
    if (it == services_.end()) return -1;
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0) return -1;
    it->second.push_back(std::make_unique<Peer>(pair[1]));
    return pair[0];
  }
  bool ConnectSucceeded(int fd) override { return true; }
  std::string LocalAddress(int fd) override { return local_address; }
  int64_t Send(int fd, const char* data, size_t size) override {
    const int64_t n = Outcome(::send(fd, data, size, MSG_NOSIGNAL));
    if (n > 0) sends.push_back({fd, loop ? loop->MonotonicMs() : 0, std::string(data, n)});
    return n;
  }

  // This machine's address on every connection.
  std::string local_address = "10.0.0.5";
  // Every piece the program sent, with its connection and, when `loop` is
  // set, the moment on the loop's clock.
  struct Sent {
    int fd;
    int64_t at;
    std::string bytes;
  };
  std::vector<Sent> sends;
  EventLoop* loop = nullptr;
  int64_t Receive(int fd, char* data, size_t size) override {
    return Outcome(::recv(fd, data, size, 0));
  }
  void Close(int fd) override {
    auto it = listeners_.find(fd);
    if (it != listeners_.end()) {
      ::close(it->second.wake);
      for (int c : it->second.waiting) ::close(c);
      listeners_.erase(it);
    }
    ::close(fd);
  }

 private:
  struct Listener {
    int port;
    int wake;                 // the pipe's write end
    std::deque<int> waiting;  // connections not yet accepted
  };
  static int64_t Outcome(ssize_t n) {
    if (n >= 0) return n;
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? kWouldBlock : kFailed;
  }

  std::map<int, Listener> listeners_;  // by the pipe's read end
  std::map<std::string, std::string> hosts_;
  std::map<std::string, std::deque<std::unique_ptr<Peer>>> services_;
  int next_port_ = 49152;
};

// A machine whose sockets are scripted in the test (by a ScriptedNetwork or
// one derived from it), and everything else as the machine it wraps; the
// network times its sends on the wrapped machine's loop.
template <typename ScriptedNet = ScriptedNetwork>
class ScriptedMachine : public ForwardingPlatform {
 public:
  explicit ScriptedMachine(Platform& inner) : ForwardingPlatform(inner) {
    net.loop = &inner.Loop();
  }
  Network& Net() override { return net; }
  ScriptedNet net;
};

}  // namespace tarnex::testing
