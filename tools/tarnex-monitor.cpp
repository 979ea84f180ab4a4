// tarnex-monitor HOST PORT PASSWORD SERVERCODE [--once]
//
// Watches a server over its monitor link from a Linux terminal: logs on,
// shows the banner and the system facts, and, refreshed as each status frame
// comes, the frame's figures with their labels, the latest findings and the
// server's messages. A refused logon or a dropped link is said on the screen,
// and the monitor connects again. With --once it prints one frame's figures
// as text and exits: 0 with a frame, 1 when the server cannot be reached or
// sends no frame within 30 seconds, 3 when the logon is refused.
#include <arpa/inet.h>
#include <curses.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/monitor_protocol.h"

namespace {

using tarnex::monitor::Frame;
using tarnex::monitor::Stream;
using Clock = std::chrono::steady_clock;

constexpr int kExitNoFrame = 1;
constexpr int kExitUsage = 2;
constexpr int kExitRefused = 3;

int Dial(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) return -1;
  int fd = -1;
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    fd = socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
    if (fd < 0) continue;
    if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) break;
    close(fd);
    fd = -1;
  }
  freeaddrinfo(found);
  return fd;
}

bool SendAll(int fd, const std::string& bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t n = send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (n <= 0) return false;
    at += static_cast<size_t>(n);
  }
  return true;
}

// Reads what is there within `ms`: false when the link has ended.
bool ReadSome(int fd, Stream& stream, int ms) {
  pollfd p{fd, POLLIN, 0};
  if (poll(&p, 1, ms) <= 0) return true;
  char buffer[65536];
  const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
  if (n <= 0) return false;
  stream.Add(std::string(buffer, static_cast<size_t>(n)));
  return true;
}

std::string Field(const Frame& f, int block, size_t n) {
  return n < f.blocks[block].size() ? f.blocks[block][n] : std::string();
}

// A number of bytes in the largest fitting unit.
std::string Bytes(const std::string& text) {
  char* end = nullptr;
  double v = std::strtod(text.c_str(), &end);
  if (end == text.c_str()) return text;
  const char* units[] = {"B", "KB", "MB", "GB", "TB"};
  int u = 0;
  while (v >= 1024 && u < 4) {
    v /= 1024;
    ++u;
  }
  char out[64];
  std::snprintf(out, sizeof out, u == 0 ? "%.0f %s" : "%.1f %s", v, units[u]);
  return out;
}

// -1 means the figure is not there.
std::string Maybe(const std::string& text) {
  return text == "-1" ? "n/a" : text;
}

