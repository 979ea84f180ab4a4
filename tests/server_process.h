// Running the program as a user starts it: the real binary in a child
// process, its output captured, optionally as another user of this host.
#pragma once

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/test_support.h"

namespace tarnex::testing {

struct Result {
  int code = -1;  // the exit code, or 128 + the signal that ended it
  std::string out, err;
};

struct SpawnOptions {
  // Run as this user (a name of this host) rather than as the test's user.
  std::string user;
  // When set, the child reads one byte from it before it starts the program,
  // so that the test can prepare what depends on the child's process id.
  int gate = -1;
  // The folder the program starts in; "": the test's own.
  std::string folder;
};

// The user and group ids of a user of this host; false when there is none.
inline bool UserIds(const std::string& name, uid_t& uid, gid_t& gid) {
  const passwd* pw = getpwnam(name.c_str());
  if (pw == nullptr) return false;
  uid = pw->pw_uid;
  gid = pw->pw_gid;
  return true;
}

// Starts a program (`args[0]`, a path or a name looked up in PATH) with its
// standard output and error on the descriptors given.
inline pid_t SpawnProgram(std::vector<std::string> args, int out_fd, int err_fd,
                          const SpawnOptions& options = {}) {
  uid_t uid = 0;
  gid_t gid = 0;
  const bool as_user = !options.user.empty() && UserIds(options.user, uid, gid);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out_fd, 1);
    dup2(err_fd, 2);
    if (as_user && (setgroups(0, nullptr) != 0 || setgid(gid) != 0 || setuid(uid) != 0)) {
      _exit(126);
    }
    if (options.gate >= 0) {
      char byte = 0;
      if (read(options.gate, &byte, 1) != 1) _exit(125);
    }
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(124);
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    execvp(args[0].c_str(), argv.data());
    _exit(127);
  }
  return pid;
}

// The server's command line. A run that does not ask for the operator
// console keeps it off: the console's default port is one for the whole
// machine, and tests run side by side.
inline std::vector<std::string> ServerCommand(const std::vector<std::string>& args) {
  std::vector<std::string> command{TARNEX_SERVER_BINARY};
  if ((args.empty() || args[0] != "ctl") &&
      std::find(args.begin(), args.end(), "--console") == args.end()) {
    command.insert(command.end(), {"--console", "off"});
  }
  command.insert(command.end(), args.begin(), args.end());
  return command;
}

inline pid_t Spawn(const std::vector<std::string>& args, int out_fd, int err_fd,
                   const SpawnOptions& options = {}) {
  return SpawnProgram(ServerCommand(args), out_fd, err_fd, options);
}

// Waits for a child; one that has not ended after `seconds` is killed, so a
// program that hangs fails its test instead of stopping the suite.
inline int Reap(pid_t pid, int seconds = 120) {
  int status = 0;
  for (int tenths = 0; tenths < seconds * 10; ++tenths) {
    if (waitpid(pid, &status, WNOHANG) == pid) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  kill(pid, SIGKILL);
  waitpid(pid, &status, 0);
  return 128 + SIGKILL;
}

// Runs a program to its end: its exit code and what it wrote.
inline Result RunProgram(const std::vector<std::string>& args, const SpawnOptions& options = {}) {
  const std::string dir = MakeTempDir();
  const std::string out_path = dir + "/out", err_path = dir + "/err";
  const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const pid_t pid = SpawnProgram(args, out, err, options);
  close(out);
  close(err);
  Result r;
  r.code = Reap(pid);
  r.out = ReadFile(out_path);
  r.err = ReadFile(err_path);
  std::filesystem::remove_all(dir);
  return r;
}

inline Result RunServer(const std::vector<std::string>& args, const SpawnOptions& options = {}) {
  return RunProgram(ServerCommand(args), options);
}

// A whole run on the simulated machine: the scenario goes to
// DIR/scenario.json, the program runs `seconds` of virtual time with the
// installation folder `app`, and dumps its model to DIR/model.json.
struct SimRun {
  int code = -1;
  std::string err;
  nlohmann::json dump;  // null when no dump was written
};
inline SimRun RunSimulated(const std::string& dir, const std::string& app,
                           const nlohmann::json& scenario, int seconds) {
  const std::string scenario_path = dir + "/scenario.json", dump_path = dir + "/model.json";
  WriteFile(scenario_path, scenario.dump());
  std::filesystem::remove(dump_path);
  const Result r =
      RunServer({"--platform", "sim", "--quiet", "--scenario", scenario_path, "--app-path", app,
                 "--run-for", std::to_string(seconds), "--dump-model", dump_path});
  SimRun run{r.code, r.err, nullptr};
  if (std::filesystem::exists(dump_path)) run.dump = nlohmann::json::parse(ReadFile(dump_path));
  return run;
}

inline bool WaitFor(const std::function<bool()>& ready, int tenths) {
  for (int i = 0; i < tenths; ++i) {
    if (ready()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return ready();
}

// The names in a folder that hold `pattern`.
inline std::vector<std::string> NamesWith(const std::string& folder, const std::string& pattern) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) {
    if (e.path().filename().string().find(pattern) != std::string::npos) {
      names.push_back(e.path().filename());
    }
  }
  return names;
}

// The temporary files in a folder, `<file>.tmp<pid>`.
inline std::vector<std::string> Temporaries(const std::string& folder) {
  return NamesWith(folder, ".tmp");
}

// A scratch folder with an installation folder to be (not made yet) and the
// basic scenario.
class LauncherTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    app_ = dir_ + "/install";
    scenario_ = dir_ + "/scenario.json";
    WriteFile(scenario_, kBasicScenario);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::vector<std::string> Sim(std::vector<std::string> more) const {
    std::vector<std::string> args = {"--app-path", app_,      "--platform", "sim",
                                     "--scenario", scenario_, "--quiet"};
    args.insert(args.end(), more.begin(), more.end());
    return args;
  }
  std::string dir_, app_, scenario_;
};

}  // namespace tarnex::testing
