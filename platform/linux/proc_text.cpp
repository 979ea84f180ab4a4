#include "platform/linux/proc_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace tarnex {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// Calls `on_line` with each line of `text`, without its line end, until it
// returns false.
template <typename F>
void EachLine(std::string_view text, F on_line) {
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    if (!on_line(text.substr(pos, end - pos))) return;
    pos = end + 1;
  }
}

// The blank-separated words of a line.
std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  size_t pos = 0;
  while (pos < line.size()) {
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
    size_t end = pos;
    while (end < line.size() && !IsBlank(line[end])) ++end;
    if (end > pos) words.push_back(line.substr(pos, end - pos));
    pos = end;
  }
  return words;
}

std::optional<uint64_t> Unsigned(std::string_view word) {
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end == word.data()) return std::nullopt;
  return value;
}

std::optional<int64_t> Signed(std::string_view word) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end == word.data()) return std::nullopt;
  return value;
}

std::optional<double> Decimal(std::string_view word) {
  const std::string copy(word);
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  if (end == copy.c_str()) return std::nullopt;
  return value;
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (IsBlank(text.front()) || text.front() == '\n')) text.remove_prefix(1);
  while (!text.empty() && (IsBlank(text.back()) || text.back() == '\n' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  return text;
}

// The first number behind a line's label ("intr 123 0 0" gives 123).
std::optional<uint64_t> FirstNumberOf(std::string_view text, std::string_view label) {
  std::optional<uint64_t> found;
  EachLine(text, [&](std::string_view line) {
    if (line.size() > label.size() && line.substr(0, label.size()) == label &&
        IsBlank(line[label.size()])) {
      const auto words = Words(line.substr(label.size()));
      if (!words.empty()) found = Unsigned(words[0]);
      return false;
    }
    return true;
  });
  return found;
}

}  // namespace

std::vector<CpuTimes> ParseProcStat(const std::string& text) {
  std::vector<CpuTimes> out;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.compare(0, 3, "cpu") != 0) continue;
    std::istringstream fields(line);
    CpuTimes c;
    fields >> c.name >> c.user >> c.nice >> c.system >> c.idle >> c.iowait >> c.irq >> c.softirq >>
        c.steal;
    if (!c.name.empty()) out.push_back(c);
  }
  return out;
}

StatTotals ParseStatTotals(const std::string& text) {
  StatTotals t;
  t.interrupts = FirstNumberOf(text, "intr");
  t.softirqs = FirstNumberOf(text, "softirq");
  t.ctxt = FirstNumberOf(text, "ctxt");
  t.procs_running = FirstNumberOf(text, "procs_running");
  return t;
}

std::optional<uint64_t> MeminfoBytes(std::string_view text, std::string_view key) {
  std::optional<uint64_t> found;
  EachLine(text, [&](std::string_view line) {
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == ':') {
      const auto words = Words(line.substr(key.size() + 1));
      if (!words.empty()) {
        found = Unsigned(words[0]);
        if (found && words.size() > 1 && words[1] == "kB") *found *= 1024;
      }
      return false;
    }
    return true;
  });
  return found;
}

std::optional<uint64_t> VmstatValue(std::string_view text, std::string_view key) {
  return FirstNumberOf(text, key);
}

std::optional<DiskStat> FindDiskStat(std::string_view text, unsigned major, unsigned minor,
                                     std::string_view name) {
  std::optional<DiskStat> by_number, by_name;
  EachLine(text, [&](std::string_view line) {
    const auto w = Words(line);
    // Major, minor, name and at least the eleven figures every kernel gives.
    if (w.size() < 14) return true;
    const auto maj = Unsigned(w[0]), min = Unsigned(w[1]);
    if (!maj || !min) return true;
    const bool number_match = *maj == major && *min == minor;
    const bool name_match = !name.empty() && w[2] == name;
    if (!number_match && !name_match) return true;
    DiskStat d;
    d.major = static_cast<unsigned>(*maj);
    d.minor = static_cast<unsigned>(*min);
    d.name = std::string(w[2]);
    uint64_t f[11];
    for (size_t i = 0; i < 11; ++i) {
      const auto v = Unsigned(w[3 + i]);
      if (!v) return true;
      f[i] = *v;
    }
    d.reads = f[0];
    d.sectors_read = f[2];
    d.writes = f[4];
    d.sectors_written = f[6];
    d.in_flight = f[8];
    d.io_ms = f[9];
    d.weighted_ms = f[10];
    if (number_match) {
      by_number = d;
      return false;
    }
    if (!by_name) by_name = d;
    return true;
  });
  return by_number ? by_number : by_name;
}