// The frame's figures, one labelled line each.
std::vector<std::string> Figures(const Frame& f) {
  std::vector<std::string> l;
  l.push_back("Processor:  " + Field(f, 0, 0) + "%   " + Field(f, 0, 7));
  l.push_back("  " + Field(f, 0, 1) + "   " + Field(f, 0, 2) + "   " + Field(f, 0, 3));
  l.push_back("  Interrupts/sec: " + Field(f, 0, 4) + "   DPCs queued/sec: " +
              Maybe(Field(f, 0, 5)) + "   DPC %: " + Maybe(Field(f, 0, 6)));
  l.push_back("Memory:     used " + Bytes(Field(f, 1, 2)) + "   free " + Bytes(Field(f, 1, 3)) +
              "   cache " + Bytes(Field(f, 1, 4)) + " (peak " + Bytes(Field(f, 1, 5)) + ")");
  l.push_back("  Processes: " + Field(f, 1, 0) + "   Threads: " + Field(f, 1, 1) +
              "   Services: " + Field(f, 1, 11));
  l.push_back("  Page reads/sec: " + Field(f, 1, 6) + "   Page writes/sec: " + Field(f, 1, 7) +
              "   Page faults/sec: " + Field(f, 1, 8));
  l.push_back("  System calls/sec: " + Field(f, 1, 9) +
              "   Context switches/sec: " + Field(f, 1, 10));
  l.push_back("Disk " + Field(f, 2, 0) + ":     read " + Bytes(Field(f, 2, 1)) + "/s   write " +
              Bytes(Field(f, 2, 2)) + "/s   peaks " + Bytes(Field(f, 2, 3)) + "/s, " +
              Bytes(Field(f, 2, 4)) + "/s");
  l.push_back("  This month: read " + Bytes(Field(f, 2, 5)) + "   written " +
              Bytes(Field(f, 2, 6)));
  l.push_back("  Busy: " + Field(f, 2, 7) + "%   Idle: " + Field(f, 2, 8) + "%   Free: " +
              Field(f, 2, 9) + " MB (" + Field(f, 2, 10) + "%)   Queue: " + Field(f, 2, 11));
  l.push_back("Sent:       today " + Bytes(Field(f, 3, 0)) + "   now " + Field(f, 3, 1) +
              " bit/s   peak " + Field(f, 3, 7) + " Mbit/s");
  l.push_back("  Total / year: " + Field(f, 3, 2));
  l.push_back("Received:   today " + Bytes(Field(f, 4, 0)) + "   now " + Field(f, 4, 1) +
              " bit/s   peak " + Field(f, 4, 6) + " Mbit/s");
  l.push_back("  Total / year: " + Field(f, 4, 2) + "   Both ways: " + Field(f, 4, 7));
  l.push_back("Up time:    " + Field(f, 5, 0));
  l.push_back("Swap:       now " + Field(f, 5, 2) + " MB   peak " + Field(f, 5, 1) + " MB");
  l.push_back("Back-up:    " + Field(f, 5, 3) + "   " + Field(f, 5, 4));
  l.push_back("Server clock: " + Field(f, 5, 5));
  return l;
}

// --once: the first whole frame after the logon, as text.
int Once(const std::string& host, const std::string& port, const std::string& logon) {
  // A server that is starting may not listen yet: it is tried again until
  // the give-up.
  const auto give_up = Clock::now() + std::chrono::seconds(30);
  int fd = Dial(host, port);
  while (fd < 0 && Clock::now() < give_up) {
    usleep(200 * 1000);
    fd = Dial(host, port);
  }
  if (fd < 0) {
    std::cerr << "tarnex-monitor: cannot connect to " << host << ":" << port << "\n";
    return kExitNoFrame;
  }
  Stream stream;
  // The banner first, then the logon.
  while (stream.Banner().empty() && Clock::now() < give_up) {
    if (!ReadSome(fd, stream, 200)) break;
  }
  SendAll(fd, logon);
  while (Clock::now() < give_up) {
    const bool open = ReadSome(fd, stream, 200);
    if (!stream.Refusal().empty()) {
      std::cout << "Logon failed: " << stream.Refusal() << "\n";
      close(fd);
      return kExitRefused;
    }
    for (const Frame& f : stream.TakeFrames()) {
      if (!f.complete() || stream.Welcome().empty()) continue;
      std::cout << "Server: " << stream.Banner() << "\n";
      for (const std::string& line : Figures(f)) std::cout << line << "\n";
      if (!f.finding.empty()) std::cout << "Finding: " << f.finding << "\n";
      close(fd);
      return 0;
    }
    if (!open) break;
  }
  close(fd);
  std::cerr << "tarnex-monitor: no status frame came\n";
  return kExitNoFrame;
}

