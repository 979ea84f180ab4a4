#include "platform/sim/sim_platform.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include <nlohmann/json.hpp>

namespace tarnex {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

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

bool ParseWmi(const nlohmann::json& value, std::map<std::string, std::vector<WmiRow>>& out,
              std::string& error) {
  if (!value.is_object()) {
    error = "\"wmi\" must be an object of classes";
    return false;
  }
  for (const auto& [cls, rows] : value.items()) {
    if (!rows.is_array()) {
      error = "wmi class '" + cls + "' must be an array of rows";
      return false;
    }
    std::vector<WmiRow>& list = out[Lower(cls)];
    list.clear();
    for (const auto& row : rows) {
      if (!row.is_object()) {
        error = "wmi class '" + cls + "': a row must be an object of properties";
        return false;
      }
      WmiRow r;
      for (const auto& [name, v] : row.items()) {
        if (v.is_number()) {
          r.Set(name, v.get<double>());
        } else if (v.is_string()) {
          r.Set(name, v.get<std::string>());
        } else if (v.is_null()) {
          r.Set(name, std::monostate{});
        } else {
          error = "wmi class '" + cls + "', property '" + name +
                  "': a value must be a number, a text or null";
          return false;
        }
      }
      list.push_back(std::move(r));
    }
  }
  return true;
}

bool WholeNumber(const nlohmann::json& v, int64_t low, int64_t high) {
  return v.is_number_integer() && v.get<int64_t>() >= low && v.get<int64_t>() <= high;
}

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

bool ParseSeries(const nlohmann::json& spec, SimSeries& out, std::string& error) {
  out.segments.clear();
  if (spec.is_number()) {
    out.segments.emplace_back(spec.get<double>(), 1);
    return true;
  }
  if (!spec.is_array()) {
    error = "a counter must be a number or an array of segments";
    return false;
  }
  for (const auto& seg : spec) {
    if (seg.is_number()) {
      out.segments.emplace_back(seg.get<double>(), 1);
    } else if (seg.is_object() && seg.contains("value") && seg["value"].is_number()) {
      int64_t count = 1;
      for (const auto& [key, value] : seg.items()) {
        if (key == "for") {
          if (!value.is_number_integer() || value.get<int64_t>() < 1) {
            error = "\"for\" must be a whole number of at least 1";
            return false;
          }
          count = value.get<int64_t>();
        } else if (key != "value") {
          error = "unknown key '" + key + "' in a counter segment";
          return false;
        }
      }
      out.segments.emplace_back(seg["value"].get<double>(), count);
    } else {
      error = "a segment must be a number or {\"value\": V, \"for\": N}";
      return false;
    }
  }
  if (out.segments.empty()) {
    error = "a counter needs at least one segment";
    return false;
  }
  return true;
}

}  // namespace

std::optional<CivilTime> ParseCivilTime(const std::string& text) {
  CivilTime t;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%c", &t.year, &t.month, &t.day, &t.hour,
                  &t.minute, &t.second, &extra) != 6) {
    return std::nullopt;
  }
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.hour < 0 || t.hour > 23 || t.minute < 0 ||
      t.minute > 59 || t.second < 0 || t.second > 59) {
    return std::nullopt;
  }
  const CivilTime round_trip = FromEpochMillis(ToEpochMillis(t));
  if (!(round_trip == t)) return std::nullopt;  // 31 April and the like
  return t;
}

double SimSeries::At(int64_t collection) const {
  int64_t seen = 0;
  for (const auto& [value, count] : segments) {
    seen += count;
    if (collection <= seen) return value;
  }
  return segments.empty() ? 0.0 : segments.back().first;
}

std::unique_ptr<CounterSource> SimCounters::Resolve(const std::string& local_path) {
  auto it = series.find(Lower(local_path));
  if (it == series.end()) return nullptr;
  return std::make_unique<SeriesSource>(it->second);
}

bool SimCounters::Instances(const std::string& object, std::vector<std::string>& instances) {
  auto it = objects.find(Lower(object));
  if (it == objects.end()) return false;
  instances = it->second;
  return true;
}

