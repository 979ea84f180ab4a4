// tarnex-server: the launcher. It reads the platform's options, chooses the
// provider, runs the application and returns its exit code.
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/app.h"
#include "platform/linux/linux_platform.h"
#include "platform/sim/sim_platform.h"

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitOtherInstance = 3;

const char* const kHelp =
    "Usage: tarnex-server [options]\n"
    "\n"
    "Supervises this server: samples its counters every second, keeps its journal and\n"
    "settings under the installation folder, and serves the remote monitors.\n"
    "\n"
    "Options:\n"
    "  --app-path DIR         installation folder (default: the folder of this program)\n"
    "  --platform linux|sim   the machine: this Linux host, or a simulation (default: linux)\n"
    "  --scenario FILE        the simulation's scenario file (required with --platform sim)\n"
    "  --start \"YYYY-MM-DD HH:MM:SS\"\n"
    "                         local start time of the virtual clock (sim; default: the\n"
    "                         scenario's start, else now)\n"
    "  --speed max|N          virtual seconds per real second (sim; default: max)\n"
    "  --run-for SECONDS      close the program after that much time (virtual in sim), as\n"
    "                         closing the main window does\n"
    "  --answer yes|no        the answer to the program's yes/no questions (default: no)\n"
    "  --dump-model FILE      when the run ends, write the whole server model as JSON\n"
    "  --boot-dir DIR         where the start-at-boot unit file goes (linux; default:\n"
    "                         /etc/systemd/system)\n"
    "  --quiet                keep operator messages off standard error (sim)\n"
    "  --version              print the program's version and exit\n"
    "  --help                 print this help and exit\n"
    "\n"
    "SIGTERM or SIGINT closes the program as closing the main window does; a second\n"
    "signal ends it at once.\n";

struct Options {
  std::string app_path;
  std::string platform = "linux";
  std::string scenario;
  std::optional<tarnex::CivilTime> start;
  double speed = 0;
  std::optional<double> run_for;
  bool answer = false;
  std::string dump_model;
  std::string boot_dir = "/etc/systemd/system";
  bool quiet = false;
  bool help = false;
  bool version = false;
};

int g_signal_pipe[2] = {-1, -1};
volatile sig_atomic_t g_signals = 0;

void OnSignal(int) {
  g_signals = g_signals + 1;
  if (g_signals > 1) _exit(1);
  const char byte = 1;
  [[maybe_unused]] ssize_t n = write(g_signal_pipe[1], &byte, 1);
}

int Usage(const std::string& message) {
  std::cerr << "tarnex-server: " << message << "\n"
            << "Try 'tarnex-server --help' for more information.\n";
  return kExitUsage;
}

bool ParseNumber(const std::string& text, double& out) {
  char* end = nullptr;
  errno = 0;
  out = std::strtod(text.c_str(), &end);
  return !text.empty() && end != nullptr && *end == '\0' && errno == 0;
}

// Returns an empty text on success, else what is wrong.
std::string ParseOptions(int argc, char** argv, Options& o) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto value = [&](std::string& out) -> bool {
      if (i + 1 >= argc) return false;
      out = argv[++i];
      return true;
    };
    std::string v;
    if (arg == "--help" || arg == "-h") {
      o.help = true;
    } else if (arg == "--version") {
      o.version = true;
    } else if (arg == "--quiet") {
      o.quiet = true;
    } else if (arg == "--app-path" || arg == "--platform" || arg == "--scenario" ||
               arg == "--start" || arg == "--speed" || arg == "--run-for" || arg == "--answer" ||
               arg == "--dump-model" || arg == "--boot-dir") {
      if (!value(v)) return "option " + arg + " needs a value";
      if (arg == "--app-path") {
        if (v.empty()) return "--app-path needs a folder";
        o.app_path = v;
      } else if (arg == "--platform") {
        if (v != "linux" && v != "sim") return "--platform must be linux or sim, not '" + v + "'";
        o.platform = v;
      } else if (arg == "--scenario") {
        o.scenario = v;
      } else if (arg == "--start") {
        o.start = tarnex::ParseCivilTime(v);
        if (!o.start) return "--start must be \"YYYY-MM-DD HH:MM:SS\", not '" + v + "'";
      } else if (arg == "--speed") {
        if (v == "max") {
          o.speed = 0;
        } else if (!ParseNumber(v, o.speed) || o.speed <= 0) {
          return "--speed must be max or a positive number, not '" + v + "'";
        }
      } else if (arg == "--run-for") {
        double seconds = 0;
        if (!ParseNumber(v, seconds) || seconds < 0) {
          return "--run-for must be a number of seconds, not '" + v + "'";
        }
        o.run_for = seconds;
      } else if (arg == "--answer") {
        if (v != "yes" && v != "no") return "--answer must be yes or no, not '" + v + "'";
        o.answer = v == "yes";
      } else if (arg == "--dump-model") {
        if (v.empty()) return "--dump-model needs a file name";
        o.dump_model = v;
      } else if (arg == "--boot-dir") {
        if (v.empty()) return "--boot-dir needs a folder";
        o.boot_dir = v;
      }
    } else {
      return "unknown option '" + arg + "'";
    }
  }
  if (o.platform == "sim" && o.scenario.empty()) return "--platform sim needs --scenario FILE";
  if (o.platform == "linux" && !o.scenario.empty()) return "--scenario goes with --platform sim";
  return {};
}

