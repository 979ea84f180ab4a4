#include "platform/winsock.h"

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

}  // namespace

Winsock::Winsock(EventLoop& loop, Network& net) : loop_(loop), net_(net) {}

Winsock::~Winsock() {
  Release();
  CloseDoor();
}

void Winsock::CloseDoor() {
  if (door_watch_ != 0) loop_.Unwatch(door_watch_);
  door_watch_ = 0;
  if (door_fd_ >= 0) net_.Close(door_fd_);
  door_fd_ = -1;
}

void Winsock::Release() {
  if (watch_ != 0) loop_.Unwatch(watch_);
  watch_ = 0;
  if (fd_ >= 0) net_.Close(fd_);
  fd_ = -1;
  outgoing_.clear();
}

void Winsock::Close() {
  if (in_request_ > 0 && state_ == kListening && door_fd_ < 0 && fd_ >= 0) {
    // Closed to accept a request on itself: the port stays open behind the
    // connection.
    if (watch_ != 0) loop_.Unwatch(watch_);
    watch_ = 0;
    door_fd_ = fd_;
    fd_ = -1;
    door_watch_ = loop_.WatchFd(door_fd_, POLLIN, [this](short) { TakeRequest(door_fd_); });
  } else if (in_request_ == 0) {
    CloseDoor();
  }
  Release();
  datagram_ = false;
  received_.clear();
  bound_port_ = 0;
  state_ = kClosed;
}

int Winsock::Listen() {
  if (state_ != kClosed || !ValidPort(local_port_)) return last_error_ = kErrInvalidArgument;
  int bound = 0;
  const int fd = net_.Listen(local_port_, bound);
  if (fd < 0) return last_error_ = kErrAddressInUse;
  bound_port_ = bound;
  Adopt(fd, kListening);
  return 0;
}

int Winsock::Accept(intptr_t request_id) {
  if (state_ != kClosed) return last_error_ = kErrInvalidArgument;
  // Only a request whose handler is still running can be taken; any other
  // number may by now name a descriptor owned by someone else.
  if (WaitingRequests().erase(request_id) == 0) return last_error_ = kErrInvalidArgument;
  Adopt(static_cast<int>(request_id), kConnected);
  remote_ip_ = net_.PeerAddress(fd_, remote_port_);
  return 0;
}

int Winsock::Connect(const std::string& host, int port) {
  if (state_ != kClosed || !ValidPort(port)) return last_error_ = kErrInvalidArgument;
  state_ = kResolvingHost;
  std::string address;
  if (!net_.Resolve(host, address)) {
    Fail(kErrHostNotFound, "Host not found");
    return 0;
  }
  state_ = kHostResolved;
  remote_port_ = port;
  remote_ip_ = address;
  const int fd = net_.Connect(address, port);
  if (fd < 0) {
    Fail(kErrConnectionRefused, "Connection is forcefully rejected");
    return 0;
  }
  Adopt(fd, kConnecting);
  return 0;
}

int Winsock::OpenDatagram(const std::string& host, int port) {
  if (state_ != kClosed || !ValidPort(port)) return last_error_ = kErrInvalidArgument;
  std::string address;
  if (!net_.Resolve(host, address)) return last_error_ = kErrHostNotFound;
  const int fd = net_.OpenDatagram(address, port);
  if (fd < 0) return last_error_ = kErrInvalidArgument;
  remote_port_ = port;
  remote_ip_ = address;
  Adopt(fd, kOpen);
  datagram_ = true;
  return 0;
}

int Winsock::SendData(std::string_view bytes) {
  if (datagram_ && state_ == kOpen) {
    if (!bytes.empty()) net_.Send(fd_, bytes.data(), bytes.size());
    return 0;
  }
  if (state_ != kConnected) return last_error_ = kErrWrongState;
  outgoing_.append(bytes);
  while (!outgoing_.empty()) {
    const int64_t n = net_.Send(fd_, outgoing_.data(), outgoing_.size());
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

void Winsock::TakeRequest(int listener) {
  const int fd = net_.Accept(listener);
  if (fd < 0) return;
  WaitingRequests().insert(fd);
  ++in_request_;
  if (OnConnectionRequest) OnConnectionRequest(fd);
  --in_request_;
  if (WaitingRequests().erase(fd) != 0) net_.Close(fd);
  // A door whose control did not end connected gives its port up.
  if (in_request_ == 0 && state_ != kConnected) CloseDoor();
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
  if (state_ == kListening || state_ == kConnected || state_ == kOpen) events |= POLLIN;
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
    TakeRequest(fd_);
    return;
  }
  if (state_ == kConnecting) {
    if (!net_.ConnectSucceeded(fd_)) {
      Fail(kErrConnectionRefused, "Connection is forcefully rejected");
      return;
    }
    state_ = kConnected;
    UpdateWatch();
    if (OnConnect) OnConnect();
    return;
  }
  if (state_ == kOpen && datagram_) {
    // One datagram is one arrival.
    char datagram[65536];
    const int64_t n = net_.Receive(fd_, datagram, sizeof datagram);
    if (n <= 0) return;
    received_.append(datagram, static_cast<size_t>(n));
    if (OnDataArrival) OnDataArrival(received_.size());
    return;
  }
  if (state_ != kConnected) return;
  if ((revents & POLLOUT) && !outgoing_.empty()) SendData({});
  if (!(revents & (POLLIN | POLLHUP | POLLERR))) return;
  char buffer[8192];
  const size_t before = received_.size();
  bool closed = false;
  for (;;) {
    const int64_t n = net_.Receive(fd_, buffer, sizeof buffer);
    if (n > 0) {
      received_.append(buffer, static_cast<size_t>(n));
      continue;
    }
    if (n == 0 || n == Network::kFailed) closed = true;
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