std::unique_ptr<SimPlatform> SimPlatform::Load(const SimOptions& options, std::string& error) {
  std::ifstream in(options.scenario_path, std::ios::binary);
  if (!in) {
    error = "cannot read scenario file '" + options.scenario_path + "'";
    return nullptr;
  }
  std::stringstream text;
  text << in.rdbuf();
  auto sim = FromText(text.str(), options, error);
  if (!sim) error = "scenario '" + options.scenario_path + "': " + error;
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
  std::optional<CivilTime> start;
  for (const auto& [key, value] : doc.items()) {
    if (key == "start") {
      if (!value.is_string() || !(start = ParseCivilTime(value.get<std::string>()))) {
        error = "\"start\" must be a text \"YYYY-MM-DD HH:MM:SS\"";
        return nullptr;
      }
    } else if (key == "env") {
      if (!value.is_object()) {
        error = "\"env\" must be an object of texts";
        return nullptr;
      }
      for (const auto& [name, v] : value.items()) {
        if (!v.is_string()) {
          error = "env value '" + name + "' must be a text";
          return nullptr;
        }
        sim->env_[name] = v.get<std::string>();
      }
    } else if (key == "counters") {
      if (!value.is_object()) {
        error = "\"counters\" must be an object";
        return nullptr;
      }
      for (const auto& [path, spec] : value.items()) {
        SimSeries series;
        if (!ParseSeries(spec, series, error)) {
          error = "counter '" + path + "': " + error;
          return nullptr;
        }
        sim->counters_.series[Lower(CounterTable::LocalPart(path))] = series;
      }
    } else if (key == "objects") {
      if (!value.is_object()) {
        error = "\"objects\" must be an object";
        return nullptr;
      }
      for (const auto& [object, list] : value.items()) {
        std::vector<std::string> names;
        if (!list.is_array()) {
          error = "object '" + object + "' must list its instances";
          return nullptr;
        }
        for (const auto& n : list) {
          if (!n.is_string()) {
            error = "object '" + object + "': instance names are texts";
            return nullptr;
          }
          names.push_back(n.get<std::string>());
        }
        sim->counters_.objects[Lower(object)] = names;
      }
    } else if (key == "dirs") {
      if (!value.is_array()) {
        error = "\"dirs\" must be an array of folder names";
        return nullptr;
      }
      for (const auto& d : value) {
        if (!d.is_string()) {
          error = "\"dirs\" must be an array of folder names";
          return nullptr;
        }
        sim->files_.DeclareFolder(d.get<std::string>());
      }
    } else if (key == "processes") {
      if (!value.is_array()) {
        error = "\"processes\" must be an array of {\"pid\": N, \"path\": TEXT}";
        return nullptr;
      }
      for (const auto& p : value) {
        if (!p.is_object() || !p.contains("pid") || !p["pid"].is_number_integer() ||
            !p.contains("path") || !p["path"].is_string()) {
          error = "a process needs \"pid\" (a whole number) and \"path\" (a text)";
          return nullptr;
        }
        for (const auto& [field, v] : p.items()) {
          if (field != "pid" && field != "path" && field != "protected") {
            error = "unknown key '" + field + "' in a process";
            return nullptr;
          }
        }
        const int64_t pid = p["pid"].get<int64_t>();
        sim->running[pid] = p["path"].get<std::string>();
        if (p.value("protected", false)) sim->protected_pids.insert(pid);
      }
    } else if (key == "services") {
      if (!value.is_number_integer() || value.get<int64_t>() < 0) {
        error = "\"services\" must be a whole number";
        return nullptr;
      }
      sim->services = value.get<int64_t>();
    } else if (key == "screen") {
      if (!value.is_array() || value.size() != 2 || !value[0].is_number() ||
          !value[1].is_number()) {
        error = "\"screen\" must be [width, height] in twips";
        return nullptr;
      }
      sim->screen_ = std::make_pair(value[0].get<double>(), value[1].get<double>());
    } else if (key == "commands") {
      if (!value.is_object()) {
        error = "\"commands\" must be an object of output texts";
        return nullptr;
      }
      for (const auto& [command, text] : value.items()) {
        if (!text.is_string()) {
          error = "command '" + command + "': its output must be a text";
          return nullptr;
        }
        sim->commands[Lower(command)] = text.get<std::string>();
      }
    } else if (key == "wmi") {
      if (!ParseWmi(value, sim->wmi, error)) return nullptr;
    } else if (key == "processor") {
      if (!value.is_object()) {
        error = "\"processor\" must be an object";
        return nullptr;
      }
      for (const auto& [name, v] : value.items()) {
        if (name == "type" && WholeNumber(v, 0, 0xFFFFFFFFLL)) {
          sim->processor.type = static_cast<uint32_t>(v.get<int64_t>());
        } else if (name == "level" && WholeNumber(v, 0, 0xFFFF)) {
          sim->processor.level = static_cast<uint16_t>(v.get<int64_t>());
        } else if (name == "revision" && WholeNumber(v, 0, 0xFFFF)) {
          sim->processor.revision = static_cast<uint16_t>(v.get<int64_t>());
        } else if (name == "mhz" && WholeNumber(v, 0, 0xFFFFFFFFLL)) {
          sim->mhz = static_cast<uint32_t>(v.get<int64_t>());
        } else if (name == "type" || name == "level" || name == "revision" || name == "mhz") {
          error = "processor '" + name + "' must be a whole number in its range";
          return nullptr;
        } else {
          error = "unknown key '" + name + "' in \"processor\"";
          return nullptr;
        }
      }
    } else if (key == "disks") {
      if (!value.is_object()) {
        error = "\"disks\" must be an object of drives";
        return nullptr;
      }
      for (const auto& [root, disk] : value.items()) {
        Disk d;
        if (!disk.is_object()) {
          error = "disk '" + root + "' must be {\"total\": bytes, \"free\": bytes}";
          return nullptr;
        }
        for (const auto& [name, v] : disk.items()) {
          if ((name != "total" && name != "free") || !v.is_number()) {
            error = "disk '" + root + "' must be {\"total\": bytes, \"free\": bytes}";
            return nullptr;
          }
          (name == "total" ? d.total : d.free) = v.get<double>();
        }
        sim->disks[Upper(root)] = d;
      }
    } else {
      error = "unknown key '" + key + "'";
      return nullptr;
    }
  }
  if (options.start) start = options.start;
  if (!start) start = RealTimeSource().Now();
  start->millis = 0;
  sim->time_ = std::make_unique<VirtualTimeSource>(*start, options.speed);
  sim->loop_ = std::make_unique<EventLoop>(*sim->time_);
  return sim;
}