// The screen.
class Screen {
 public:
  Screen() {
    initscr();
    cbreak();
    noecho();
    curs_set(0);
    nodelay(stdscr, TRUE);
    keypad(stdscr, TRUE);
  }
  ~Screen() { endwin(); }
  // True when the operator pressed q.
  bool Quit() {
    const int c = getch();
    return c == 'q' || c == 'Q';
  }
  void Draw(const std::string& status, const std::string& banner, const std::string& welcome,
            const Frame* frame, const std::deque<std::string>& findings,
            const std::deque<std::string>& messages) {
    erase();
    int row = 0;
    const int rows = LINES, cols = COLS;
    auto put = [&](const std::string& text, int attr = 0) {
      if (row >= rows) return;
      if (attr != 0) attron(attr);
      mvaddnstr(row++, 0, text.c_str(), cols);
      if (attr != 0) attroff(attr);
    };
    put("Tarnex monitor  " + banner + "   [q quits]", A_BOLD);
    put(status, A_REVERSE);
    std::istringstream facts(welcome);
    std::string line;
    for (int n = 0; n < 4 && std::getline(facts, line); ++n) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (!line.empty()) put("  " + line);
    }
    put("");
    if (frame != nullptr) {
      for (const std::string& l : Figures(*frame)) put(l);
    } else {
      put("(waiting for the first status frame)");
    }
    put("");
    put("Findings:", A_BOLD);
    for (const std::string& f : findings) put("  " + f);
    put("Messages:", A_BOLD);
    for (const std::string& m : messages) put("  " + m);
    refresh();
  }
};

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\r' || c == '\n') c = ' ';
  }
  return text;
}

int Watch(const std::string& host, const std::string& port, const std::string& logon) {
  signal(SIGPIPE, SIG_IGN);
  Screen screen;
  std::deque<std::string> findings, messages;
  for (;;) {
    std::string status = "Connecting to " + host + ":" + port + " ...";
    screen.Draw(status, "", "", nullptr, findings, messages);
    const int fd = Dial(host, port);
    if (fd < 0) {
      status = "Cannot connect to " + host + ":" + port + "; trying again in 5 seconds";
    } else {
      Stream stream;
      Frame shown;
      bool have = false, sent = false;
      std::string welcome;
      status = "Connected; logging on";
      for (;;) {
        if (screen.Quit()) {
          close(fd);
          return 0;
        }
        const bool open = ReadSome(fd, stream, 200);
        if (!sent && !stream.Banner().empty()) sent = SendAll(fd, logon);
        if (!stream.Refusal().empty()) {
          status = "LOGON FAILED: " + stream.Refusal() + "; trying again in 5 seconds";
          break;
        }
        if (welcome.empty()) welcome = stream.Welcome();
        if (!welcome.empty() && !have) status = "Logged on";
        for (Frame& f : stream.TakeFrames()) {
          if (!f.finding.empty()) {
            findings.push_back(f.blocks[5].empty()
                                   ? OneLine(f.finding)
                                   : f.blocks[5].back() + "  " + OneLine(f.finding));
            if (findings.size() > 5) findings.pop_front();
          }
          if (!f.message.empty()) {
            messages.push_back(OneLine(f.message.substr(2)));
            if (messages.size() > 3) messages.pop_front();
          }
          if (f.complete()) {
            shown = std::move(f);
            have = true;
            status = "Logged on; frame of " + shown.blocks[5].back();
          }
        }
        // The latest frame shows as soon as its last block is whole.
        const Frame latest = stream.Latest();
        if (latest.complete()) {
          shown = latest;
          have = true;
          status = (welcome.empty() ? "Connected" : "Logged on") + std::string("; frame of ") +
                   shown.blocks[5].back();
        }
        screen.Draw(status, stream.Banner(), welcome, have ? &shown : nullptr, findings, messages);
        if (!open) {
          status = "LINK DROPPED; connecting again in 5 seconds";
          break;
        }
      }
      close(fd);
    }
    for (int tenths = 0; tenths < 50; ++tenths) {
      screen.Draw(status, "", "", nullptr, findings, messages);
      if (screen.Quit()) return 0;
      usleep(100 * 1000);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args;
  bool once = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--once") {
      once = true;
    } else if (a == "--help" || a == "-h") {
      std::cout << "usage: tarnex-monitor HOST PORT PASSWORD SERVERCODE [--once]\n";
      return 0;
    } else {
      args.push_back(a);
    }
  }
  if (args.size() != 4) {
    std::cerr << "usage: tarnex-monitor HOST PORT PASSWORD SERVERCODE [--once]\n";
    return kExitUsage;
  }
  signal(SIGPIPE, SIG_IGN);
  const std::string logon = "CHK" + args[2] + args[3];
  if (once) return Once(args[0], args[1], logon);
  return Watch(args[0], args[1], logon);
}