std::optional<MountEntry> RootMount(std::string_view mountinfo) {
  std::optional<MountEntry> found;
  EachLine(mountinfo, [&](std::string_view line) {
    const auto w = Words(line);
    if (w.size() < 7 || w[4] != "/") return true;
    const auto colon = w[2].find(':');
    if (colon == std::string_view::npos) return true;
    const auto maj = Unsigned(w[2].substr(0, colon)), min = Unsigned(w[2].substr(colon + 1));
    if (!maj || !min) return true;
    // The optional fields end at a lone "-"; the type and source follow it.
    size_t dash = 6;
    while (dash < w.size() && w[dash] != "-") ++dash;
    if (dash + 1 >= w.size()) return true;
    MountEntry e;
    e.major = static_cast<unsigned>(*maj);
    e.minor = static_cast<unsigned>(*min);
    e.fstype = std::string(w[dash + 1]);
    if (dash + 2 < w.size()) e.source = std::string(w[dash + 2]);
    found = e;
    return true;
  });
  return found;
}

std::optional<PidStat> ParsePidStat(std::string_view text) {
  const size_t open = text.find('(');
  const size_t close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    return std::nullopt;
  }
  const auto pid = Signed(TrimBlanks(text.substr(0, open)));
  if (!pid) return std::nullopt;
  const auto w = Words(TrimBlanks(text.substr(close + 1)));
  // w[0] is field 3 (the state), so field k is w[k - 3]; rss is field 24.
  if (w.size() < 22) return std::nullopt;
  const auto field = [&](size_t k) { return Unsigned(w[k - 3]); };
  PidStat s;
  s.pid = *pid;
  s.comm = std::string(text.substr(open + 1, close - open - 1));
  const auto minflt = field(10), majflt = field(12), utime = field(14), stime = field(15),
             threads = field(20), start = field(22), vsize = field(23);
  const auto rss = Signed(w[24 - 3]);
  if (!minflt || !majflt || !utime || !stime || !threads || !start || !vsize || !rss) {
    return std::nullopt;
  }
  s.minflt = *minflt;
  s.majflt = *majflt;
  s.utime = *utime;
  s.stime = *stime;
  s.num_threads = *threads;
  s.starttime = *start;
  s.vsize = *vsize;
  s.rss = *rss > 0 ? static_cast<uint64_t>(*rss) : 0;
  return s;
}

std::optional<PidIo> ParsePidIo(std::string_view text) {
  const auto rchar = FirstNumberOf(text, "rchar:");
  const auto wchar = FirstNumberOf(text, "wchar:");
  if (!rchar || !wchar) return std::nullopt;
  return PidIo{*rchar, *wchar};
}

std::optional<double> CpuinfoMhz(std::string_view text, int processor) {
  bool in_section = false;
  std::optional<double> found;
  EachLine(text, [&](std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return true;
    const std::string_view key = TrimBlanks(line.substr(0, colon));
    const std::string_view value = TrimBlanks(line.substr(colon + 1));
    if (key == "processor") {
      if (in_section) return false;  // the next processor: the figure is not there
      const auto n = Unsigned(value);
      in_section = n && *n == static_cast<uint64_t>(processor);
    } else if (in_section && key == "cpu MHz") {
      found = Decimal(value);
      return false;
    }
    return true;
  });
  return found;
}

std::optional<uint64_t> FileNrAllocated(std::string_view text) {
  const auto w = Words(TrimBlanks(text));
  if (w.empty()) return std::nullopt;
  return Unsigned(w[0]);
}

std::optional<double> UptimeSeconds(std::string_view text) {
  const auto w = Words(TrimBlanks(text));
  if (w.empty()) return std::nullopt;
  return Decimal(w[0]);
}

std::optional<uint64_t> LoadavgThreads(std::string_view text) {
  const auto w = Words(TrimBlanks(text));
  if (w.size() < 4) return std::nullopt;
  const size_t slash = w[3].find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  return Unsigned(w[3].substr(slash + 1));
}

std::optional<uint64_t> SysfsNumber(std::string_view text) {
  const std::string_view t = TrimBlanks(text);
  if (t.empty()) return std::nullopt;
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), value);
  if (error != std::errc() || end != t.data() + t.size()) return std::nullopt;
  return value;
}