std::string SimPlatform::Environment(const std::string& name) {
  auto it = env_.find(name);
  if (it != env_.end()) return it->second;
  for (const auto& [n, value] : env_) {
    if (Lower(n) == Lower(name)) return value;
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
  if (!screen_) return false;
  width = screen_->first;
  height = screen_->second;
  return true;
}

bool SimPlatform::FirstInstance(const std::string& app_path) {
  const std::string folder = files_.Native(app_path);
  return folder.empty() || lock_.Acquire(folder);
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

int64_t SimPlatform::FindProcessByPath(const std::string& path) {
  for (const auto& [pid, program] : running) {
    if (Lower(program) == Lower(path)) return pid;
  }
  return 0;
}

bool SimPlatform::CloseProcessWindow(int64_t pid) {
  return running.erase(pid) != 0;
}

bool SimPlatform::ShellOpen(const std::string& file, const std::string& parameters,
                            const std::string& folder) {
  started.push_back(file + "|" + parameters + "|" + folder);
  while (running.count(next_pid_) != 0) ++next_pid_;
  running[next_pid_++] = file;
  return true;
}

std::optional<std::string> SimPlatform::CommandOutput(const std::string& command_line) const {
  // A scenario names a command by its program's last path component and its
  // arguments: the command line must end with that text, just after a path
  // separator or as the whole line.
  const std::string line = Lower(command_line);
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
  auto it = wmi.find(Lower(WmiClassOf(query)));
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
  auto it = disks.find(Upper(root));
  if (it == disks.end()) return false;
  total = it->second.total;
  free_bytes = it->second.free;
  return true;
}

}  // namespace tarnex
