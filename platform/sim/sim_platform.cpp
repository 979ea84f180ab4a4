#include "platform/sim/sim_platform.h"

#include <algorithm>
#include <cctype>
#include <iostream>

#include <nlohmann/json.hpp>

#include "platform/sim/scenario.h"

namespace tarnex {

namespace {

// A command's output handed out as the pipe of a real program would.
class TextPipe : public CommandPipe {
 public:
  explicit TextPipe(std::string text) : text_(std::move(text)) {}
  bool Read(char* buffer, size_t size, size_t& count) override {
    count = std::min(size, text_.size() - at_);
    if (count == 0) return false;
    std::copy_n(text_.data() + at_, count, buffer);
    at_ += count;
    return true;
  }

 private:
  std::string text_;
  size_t at_ = 0;
};

// A counter source that follows its series, one step per collection of its
// query, from the first collection after it was added.
class SeriesSource : public CounterSource {
 public:
  explicit SeriesSource(const SimSeries& series) : series_(series) {}
  void Collect() override { ++collections_; }
  bool Valid() const override { return collections_ > 0; }
  double Value() const override { return series_.At(collections_); }

 private:
  const SimSeries& series_;
  int64_t collections_ = 0;
};

}  // namespace

double SimSeries::At(int64_t collection) const {
  int64_t seen = 0;
  for (const auto& [value, count] : segments) {
    seen += count;
    if (collection <= seen) return value;
  }
  return segments.empty() ? 0.0 : segments.back().first;
}

std::unique_ptr<CounterSource> SimCounters::Resolve(const std::string& local_path) {
  auto it = series.find(LowerText(local_path));
  if (it == series.end()) return nullptr;
  return std::make_unique<SeriesSource>(it->second);
}

bool SimCounters::Instances(const std::string& object, std::vector<std::string>& instances) {
  auto it = objects.find(LowerText(object));
  if (it == objects.end()) return false;
  instances = it->second;
  return true;
}

std::unique_ptr<SimPlatform> SimPlatform::Load(const SimOptions& options, std::string& error) {
  NativeFiles files;
  std::string text;
  FileInfo info;
  // The operator names the scenario, so a link to it is followed; anything
  // but a regular file of at most kMaxScenarioBytes is refused unread.
  const std::string& path = options.scenario_path;
  const std::string limit = std::to_string(kMaxScenarioBytes >> 20) + " MB";
  if (files.Stat(path, info) && !info.regular) {
    error = "scenario '" + path + "' is not a regular file";
    return nullptr;
  }
  if (files.Stat(path, info) && static_cast<uint64_t>(info.size) > kMaxScenarioBytes) {
    error = "scenario '" + path + "' is larger than " + limit;
    return nullptr;
  }
  if (!files.ReadFile(path, text, info, kMaxScenarioBytes, OpenFor::kReadThroughLinks)) {
    error = "cannot read scenario file '" + path + "' (a regular file of at most " + limit + ")";
    return nullptr;
  }
  auto sim = FromText(text, options, error);
  if (!sim) error = "scenario '" + path + "': " + error;
  return sim;
}

std::unique_ptr<SimPlatform> SimPlatform::FromText(const std::string& json,
                                                   const SimOptions& options, std::string& error) {
  const nlohmann::json doc = nlohmann::json::parse(json, nullptr, false);
  if (doc.is_discarded() || !doc.is_object()) {
    error = "not a JSON object";
    return nullptr;
  }
  std::unique_ptr<SimPlatform> sim(new SimPlatform());
  sim->options_ = options;
  const auto& readers = ScenarioReaders();
  for (const auto& [key, value] : doc.items()) {
    auto reader = readers.find(key);
    if (reader == readers.end()) {
      error = "unknown key '" + key + "'";
      return nullptr;
    }
    if (!reader->second(*sim, value, error)) return nullptr;
  }
  std::optional<CivilTime> start = options.start ? options.start : sim->scenario_start;
  if (!start) start = RealTimeSource().Now();
  start->millis = 0;
  sim->time_ = std::make_unique<VirtualTimeSource>(*start, options.speed);
  sim->loop_ = std::make_unique<EventLoop>(*sim->time_);
  return sim;
}

std::string SimPlatform::Environment(const std::string& name) {
  auto it = env.find(name);
  if (it != env.end()) return it->second;
  for (const auto& [n, value] : env) {
    if (LowerText(n) == LowerText(name)) return value;
  }
  return {};
}

void SimPlatform::ShowMessage(const std::string& text) {
  messages.push_back(text);
  if (!options_.quiet) std::cerr << "tarnex-server: message: " << text << "\n";
}

bool SimPlatform::AskYesNo(const std::string& text) {
  questions.push_back(text);
  return options_.answer;
}

bool SimPlatform::ScreenSize(double& width, double& height) {
  if (!screen) return false;
  width = screen->first;
  height = screen->second;
  return true;
}

bool SimPlatform::FirstInstance(const std::string& app_path) {
  // A lock file that is not the program's own has stopped the launcher
  // before start-up; here only another copy holding the lock says no.
  const std::string folder = files_.Native(app_path);
  return folder.empty() || lock_.Acquire(folder) != InstanceLock::Result::kHeld;
}

bool SimPlatform::SetStartAtBoot(const std::string& program) {
  boot_value = program;
  return true;
}

bool SimPlatform::DeleteStartAtBoot() {
  boot_value.reset();
  return true;
}

std::vector<int64_t> SimPlatform::EnumProcesses() {
  EndFinishedRuns();
  std::vector<int64_t> pids;
  for (const auto& [pid, program] : running) pids.push_back(pid);
  return pids;
}

bool SimPlatform::ProcessModules(int64_t pid, std::vector<std::string>& base_names) {
  auto it = running.find(pid);
  if (it == running.end() || protected_pids.count(pid) != 0) return false;
  const std::string& path = it->second;
  base_names = {path.substr(path.find_last_of("\\/") + 1)};
  return true;
}

bool SimPlatform::CountServices(int kind, int state, const std::string& machine, int64_t& count) {
  if (!services) return false;
  count = *services;
  return true;
}

void SimPlatform::EndFinishedRuns() {
  const int64_t now = Loop().MonotonicMs();
  for (auto it = ends_at_.begin(); it != ends_at_.end();) {
    if (it->second > now) {
      ++it;
      continue;
    }
    running.erase(it->first);
    windowless_.erase(it->first);
    it = ends_at_.erase(it);
  }
}

bool SimPlatform::ProcessFileName(int64_t pid, std::string& path) {
  EndFinishedRuns();
  auto it = running.find(pid);
  if (it == running.end() || protected_pids.count(pid) != 0) return false;
  path = it->second;
  return true;
}

int64_t SimPlatform::ProcessWindow(int64_t pid) {
  EndFinishedRuns();
  if (running.count(pid) == 0 || windowless_.count(pid) != 0) return 0;
  return kWindowBase + pid;
}

bool SimPlatform::CloseWindow(int64_t window) {
  const int64_t pid = window - kWindowBase;
  if (window == 0 || ProcessWindow(pid) != window) return false;
  closed.push_back(window);
  ends_at_.erase(pid);
  running.erase(pid);
  return true;
}

bool SimPlatform::ShellOpen(const std::string& file, const std::string& parameters,
                            const std::string& folder) {
  started.push_back(file + "|" + parameters + "|" + folder);
  while (running.count(next_pid_) != 0) ++next_pid_;
  const int64_t pid = next_pid_++;
  running[pid] = file;
  // A program is named by its full path or by its file name alone.
  auto it = programs.find(LowerText(file));
  if (it == programs.end()) {
    const size_t cut = file.find_last_of("\\/");
    if (cut != std::string::npos) it = programs.find(LowerText(file.substr(cut + 1)));
  }
  if (it != programs.end()) {
    if (it->second.runs_for) {
      ends_at_[pid] = Loop().MonotonicMs() + static_cast<int64_t>(*it->second.runs_for * 1000);
    }
    if (!it->second.window) windowless_.insert(pid);
  }
  return true;
}

std::optional<std::string> SimPlatform::CommandOutput(const std::string& command_line) const {
  // A scenario names a command by its program's last path component and its
  // arguments: the command line must end with that text, just after a path
  // separator or as the whole line.
  const std::string line = LowerText(command_line);
  for (const auto& [key, text] : commands) {
    if (key.empty() || line.size() < key.size()) continue;
    const size_t at = line.size() - key.size();
    if (line.compare(at, key.size(), key) != 0) continue;
    if (at == 0 || line[at - 1] == '\\' || line[at - 1] == '/') return text;
  }
  return std::nullopt;
}

CommandStart SimPlatform::StartCommand(const std::string& command_line,
                                       std::unique_ptr<CommandPipe>& pipe) {
  commands_run.push_back(command_line);
  auto text = CommandOutput(command_line);
  if (!text) return CommandStart::kNotFound;
  pipe = std::make_unique<TextPipe>(std::move(*text));
  return CommandStart::kStarted;
}

bool SimPlatform::QueryWmi(const std::string& query, std::vector<WmiRow>& rows) {
  rows.clear();
  auto it = wmi.find(LowerText(WmiClassOf(query)));
  if (it == wmi.end()) return false;
  rows = it->second;
  return true;
}

bool SimPlatform::ProcessorMHz(uint32_t& value) {
  if (!mhz) return false;
  value = *mhz;
  return true;
}

bool SimPlatform::DiskFreeSpace(const std::string& root, double& total, double& free_bytes) {
  auto it = disks.find(UpperText(root));
  if (it == disks.end()) return false;
  total = it->second.total;
  free_bytes = it->second.free;
  return true;
}

bool SimPlatform::InterfaceTable(std::vector<InterfaceRow>& rows) {
  if (!interfaces) return false;
  rows = *interfaces;
  return true;
}

}  // namespace tarnex
