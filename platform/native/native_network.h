// The host's TCP sockets over IPv4, non-blocking.
#pragma once

#include <sys/socket.h>

#include <string>

#include "platform/network.h"

namespace tarnex {

// A numeric IPv4 or IPv6 host (no brackets) and a port as a socket address;
// false when the host is not a numeric address.
bool NumericSocketAddress(const std::string& host, int port, sockaddr_storage& address,
                          socklen_t& length);

class NativeNetwork : public Network {
 public:
  int Listen(int port, int& bound_port) override;
  int Accept(int listener) override;
  std::string PeerAddress(int fd, int& port) override;
  std::string LocalAddress(int fd) override;
  bool Resolve(const std::string& host, std::string& address) override;
  int Connect(const std::string& address, int port) override;
  bool ConnectSucceeded(int fd) override;
  int64_t Send(int fd, const char* data, size_t size) override;
  int64_t Receive(int fd, char* data, size_t size) override;
  void Close(int fd) override;
  int OpenDatagram(const std::string& address, int port) override;
};

}  // namespace tarnex
