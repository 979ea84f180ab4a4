#include "platform/winsock.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

namespace tarnex {

namespace {

// Connection requests handed to a handler and not yet taken by Accept, on any
// control. A listener refuses its request when the handler returns with the
// request still here; handlers nest, so more than one can be waiting.
std::set<intptr_t>& WaitingRequests() {
  static std::set<intptr_t> requests;
  return requests;
}

bool ValidPort(int port) {
  return port >= 0 && port <= 65535;
}

std::string PeerAddress(int fd, int& port) {
  sockaddr_in addr{};
  socklen_t len = sizeof addr;
  port = 0;
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return {};
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &addr.sin_addr, text, sizeof text);
  port = ntohs(addr.sin_port);
  return text;
}

}  // namespace

Winsock::Winsock(EventLoop& loop) : loop_(loop) {}

Winsock::~Winsock() {
  Release();
}

void Winsock::Release() {
  if (watch_ != 0) loop_.Unwatch(watch_);
  watch_ = 0;
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  outgoing_.clear();
}

void Winsock::Close() {
  Release();
  received_.clear();
  bound_port_ = 0;
  state_ = kClosed;
}

int Winsock::Listen() {
  if (state_ != kClosed || !ValidPort(local_port_)) return last_error_ = kErrInvalidArgument;
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return last_error_ = kErrAddressInUse;
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_ANY);
  addr.sin_port = htons(static_cast<uint16_t>(local_port_));
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 5) != 0) {
    ::close(fd);
    return last_error_ = kErrAddressInUse;
  }
  socklen_t len = sizeof addr;
  getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  bound_port_ = ntohs(addr.sin_port);
  Adopt(fd, kListening);
  return 0;
}

int Winsock::Accept(intptr_t request_id) {
  if (state_ != kClosed) return last_error_ = kErrInvalidArgument;
  // Only a request whose handler is still running can be taken; any other
  // number may by now name a descriptor owned by someone else.
  if (WaitingRequests().erase(request_id) == 0) return last_error_ = kErrInvalidArgument;
  Adopt(static_cast<int>(request_id), kConnected);
  remote_ip_ = PeerAddress(fd_, remote_port_);
  return 0;
}

int Winsock::Connect(const std::string& host, int port) {
  if (state_ != kClosed || !ValidPort(port)) return last_error_ = kErrInvalidArgument;
  state_ = kResolvingHost;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
    Fail(kErrHostNotFound, "Host not found");
    return 0;
  }
  sockaddr_in addr = *reinterpret_cast<sockaddr_in*>(found->ai_addr);
  freeaddrinfo(found);
  state_ = kHostResolved;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  remote_port_ = port;
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &addr.sin_addr, text, sizeof text);
  remote_ip_ = text;
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    Fail(kErrConnectionRefused, "Connection is forcefully rejected");
    return 0;
  }
  const int rc = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  if (rc != 0 && errno != EINPROGRESS) {
    ::close(fd);
    Fail(kErrConnectionRefused, "Connection is forcefully rejected");
    return 0;
  }
  Adopt(fd, kConnecting);
  return 0;
}

int Winsock::SendData(std::string_view bytes) {
  if (state_ != kConnected) return last_error_ = kErrWrongState;
  outgoing_.append(bytes);
  while (!outgoing_.empty()) {
    const ssize_t n = ::send(fd_, outgoing_.data(), outgoing_.size(), MSG_NOSIGNAL);
    if (n <= 0) break;
    outgoing_.erase(0, static_cast<size_t>(n));
  }
  UpdateWatch();
  return 0;
}

std::string Winsock::GetData() {
  std::string out;
  out.swap(received_);
  return out;
}

void Winsock::Adopt(int fd, State state) {
  Release();
  fd_ = fd;
  state_ = state;
  watch_ = loop_.WatchFd(fd_, POLLIN, [this](short revents) { OnReady(revents); });
  UpdateWatch();
}

void Winsock::UpdateWatch() {
  if (watch_ == 0) return;
  short events = 0;
  if (state_ == kListening || state_ == kConnected) events |= POLLIN;
  if (state_ == kConnecting || (state_ == kConnected && !outgoing_.empty())) events |= POLLOUT;
  loop_.SetWatchEvents(watch_, events);
}

void Winsock::Fail(int number, const std::string& description) {
  Release();
  state_ = kError;
  last_error_ = number;
  if (OnError) OnError(number, description);
}

void Winsock::OnReady(short revents) {
  if (state_ == kListening) {
    const int fd = ::accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    WaitingRequests().insert(fd);
    if (OnConnectionRequest) OnConnectionRequest(fd);
    if (WaitingRequests().erase(fd) != 0) ::close(fd);
    return;
  }
  if (state_ == kConnecting) {
    int err = 0;
    socklen_t len = sizeof err;
    getsockopt(fd_, SOL_SOCKET, SO_ERROR, &err, &len);
    if (err != 0) {
      Fail(kErrConnectionRefused, "Connection is forcefully rejected");
      return;
    }
    state_ = kConnected;
    UpdateWatch();
    if (OnConnect) OnConnect();
    return;
  }
  if (state_ != kConnected) return;
  if ((revents & POLLOUT) && !outgoing_.empty()) SendData({});
  if (!(revents & (POLLIN | POLLHUP | POLLERR))) return;
  char buffer[8192];
  const size_t before = received_.size();
  bool closed = false;
  for (;;) {
    const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
    if (n > 0) {
      received_.append(buffer, static_cast<size_t>(n));
      continue;
    }
    if (n == 0) closed = true;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) closed = true;
    break;
  }
  const bool got_data = received_.size() > before;
  if (closed) {
    // The peer is gone: the control waits for its owner to Close it.
    if (watch_ != 0) loop_.Unwatch(watch_);
    watch_ = 0;
    state_ = kClosing;
  }
  if (got_data && OnDataArrival) OnDataArrival(received_.size());
  if (closed && OnClose) OnClose();
}

}  // namespace tarnex
