// tarnex-server: the launcher. It reads the platform's options, chooses the
// provider, runs the application and returns its exit code.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "console/http_console.h"
#include "core/app.h"
#include "core/commands.h"
#include "core/console_hooks.h"
#include "core/timeline.h"
#include "ctl.h"
#include "platform/linux/linux_platform.h"
#include "platform/native/process.h"
#include "platform/sim/sim_platform.h"
#include "update/update.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitOtherInstance = 3;

// The bounds of the numbers the options take.
constexpr double kMaxRunFor = 100 * 365.25 * 86400;  // seconds: a hundred years
constexpr double kMinSpeed = 0.001;                  // virtual seconds per real second
constexpr double kMaxSpeed = 1e6;

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
    "  --speed max|N          virtual seconds per real second, N from 0.001 to 1000000\n"
    "                         (sim; default: max)\n"
    "  --run-for SECONDS      close the program after that much time (virtual in sim), as\n"
    "                         closing the main window does; more than 0, at most a hundred\n"
    "                         years\n"
    "  --answer yes|no        the answer to the program's yes/no questions (default: no)\n"
    "  --dump-model FILE      when the run ends, write the whole server model as JSON\n"
    "  --boot-dir DIR         where the start-at-boot unit file goes (linux; default:\n"
    "                         /etc/systemd/system)\n"
    "  --unit-dir DIR         where the installed package keeps its unit; when it is\n"
    "                         there, start at boot enables that unit (linux; default:\n"
    "                         /lib/systemd/system)\n"
    "  --update-server HOST[:PORT]\n"
    "                         the update server asked once at start-up (port 32212 when\n"
    "                         left out); without it there is no update check\n"
    "  --interfaces NAME,...  the network interfaces to measure, by their kernel names\n"
    "                         (linux; default: the physical interfaces, or in a container\n"
    "                         every interface but the loopback)\n"
    "  --console HOST:PORT|off\n"
    "                         where the operator console listens (default:\n"
    "                         127.0.0.1:41080; port 0 takes any free port); off: no console.\n"
    "                         Its token and address are written under the installation\n"
    "                         folder, in Bin\\Console.token and Bin\\Console.address\n"
    "  --quiet                keep operator messages off standard error (sim)\n"
    "  --version              print the program's version and exit\n"
    "  --help                 print this help and exit\n"
    "\n"
    "'tarnex-server ctl --help' tells how to drive a running server from the shell.\n"
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
  std::string unit_dir = "/lib/systemd/system";
  std::vector<std::string> interfaces;
  std::string update_host;
  int update_port = tarnex::kUpdatePort;
  std::string console_host = tarnex::OperatorConsole::kDefaultHost;
  int console_port = tarnex::OperatorConsole::kDefaultPort;
  bool quiet = false;
  bool help = false;
  bool version = false;
};

int Usage(const std::string& message) {
  std::cerr << "tarnex-server: " << message << "\n"
            << "Try 'tarnex-server --help' for more information.\n";
  return kExitUsage;
}

// A start that cannot go on for a reason other than the options' spelling.
int Refuse(const std::string& message) {
  std::cerr << "tarnex-server: " << message << "\n";
  return kExitUsage;
}

// A finite number from `low` to `high`, written as a whole.
bool ParseNumber(const std::string& text, double low, double high, double& out) {
  char* end = nullptr;
  errno = 0;
  out = std::strtod(text.c_str(), &end);
  return !text.empty() && end != nullptr && *end == '\0' && errno == 0 && std::isfinite(out) &&
         out >= low && out <= high;
}

// "eth0,eth1" as names; false when a name is empty.
bool ParseNames(const std::string& text, std::vector<std::string>& names) {
  names.clear();
  size_t pos = 0;
  for (;;) {
    const size_t comma = text.find(',', pos);
    const std::string name = text.substr(pos, comma == std::string::npos ? comma : comma - pos);
    if (name.empty()) return false;
    names.push_back(name);
    if (comma == std::string::npos) return true;
    pos = comma + 1;
  }
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
               arg == "--dump-model" || arg == "--boot-dir" || arg == "--unit-dir" ||
               arg == "--interfaces" || arg == "--update-server" || arg == "--console") {
      if (!value(v)) return "option " + arg + " needs a value";
      if (arg == "--app-path") {
        if (v.empty()) return "--app-path needs a folder";
        if (v.find('\\') != std::string::npos) {
          return "--app-path cannot hold a '\\' (the program's own names use it as their "
                 "separator), not '" +
                 v + "'";
        }
        o.app_path = v;
      } else if (arg == "--platform") {
        if (v != "linux" && v != "sim") return "--platform must be linux or sim, not '" + v + "'";
        o.platform = v;
      } else if (arg == "--scenario") {
        o.scenario = v;
      } else if (arg == "--start") {
        o.start = tarnex::ParseCivilTime(v);
        if (!o.start) {
          return "--start must be \"YYYY-MM-DD HH:MM:SS\" with a year from " +
                 std::to_string(tarnex::kFirstStartYear) + " to " +
                 std::to_string(tarnex::kLastStartYear) + ", not '" + v + "'";
        }
      } else if (arg == "--speed") {
        if (v == "max") {
          o.speed = 0;
        } else if (!ParseNumber(v, kMinSpeed, kMaxSpeed, o.speed)) {
          return "--speed must be max or a number from 0.001 to 1000000, not '" + v + "'";
        }
      } else if (arg == "--run-for") {
        double seconds = 0;
        if (!ParseNumber(v, 0, kMaxRunFor, seconds) || seconds == 0) {
          return "--run-for must be a number of seconds more than 0 and at most " +
                 std::to_string(static_cast<int64_t>(kMaxRunFor)) + " (a hundred years), not '" +
                 v + "'";
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
      } else if (arg == "--unit-dir") {
        if (v.empty()) return "--unit-dir needs a folder";
        o.unit_dir = v;
      } else if (arg == "--interfaces") {
        if (!ParseNames(v, o.interfaces)) {
          return "--interfaces needs interface names separated by commas, not '" + v + "'";
        }
      } else if (arg == "--console") {
        if (!tarnex::ParseConsoleAddress(v, o.console_host, o.console_port)) {
          return "--console needs HOST:PORT (an IPv6 host in brackets, a port from 0 to 65535) "
                 "or off, not '" +
                 v + "'";
        }
      } else if (arg == "--update-server") {
        if (!tarnex::ParseUpdateServer(v, o.update_host, o.update_port)) {
          return "--update-server needs HOST or HOST:PORT with a port from 1 to 65535, not '" + v +
                 "'";
        }
      }
    } else {
      return "unknown option '" + arg + "'";
    }
  }
  if (o.platform == "sim" && o.scenario.empty()) return "--platform sim needs --scenario FILE";
  if (o.platform == "linux" && !o.scenario.empty()) return "--scenario goes with --platform sim";
  if (o.platform == "sim" && !o.interfaces.empty())
    return "--interfaces goes with --platform linux";
  return {};
}