std::string ExecutablePath() {
  char buffer[PATH_MAX] = {};
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

// The installation folder as an absolute path, made when it does not exist.
bool PrepareAppPath(std::string& path) {
  if (path.empty()) {
    path = ExecutablePath();
    path = path.substr(0, path.find_last_of('/'));
  }
  std::string partial;
  for (size_t pos = 0; pos != std::string::npos;) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (!partial.empty()) mkdir(partial.c_str(), 0755);
  }
  char resolved[PATH_MAX] = {};
  if (realpath(path.c_str(), resolved) == nullptr) return false;
  struct stat st {};
  if (stat(resolved, &st) != 0 || !S_ISDIR(st.st_mode)) return false;
  path = resolved;
  return true;
}

int Run(const Options& o) {
  std::unique_ptr<tarnex::Platform> platform;
  std::string app_path = o.app_path;
  if (o.platform == "sim") {
    tarnex::SimOptions sim;
    sim.scenario_path = o.scenario;
    sim.start = o.start;
    sim.speed = o.speed;
    sim.answer = o.answer;
    sim.quiet = o.quiet;
    std::string error;
    platform = tarnex::SimPlatform::Load(sim, error);
    if (!platform) return Usage(error);
  }
  if (!PrepareAppPath(app_path)) {
    return Usage("cannot use '" + app_path + "' as the installation folder");
  }
  if (!platform) {
    tarnex::LinuxOptions linux_options;
    linux_options.app_path = app_path;
    linux_options.executable = ExecutablePath();
    linux_options.boot_dir = o.boot_dir;
    linux_options.answer = o.answer;
    platform = std::make_unique<tarnex::LinuxPlatform>(linux_options);
  }

  tarnex::App app(*platform, app_path);
  tarnex::EventLoop& loop = platform->Loop();
  const int64_t started = loop.MonotonicMs();

  if (pipe2(g_signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return 1;
  loop.WatchFd(g_signal_pipe[0], POLLIN, [&](short) {
    char drain[16];
    while (read(g_signal_pipe[0], drain, sizeof drain) > 0) {
    }
    app.FormUnload();
  });
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);

  if (!app.FormLoad()) return kExitOtherInstance;

  // The closing timer re-arms itself, 60 s at most at a time, until the end.
  int closer = 0;
  if (o.run_for) {
    const int64_t end = started + static_cast<int64_t>(*o.run_for * 1000);
    const auto interval = [&loop, end] {
      const int64_t left = end - loop.MonotonicMs();
      return left < 1 ? int64_t{1} : (left > 60000 ? int64_t{60000} : left);
    };
    closer = loop.AddTimer([&loop, &app, &closer, end, interval] {
      if (loop.MonotonicMs() >= end) {
        loop.SetTimerEnabled(closer, false);
        app.FormUnload();
      } else {
        loop.SetTimerInterval(closer, interval());
      }
    });
    loop.SetTimerInterval(closer, interval());
    loop.SetTimerEnabled(closer, true);
  }
  if (!loop.Stopping()) loop.Run();

  if (!o.dump_model.empty()) {
    std::ofstream out(o.dump_model, std::ios::binary | std::ios::trunc);
    out << tarnex::ModelToJson(app.model()).dump(2) << "\n";
    if (!out) std::cerr << "tarnex-server: cannot write " << o.dump_model << "\n";
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const std::string problem = ParseOptions(argc, argv, options);
  if (!problem.empty()) return Usage(problem);
  if (options.help) {
    std::cout << kHelp;
    return 0;
  }
  if (options.version) {
    std::cout << tarnex::ServerModel{}.AppVersion << "\n";
    return 0;
  }
  try {
    return Run(options);
  } catch (const std::exception& e) {
    std::cerr << "tarnex-server: " << e.what() << "\n";
    return 1;
  }
}
