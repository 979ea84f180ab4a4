#include "platform/native/native_network.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace tarnex {

namespace {

int64_t Outcome(ssize_t n) {
  if (n >= 0) return n;
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? Network::kWouldBlock
                                                                   : Network::kFailed;
}

}  // namespace

bool NumericSocketAddress(const std::string& host, int port, sockaddr_storage& address,
                          socklen_t& length) {
  address = {};
  auto* a4 = reinterpret_cast<sockaddr_in*>(&address);
  auto* a6 = reinterpret_cast<sockaddr_in6*>(&address);
  if (inet_pton(AF_INET, host.c_str(), &a4->sin_addr) == 1) {
    a4->sin_family = AF_INET;
    a4->sin_port = htons(static_cast<uint16_t>(port));
    length = sizeof(sockaddr_in);
    return true;
  }
  if (inet_pton(AF_INET6, host.c_str(), &a6->sin6_addr) == 1) {
    a6->sin6_family = AF_INET6;
    a6->sin6_port = htons(static_cast<uint16_t>(port));
    length = sizeof(sockaddr_in6);
    return true;
  }
  return false;
}

int NativeNetwork::Listen(int port, int& bound_port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  const int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_ANY);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 5) != 0) {
    ::close(fd);
    return -1;
  }
  socklen_t len = sizeof addr;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  bound_port = ntohs(addr.sin_port);
  return fd;
}

int NativeNetwork::Accept(int listener) {
  return ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

std::string NativeNetwork::PeerAddress(int fd, int& port) {
  sockaddr_in addr{};
  socklen_t len = sizeof addr;
  port = 0;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return {};
  char text[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &addr.sin_addr, text, sizeof text);
  port = ntohs(addr.sin_port);
  return text;
}

std::string NativeNetwork::LocalAddress(int fd) {
  sockaddr_in addr{};
  socklen_t len = sizeof addr;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return {};
  char text[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &addr.sin_addr, text, sizeof text);
  return text;
}

bool NativeNetwork::Resolve(const std::string& host, std::string& address) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) return false;
  const sockaddr_in addr = *reinterpret_cast<sockaddr_in*>(found->ai_addr);
  ::freeaddrinfo(found);
  char text[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &addr.sin_addr, text, sizeof text);
  address = text;
  return true;
}

int NativeNetwork::Connect(const std::string& address, int port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  if (::inet_pton(AF_INET, address.c_str(), &addr.sin_addr) != 1) return -1;
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 && errno != EINPROGRESS) {
    ::close(fd);
    return -1;
  }
  return fd;
}

bool NativeNetwork::ConnectSucceeded(int fd) {
  int err = 0;
  socklen_t len = sizeof err;
  return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0;
}

int64_t NativeNetwork::Send(int fd, const char* data, size_t size) {
  return Outcome(::send(fd, data, size, MSG_NOSIGNAL));
}

int64_t NativeNetwork::Receive(int fd, char* data, size_t size) {
  return Outcome(::recv(fd, data, size, 0));
}

void NativeNetwork::Close(int fd) {
  ::close(fd);
}

int NativeNetwork::OpenDatagram(const std::string& address, int port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  if (::inet_pton(AF_INET, address.c_str(), &addr.sin_addr) != 1) return -1;
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace tarnex
