// Real servers for the mail tests, each a child process on a free loopback
// port: a mail server that keeps every message it receives, and a DNS
// server that answers for a test domain. Both are Debian's Python modules,
// run with /usr/bin/python3.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/test_support.h"

namespace tarnex::testing {

inline std::string Base64Decode(const std::string& text) {
  auto value = [](char c) -> int {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
  };
  std::string out;
  int bits = 0, acc = 0;
  for (char c : text) {
    const int v = value(c);
    if (v < 0) continue;
    acc = (acc << 6) | v;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out.push_back(static_cast<char>((acc >> bits) & 0xFF));
    }
  }
  return out;
}

// A child process running a script of tests/servers with its arguments; the
// first line it prints is the port it listens on.
class ScriptServer {
 public:
  ScriptServer(const std::string& script, const std::vector<std::string>& args) {
    int out[2];
    if (::pipe(out) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], 1);
      ::close(out[0]);
      ::close(out[1]);
      std::vector<std::string> all = {"/usr/bin/python3",
                                      std::string(TARNEX_SOURCE_DIR) + "/tests/servers/" + script};
      all.insert(all.end(), args.begin(), args.end());
      std::vector<char*> argv;
      for (auto& a : all) argv.push_back(a.data());
      argv.push_back(nullptr);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    ::close(out[1]);
    // The port line, or nothing when the server could not start.
    std::string line;
    char c;
    while (::read(out[0], &c, 1) == 1 && c != '\n') line.push_back(c);
    ::close(out[0]);
    port_ = std::atoi(line.c_str());
  }
  ~ScriptServer() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      int status = 0;
      ::waitpid(pid_, &status, 0);
    }
  }
  ScriptServer(const ScriptServer&) = delete;
  ScriptServer& operator=(const ScriptServer&) = delete;

  // 0 when the server did not start.
  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

// The mail server. Each message: the envelope and the bytes of the message
// as the server took them from DATA (without the end mark, dots unstuffed).
class SmtpSink {
 public:
  struct Message {
    std::string from;
    std::vector<std::string> to;
    std::string data;
  };
  // With `auth_required` the server refuses mail from a client that has not
  // authenticated.
  explicit SmtpSink(bool auth_required = false)
      : dir_(MakeTempDir()),
        server_("smtp_sink.py",
                auth_required
                    ? std::vector<std::string>{dir_ + "/messages.jsonl", "--auth-required"}
                    : std::vector<std::string>{dir_ + "/messages.jsonl"}) {}
  ~SmtpSink() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  int port() const { return server_.port(); }

  std::vector<Message> Messages() const {
    std::vector<Message> out;
    std::ifstream in(dir_ + "/messages.jsonl");
    std::string line;
    while (std::getline(in, line)) {
      const auto j = nlohmann::json::parse(line, nullptr, false);
      if (j.is_discarded()) continue;  // a line still being written
      Message m;
      m.from = j.value("from", "");
      for (const auto& t : j["to"]) m.to.push_back(t.get<std::string>());
      m.data = Base64Decode(j.value("data", ""));
      out.push_back(std::move(m));
    }
    return out;
  }
  // Waits (in real time, up to `seconds`) until `count` messages are in.
  bool WaitForMessages(size_t count, int seconds = 60) const {
    for (int tenths = 0; tenths < seconds * 10; ++tenths) {
      if (Messages().size() >= count) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return Messages().size() >= count;
  }

 private:
  std::string dir_;
  ScriptServer server_;
};

// What a mail server keeps of the relay sender's message: the lines from
// MIME-Version up to the line end before the end mark, with a leading dot
// taken off each line, as the protocol has it.
inline std::string KeptData(const std::string& from, const std::string& display,
                            const std::string& to, const std::string& subject,
                            const std::string& body) {
  std::string sent = "MIME-Version: 1.0\r\nFrom: " + display + " <" + from + ">\r\nTo: <" + to +
                     ">\r\nSubject: " + subject +
                     "\r\nContent-Type: multipart/mixed;\r\n              "
                     "boundary=Unique-Boundary\r\n\r\n [ Random garbage here ]\r\n\r\n\r\n"
                     "--Unique-Boundary\r\nContent-type: text/plain; charset=US-ASCII\r\n\r\n" +
                     body + "\r\n\r\n\r\n";
  std::string out;
  size_t at = 0;
  while (at < sent.size()) {
    size_t end = sent.find("\r\n", at);
    end = end == std::string::npos ? sent.size() : end + 2;
    std::string line = sent.substr(at, end - at);
    if (!line.empty() && line[0] == '.') line.erase(0, 1);
    out += line;
    at = end;
  }
  return out;
}

}  // namespace tarnex::testing