int Run(const Options& o) {
  std::unique_ptr<tarnex::Platform> platform;
  tarnex::SimPlatform* sim_platform = nullptr;
  tarnex::InstanceLock* lock = nullptr;
  std::string app_path = o.app_path;
  if (o.platform == "sim") {
    tarnex::SimOptions sim;
    sim.scenario_path = o.scenario;
    sim.start = o.start;
    sim.speed = o.speed;
    sim.answer = o.answer;
    sim.quiet = o.quiet;
    std::string error;
    auto simulated = tarnex::SimPlatform::Load(sim, error);
    if (!simulated) return Usage(error);
    sim_platform = simulated.get();
    lock = &simulated->Lock();
    platform = std::move(simulated);
  }
  if (const std::string problem = tarnex::PrepareFolder(app_path); !problem.empty()) {
    return Refuse(problem);
  }
  if (!platform) {
    tarnex::LinuxOptions linux_options;
    linux_options.app_path = app_path;
    linux_options.executable = tarnex::ExecutablePath();
    linux_options.boot_dir = o.boot_dir;
    linux_options.unit_dir = o.unit_dir;
    linux_options.answer = o.answer;
    linux_options.interfaces = o.interfaces;
    auto host = std::make_unique<tarnex::LinuxPlatform>(linux_options);
    lock = &host->Lock();
    platform = std::move(host);
  }

  // The lock is taken here so that a lock file that is not the program's
  // own stops the start with its reason; a lock another copy holds is left
  // to start-up, which says so as the system always has. Only the copy that
  // holds the lock clears what killed copies left behind.
  switch (lock->Acquire(app_path)) {
    case tarnex::InstanceLock::Result::kRefused:
      return Refuse("cannot use '" + app_path + "' as the installation folder: " + lock->problem());
    case tarnex::InstanceLock::Result::kTaken:
      tarnex::RemoveStaleTemporaries(app_path);
      break;
    case tarnex::InstanceLock::Result::kHeld:
      break;
  }

  tarnex::App app(*platform, app_path);
  if (!o.update_host.empty()) app.SetUpdateServer(o.update_host, o.update_port);
  tarnex::EventLoop& loop = platform->Loop();
  const int64_t started = loop.MonotonicMs();

  tarnex::CloseSignals signals(loop, [&app] { app.FormUnload(); });
  if (!signals.ok()) return kExitFailure;

  // The scenario's operator: every step is looked at before the program starts.
  std::vector<tarnex::OperatorTimeline::Step> steps;
  if (sim_platform != nullptr) {
    for (const auto& s : sim_platform->operator_steps) steps.push_back({s.at, s.step});
  }
  tarnex::OperatorTimeline timeline(app, std::move(steps), [](const std::string& problem) {
    std::cerr << "tarnex-server: " << problem << "\n";
  });
  if (const std::string problem = timeline.Check(); !problem.empty()) return Usage(problem);

  if (!app.FormLoad()) return kExitOtherInstance;
  timeline.Start();

  // The operator console. A console that cannot start is reported, and the
  // program runs on without it.
  tarnex::OperatorConsole console(app.ctx(), tarnex::ConsoleHooksFor(app));
  if (!o.console_host.empty() && !loop.Stopping()) {
    // The pages lie beside the program, in web/, as the build leaves them;
    // the package puts them under share/ beside bin/.
    std::string program = tarnex::ExecutablePath();
    program = program.substr(0, program.find_last_of('/'));
    std::string web = program + "/web";
    if (!std::filesystem::is_directory(web)) web = program + "/../share/tarnex-server/web";
    const std::string problem = console.Start(o.console_host, o.console_port, web);
    if (problem.empty()) {
      std::cerr << "tarnex-server: the operator console is at " << console.Address() << "\n";
    } else {
      std::cerr << "tarnex-server: the operator console is off: " << problem << "\n";
    }
  }

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

  app.Flush();

  if (!o.dump_model.empty()) {
    nlohmann::json dump = tarnex::ModelToJson(app.model());
    dump["forms"] = app.commands().Dump();
    const std::string text = dump.dump(2) + "\n";
    if (!platform->Fs().Replace(o.dump_model, text)) {
      std::cerr << "tarnex-server: cannot write the model to " << o.dump_model << "\n";
      return kExitFailure;
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "ctl") return tarnex::RunCtl(argc - 2, argv + 2);
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
    return kExitFailure;
  }
}
