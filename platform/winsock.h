// A TCP socket with the states and events of the socket control the program
// was designed around: one object per slot, re-armed by Close and Listen, a
// connection request handed to the handler as an identifier that Accept takes.
// The sockets themselves come from the platform's Network.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/network.h"

namespace tarnex {

class Winsock {
 public:
  enum State {
    kClosed = 0,
    kOpen = 1,
    kListening = 2,
    kConnectionPending = 3,
    kResolvingHost = 4,
    kHostResolved = 5,
    kConnecting = 6,
    kConnected = 7,
    kClosing = 8,  // the peer closed; the owner must call Close
    kError = 9,
  };
  static constexpr int kErrAddressInUse = 10048;
  static constexpr int kErrConnectionRefused = 10061;
  static constexpr int kErrHostNotFound = 11001;
  static constexpr int kErrWrongState = 40006;
  static constexpr int kErrInvalidArgument = 40020;

  Winsock(EventLoop& loop, Network& net);
  ~Winsock();
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;

  State state() const { return state_; }
  int LocalPort() const { return local_port_; }
  void SetLocalPort(int port) { local_port_ = port; }
  // The port actually bound while listening (the local port, or the one the
  // system chose when the local port is 0).
  int BoundPort() const { return bound_port_; }
  const std::string& RemoteHostIP() const { return remote_ip_; }
  // The address of this machine's end of the connection ("" when unknown).
  std::string LocalIP() const { return fd_ >= 0 ? net_.LocalAddress(fd_) : std::string(); }
  int RemotePort() const { return remote_port_; }

  // Each returns 0 or the error number; the state is left as it was on error
  // (except for failures of the connection itself, which set kError).
  int Listen();
  int Accept(intptr_t request_id);
  int Connect(const std::string& host, int port);
  // The datagram protocol: opens a socket aimed at `host` and `port` (state
  // kOpen); SendData sends one datagram, and each datagram that comes back
  // is one data arrival.
  int OpenDatagram(const std::string& host, int port);
  bool Datagram() const { return datagram_; }
  int SendData(std::string_view bytes);
  void Close();

  // Takes every byte received so far.
  std::string GetData();
  size_t BytesReceived() const { return received_.size(); }
  int LastError() const { return last_error_; }

  // Events. A connection request not accepted while its handler runs is
  // refused, and its identifier is no longer accepted.
  //
  // A listening control that is closed inside its own connection request's
  // handler (to accept the request on itself) keeps its port open behind the
  // connection: a later request on that port reaches the connected control
  // through the same handler, which may close the connection it has and
  // accept the new one. The port is given up when the control is closed
  // outside such a handler, or when the handler leaves it unconnected.
  std::function<void(intptr_t request_id)> OnConnectionRequest;
  std::function<void(size_t bytes_total)> OnDataArrival;
  std::function<void()> OnConnect;
  std::function<void()> OnClose;
  std::function<void(int number, const std::string& description)> OnError;

 private:
  void Adopt(int fd, State state);
  void UpdateWatch();
  void OnReady(short revents);
  void Fail(int number, const std::string& description);
  void Release();
  void TakeRequest(int listener);
  void CloseDoor();

  EventLoop& loop_;
  Network& net_;
  State state_ = kClosed;
  int fd_ = -1;
  int watch_ = 0;
  int local_port_ = 0;
  int bound_port_ = 0;
  std::string remote_ip_;
  int remote_port_ = 0;
  std::string received_;
  std::string outgoing_;
  int last_error_ = 0;
  bool datagram_ = false;
  // The listening descriptor kept behind a connection, and its watch.
  int door_fd_ = -1;
  int door_watch_ = 0;
  // How many of this control's connection request handlers are running.
  int in_request_ = 0;
};

}  // namespace tarnex
