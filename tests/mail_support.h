// Shared helpers of the mail tests: a simulated machine whose mail server is
// scripted in the test, with every send of the program recorded at its
// moment on the virtual clock.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/app.h"
#include "mail/relay.h"
#include "platform/sim/sim_platform.h"
#include "tests/scripted_network.h"
#include "tests/test_support.h"

namespace tarnex::testing {

// The scripted network, with every connection attempt counted, and the
// first `stalled` connection attempts left pending for ever (a server that
// does not answer in time).
class MailNetwork : public ScriptedNetwork {
 public:
  ~MailNetwork() override {
    for (auto& [read_end, write_end] : stalled_fds_) {
      ::close(write_end);
    }
  }

  int Connect(const std::string& address, int port) override {
    ++connects;
    if (stalled > 0) {
      --stalled;
      int pipe_fds[2];
      if (::pipe2(pipe_fds, O_NONBLOCK | O_CLOEXEC) != 0) return -1;
      // The read end of a pipe never turns writable: the connection stays
      // pending until it is closed.
      stalled_fds_[pipe_fds[0]] = pipe_fds[1];
      return pipe_fds[0];
    }
    return ScriptedNetwork::Connect(address, port);
  }
  bool ConnectSucceeded(int fd) override { return stalled_fds_.count(fd) == 0; }
  // Datagram sockets: the test holds the other end, by address and port.
  int OpenDatagram(const std::string& address, int port) override {
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0) return -1;
    datagrams[address + ":" + std::to_string(port)].push_back(std::make_unique<Peer>(pair[1]));
    return pair[0];
  }
  std::map<std::string, std::deque<std::unique_ptr<Peer>>> datagrams;
  void Close(int fd) override {
    auto it = stalled_fds_.find(fd);
    if (it != stalled_fds_.end()) {
      ::close(it->second);
      stalled_fds_.erase(it);
    }
    ScriptedNetwork::Close(fd);
  }

  int connects = 0;
  int stalled = 0;

 private:
  std::map<int, int> stalled_fds_;  // read end -> write end
};

using MailMachine = ScriptedMachine<MailNetwork>;

// The simulated machine with the application on it (not started), its mail
// server "relay.test" at 10.1.1.1 on port 25, scripted. With `real` the
// machine has this host's sockets instead, and its clock is paced to real
// time so that real servers can take part.
class MailBench {
 public:
  explicit MailBench(const std::string& scenario = kBasicScenario, bool real = false)
      : dir_(MakeTempDir()) {
    std::filesystem::create_directories(dir_ + "/Bin");
    SimOptions options;
    options.quiet = true;
    if (real) options.speed = 1;
    std::string error;
    sim_ = SimPlatform::FromText(scenario, options, error);
    if (!sim_) ADD_FAILURE() << "scenario: " << error;
    machine_ = std::make_unique<MailMachine>(*sim_);
    if (real) {
      app_ = std::make_unique<App>(*sim_, dir_);
    } else {
      app_ = std::make_unique<App>(*machine_, dir_);
    }
    machine_->net.Serve("relay.test", "10.1.1.1", 25);
    auto& m = app_->model();
    m.SMTP = "relay.test";
    m.SMTPPort = "25";
    m.EFrom = "station@example.org";
    m.ESubject = "Daily report";
  }
  ~MailBench() {
    app_.reset();
    machine_.reset();
    sim_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  App& app() { return *app_; }
  Context& ctx() { return app_->ctx(); }
  ServerModel& m() { return app_->model(); }
  MailNetwork& net() { return machine_->net; }
  EventLoop& loop() { return sim_->Loop(); }
  SimPlatform& sim() { return *sim_; }
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<MailMachine> machine_;
  std::unique_ptr<App> app_;
};

// What the relay receives for one message without an attachment.
inline std::string Monologue(const std::string& helo, const std::string& from,
                             const std::string& display, const std::string& to,
                             const std::string& subject, const std::string& body) {
  return "EHLO " + helo + "\r\nMAIL FROM:" + from + "\r\nRCPT TO:" + to +
         "\r\nDATA\r\nMIME-Version: 1.0\r\nFrom: " + display + " <" + from + ">\r\nTo: <" + to +
         ">\r\nSubject: " + subject +
         "\r\nContent-Type: multipart/mixed;\r\n              boundary=Unique-Boundary\r\n\r\n"
         " [ Random garbage here ]\r\n\r\n\r\n--Unique-Boundary\r\n"
         "Content-type: text/plain; charset=US-ASCII\r\n\r\n" +
         body + "\r\n\r\n\r\n.\r\nQUIT\r\n";
}

}  // namespace tarnex::testing