std::vector<std::string> ChooseInterfaces(std::vector<NetLink> links,
                                          const std::vector<std::string>& configured) {
  std::vector<std::string> out;
  if (!configured.empty()) {
    for (const auto& name : configured) {
      const bool exists =
          std::any_of(links.begin(), links.end(), [&](const NetLink& l) { return l.name == name; });
      const bool repeated = std::find(out.begin(), out.end(), name) != out.end();
      if (exists && !repeated) out.push_back(name);
    }
    return out;
  }
  std::sort(links.begin(), links.end(), [](const NetLink& a, const NetLink& b) {
    return a.ifindex != b.ifindex ? a.ifindex < b.ifindex : a.name < b.name;
  });
  const bool any_device =
      std::any_of(links.begin(), links.end(), [](const NetLink& l) { return l.device; });
  for (const auto& l : links) {
    if (l.loopback) continue;
    if (any_device && !l.device) continue;
    out.push_back(l.name);
  }
  return out;
}

std::string AdapterInstance(const std::string& kernel_name) {
  std::string name = "Network Adapter " + kernel_name;
  for (char& c : name) {
    if (c == '(')
      c = '[';
    else if (c == ')')
      c = ']';
    else if (c == '#' || c == '/' || c == '\\')
      c = '_';
  }
  return name;
}

namespace {

// The file name of a program without trailing version digits and dots:
// "python3.11" gives "python".
std::string Stem(std::string name) {
  while (!name.empty() &&
         (std::isdigit(static_cast<unsigned char>(name.back())) || name.back() == '.')) {
    name.pop_back();
  }
  return name;
}

std::string FileName(const std::string& exe) {
  std::string name = exe.substr(exe.find_last_of('/') + 1);
  const size_t deleted = name.find(" (deleted)");
  if (deleted != std::string::npos) name.resize(deleted);
  return name;
}

// The first argument after the interpreter that is not an option; "" when
// there is none.
std::string ScriptArgument(const std::string& cmdline) {
  size_t pos = cmdline.find('\0');
  while (pos != std::string::npos && pos + 1 < cmdline.size()) {
    const size_t end = cmdline.find('\0', pos + 1);
    std::string arg = cmdline.substr(pos + 1, end - pos - 1);
    if (!arg.empty() && arg[0] != '-') return arg;
    pos = end;
  }
  return {};
}

}  // namespace

bool RunsScript(const std::string& exe) {
  static const char* const kInterpreters[] = {"sh",   "bash", "dash", "python", "perl", "ruby",
                                              "node", "php",  "java", "tclsh",  "lua"};
  const std::string stem = Stem(FileName(exe));
  for (const char* i : kInterpreters) {
    if (stem == i) return true;
  }
  return false;
}

std::string ProgramBaseName(const std::string& exe, const std::string& cmdline) {
  std::string name = FileName(exe);
  if (RunsScript(exe)) {
    const std::string script = ScriptArgument(cmdline);
    if (!script.empty()) name = script.substr(script.find_last_of('/') + 1);
  }
  const size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name + ".exe";
}

std::string ProgramPath(const std::string& exe, const std::string& cmdline,
                        const std::string& cwd) {
  static const std::string kDeleted = " (deleted)";
  std::string path = exe;
  if (path.size() > kDeleted.size() &&
      path.compare(path.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0) {
    path.resize(path.size() - kDeleted.size());
  }
  if (!RunsScript(path)) return path;
  const std::string script = ScriptArgument(cmdline);
  if (script.empty()) return path;
  std::filesystem::path full(script);
  if (full.is_relative() && !cwd.empty()) full = std::filesystem::path(cwd) / full;
  return full.lexically_normal().string();
}

bool ProcessAlive(const std::string& stat) {
  // "PID (COMM) STATE ...": the name may hold blanks and brackets, so the
  // state follows the last closing bracket.
  const size_t close = stat.rfind(')');
  if (close == std::string::npos || close + 2 >= stat.size()) return false;
  const char state = stat[close + 2];
  return state != 'Z' && state != 'X' && state != 'x';
}

std::string FirstNameserver(const std::string& resolv_conf) {
  std::istringstream in(resolv_conf);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string keyword;
    std::string address;
    if (!(words >> keyword) || keyword != "nameserver" || !(words >> address)) continue;
    return address.substr(0, 15);
  }
  return {};
}

}  // namespace tarnex
