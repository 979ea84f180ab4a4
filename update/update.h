// The update check: once, at start-up, the update server is asked for the
// current version. It speaks first: the version in the first characters of
// its reply and, from the fifth on, this machine's address as it sees it. A
// newer version is offered; taken, the program keeps a copy of itself, starts
// the downloader and ends.
#pragma once

#include <memory>
#include <string>

#include "core/context.h"
#include "platform/winsock.h"

namespace tarnex {

inline constexpr int kUpdatePort = 32212;

// "HOST" or "HOST:PORT"; the port is 32212 when left out. False when the host
// is empty or the port is not a number from 1 to 65535.
bool ParseUpdateServer(const std::string& text, std::string& host, int& port);

class UpdateCheck {
 public:
  explicit UpdateCheck(Context& ctx);
  UpdateCheck(const UpdateCheck&) = delete;
  UpdateCheck& operator=(const UpdateCheck&) = delete;

  // The deployment's update server; with none, there is no check.
  void SetServer(const std::string& host, int port);
  // Starts the check; the reply comes as a data arrival.
  void chk4up();
  // Handles the reply.
  void chkupdate(const std::string& text);

  Winsock& Winsock1() { return *socket_; }
  // True once the update was taken and the program asked to end.
  bool Ended() const { return ended_; }

 private:
  Context& ctx_;
  std::unique_ptr<Winsock> socket_;
  std::string host_;
  int port_ = kUpdatePort;
  bool ended_ = false;
};

}  // namespace tarnex
