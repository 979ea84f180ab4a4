// TCP over IPv4, as the socket control needs it: descriptors the event loop
// can watch, never blocking. The host's sockets stand behind it; a test can
// stand a scripted peer behind it instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnex {

class Network {
 public:
  // What Send and Receive return besides a count.
  static constexpr int64_t kWouldBlock = -1;
  static constexpr int64_t kFailed = -2;

  virtual ~Network() = default;

  // A socket listening on `port` of every address (0: a port the system
  // picks): its descriptor, with the port actually bound; -1 when the port
  // cannot be had.
  virtual int Listen(int port, int& bound_port) = 0;
  // Takes the next waiting connection of a listening descriptor: the new
  // descriptor, or -1 when none is waiting.
  virtual int Accept(int listener) = 0;
  // The address and port of a connected descriptor's peer; "" when unknown.
  virtual std::string PeerAddress(int fd, int& port) = 0;
  // The address of this machine's end of a connected descriptor; "" when
  // unknown.
  virtual std::string LocalAddress(int fd) { return {}; }
  // The IPv4 address of a host name or dotted address; false when unknown.
  virtual bool Resolve(const std::string& host, std::string& address) = 0;
  // Starts a connection without waiting for it: the descriptor, which turns
  // writable once the outcome is known, or -1 when it failed at once.
  virtual int Connect(const std::string& address, int port) = 0;
  // The outcome of a started connection: true when it is established.
  virtual bool ConnectSucceeded(int fd) = 0;
  // Bytes sent, kWouldBlock, or kFailed.
  virtual int64_t Send(int fd, const char* data, size_t size) = 0;
  // Bytes received, 0 when the peer has closed, kWouldBlock, or kFailed.
  virtual int64_t Receive(int fd, char* data, size_t size) = 0;
  virtual void Close(int fd) = 0;
  // A datagram socket bound to a port the system picks and aimed at
  // `address` and `port`: Send sends one datagram, Receive takes one (0 is
  // an empty datagram, never an end). -1 when it cannot be had.
  virtual int OpenDatagram(const std::string& address, int port) { return -1; }
};

}  // namespace tarnex
