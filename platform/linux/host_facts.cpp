#include "platform/linux/host_facts.h"

#include <nlohmann/json.hpp>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace tarnex::host {

namespace {

std::string Trim(std::string_view text) {
  size_t a = 0, b = text.size();
  while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) --b;
  return std::string(text.substr(a, b - a));
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    out.push_back(line);
  }
  return out;
}

int ToInt(const std::string& text, int fallback) {
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  return end == text.c_str() ? fallback : static_cast<int>(v);
}

// A whole number with thousands grouping: 24105 -> "24,105".
std::string Grouped(double value) {
  const long long n = std::llround(value);
  std::string digits = std::to_string(n < 0 ? -n : n);
  std::string out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return n < 0 ? "-" + out : out;
}

// Whole megabytes, as free(1) counts them.
std::string Megabytes(double mb) {
  return Grouped(std::floor(mb)) + " MB";
}

std::string OrNA(const std::string& text) {
  return text.empty() ? "N/A" : text;
}

std::string Label(const std::string& label) {
  std::string out = label;
  if (out.size() < 27) out.resize(27, ' ');
  return out;
}

}  // namespace

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};
  std::stringstream out;
  out << in.rdbuf();
  return out.str();
}

std::string ReadLine(const std::string& path) {
  const std::string text = ReadText(path);
  return Trim(text.substr(0, text.find('\n')));
}

std::vector<CpuEntry> ParseCpuInfo(const std::string& text) {
  std::vector<CpuEntry> out;
  CpuEntry current;
  bool any = false;
  const auto flush = [&] {
    if (any) out.push_back(current);
    current = CpuEntry{};
    any = false;
  };
  for (const std::string& line : Lines(text)) {
    const size_t colon = line.find(':');
    if (Trim(line).empty()) {
      flush();
      continue;
    }
    if (colon == std::string::npos) continue;
    const std::string key = Trim(std::string_view(line).substr(0, colon));
    const std::string value = Trim(std::string_view(line).substr(colon + 1));
    if (key == "processor") {
      if (any) flush();
      current.processor = ToInt(value, 0);
      any = true;
    } else if (key == "vendor_id") {
      current.vendor = value;
    } else if (key == "model name") {
      current.model_name = value;
    } else if (key == "cpu family") {
      current.family = ToInt(value, -1);
    } else if (key == "model") {
      current.model = ToInt(value, -1);
    } else if (key == "stepping") {
      current.stepping = ToInt(value, -1);
    } else if (key == "cpu MHz") {
      current.mhz = std::strtod(value.c_str(), nullptr);
    } else if (key == "physical id") {
      current.physical_id = ToInt(value, 0);
    } else if (key == "cpu cores") {
      current.cores = ToInt(value, 0);
    } else if (key == "flags" || key == "Features") {
      std::istringstream words(value);
      for (std::string w; words >> w;) current.flags.insert(w);
    }
  }
  flush();
  return out;
}

std::map<std::string, uint64_t> ParseMemInfo(const std::string& text) {
  std::map<std::string, uint64_t> out;
  for (const std::string& line : Lines(text)) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    out[line.substr(0, colon)] = std::strtoull(line.c_str() + colon + 1, nullptr, 10);
  }
  return out;
}

namespace {

std::string Unescape(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() &&
        std::isdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isdigit(static_cast<unsigned char>(text[i + 2])) &&
        std::isdigit(static_cast<unsigned char>(text[i + 3]))) {
      out += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                               (text[i + 3] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace

std::vector<SwapEntry> ParseSwaps(const std::string& text) {
  std::vector<SwapEntry> out;
  const auto lines = Lines(text);
  for (size_t i = 1; i < lines.size(); ++i) {  // the first line is the heading
    std::istringstream fields(lines[i]);
    SwapEntry e;
    std::string type;
    if (fields >> e.name >> type >> e.size_kb >> e.used_kb) {
      e.name = Unescape(e.name);
      out.push_back(e);
    }
  }
  return out;
}

std::vector<MountEntry> ParseMounts(const std::string& text) {
  std::vector<MountEntry> out;
  for (const std::string& line : Lines(text)) {
    std::istringstream fields(line);
    MountEntry m;
    if (fields >> m.source >> m.point >> m.type) {
      m.source = Unescape(m.source);
      m.point = Unescape(m.point);
      out.push_back(m);
    }
  }
  return out;
}

std::vector<MountEntry> DriveMounts(const std::vector<MountEntry>& mounts) {
  std::vector<MountEntry> out;
  for (const MountEntry& m : mounts) {
    const bool device = m.source.rfind("/dev/", 0) == 0 && m.source.rfind("/dev/loop", 0) != 0;
    if (!device && m.point != "/") continue;
    auto same = std::find_if(out.begin(), out.end(),
                             [&](const MountEntry& o) { return o.point == m.point; });
    if (same != out.end()) {
      *same = m;
    } else {
      out.push_back(m);
    }
  }
  return out;
}

std::map<std::string, std::string> ParseOsRelease(const std::string& text) {
  std::map<std::string, std::string> out;
  for (const std::string& raw : Lines(text)) {
    const std::string line = Trim(raw);
    if (line.empty() || line[0] == '#') continue;
    const size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string value = line.substr(eq + 1);
    if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0]) {
      value = value.substr(1, value.size() - 2);
    }
    std::string plain;
    for (size_t i = 0; i < value.size(); ++i) {
      if (value[i] == '\\' && i + 1 < value.size()) ++i;
      plain += value[i];
    }
    out[line.substr(0, eq)] = plain;
  }
  return out;
}

std::vector<DmiRecord> ParseDmidecode(const std::string& text) {
  std::vector<DmiRecord> out;
  DmiRecord* current = nullptr;
  for (const std::string& line : Lines(text)) {
    if (line.rfind("Handle ", 0) == 0) {
      const size_t at = line.find("DMI type ");
      out.emplace_back();
      current = &out.back();
      if (at != std::string::npos) current->type = ToInt(line.substr(at + 9), -1);
      continue;
    }
    if (current == nullptr || line.empty() || line[0] != '\t') continue;
    // Fields are one tab in; list items under a field are two tabs in.
    if (line.size() > 1 && line[1] == '\t') continue;
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    current->fields[Trim(line.substr(1, colon - 1))] = Trim(line.substr(colon + 1));
  }
  return out;
}

double DmiSizeBytes(const std::string& text) {
  std::istringstream in(text);
  double n = 0;
  std::string unit;
  if (!(in >> n >> unit)) return 0;
  if (unit == "bytes") return n;
  if (unit == "kB" || unit == "KB") return n * 1024;
  if (unit == "MB") return n * 1024 * 1024;
  if (unit == "GB") return n * 1024 * 1024 * 1024;
  if (unit == "TB") return n * 1024.0 * 1024 * 1024 * 1024;
  return 0;
}

double DmiNumber(const std::string& text) {
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return 0;
  return std::strtod(text.c_str(), nullptr);
}

std::vector<int> ParseCpuList(const std::string& text) {
  std::vector<int> out;
  std::istringstream in(Trim(text));
  for (std::string part; std::getline(in, part, ',');) {
    const size_t dash = part.find('-');
    if (part.empty()) continue;
    const int a = ToInt(part.substr(0, dash), -1);
    const int b = dash == std::string::npos ? a : ToInt(part.substr(dash + 1), -1);
    if (a < 0 || b < a) continue;
    for (int i = a; i <= b; ++i) out.push_back(i);
  }
  return out;
}

std::vector<CacheInstance> ReadCaches(const std::string& cpu_root) {
  std::vector<CacheInstance> out;
  DIR* dir = opendir(cpu_root.c_str());
  if (dir == nullptr) return out;
  std::vector<int> cpus;
  while (dirent* e = readdir(dir)) {
    const std::string name = e->d_name;
    if (name.size() > 3 && name.compare(0, 3, "cpu") == 0 &&
        name.find_first_not_of("0123456789", 3) == std::string::npos) {
      cpus.push_back(std::atoi(name.c_str() + 3));
    }
  }
  closedir(dir);
  std::sort(cpus.begin(), cpus.end());
  for (int cpu : cpus) {
    for (int index = 0;; ++index) {
      const std::string d =
          cpu_root + "/cpu" + std::to_string(cpu) + "/cache/index" + std::to_string(index);
      const std::string level = ReadLine(d + "/level");
      if (level.empty()) break;
      CacheInstance c;
      c.level = ToInt(level, 0);
      c.type = ReadLine(d + "/type");
      const std::string size = ReadLine(d + "/size");
      if (!size.empty() && std::isdigit(static_cast<unsigned char>(size[0]))) {
        c.size_kb = std::strtoull(size.c_str(), nullptr, 10);
        const char unit = size.back();
        if (unit == 'M') c.size_kb *= 1024;
        if (unit == 'G') c.size_kb *= 1024 * 1024;
        if (std::isdigit(static_cast<unsigned char>(unit))) c.size_kb /= 1024;  // bytes
      }
      c.ways = ToInt(ReadLine(d + "/ways_of_associativity"), -1);
      c.line_size = ToInt(ReadLine(d + "/coherency_line_size"), 0);
      c.cpus = ParseCpuList(ReadLine(d + "/shared_cpu_list"));
      if (c.cpus.empty()) c.cpus.push_back(cpu);
      const bool seen = std::any_of(out.begin(), out.end(), [&](const CacheInstance& o) {
        return o.level == c.level && o.type == c.type && o.cpus == c.cpus;
      });
      if (!seen) out.push_back(c);
    }
  }
  return out;
}

// ---- SHA-256, for the product identifier

std::string Sha256Hex(std::string_view data) {
  static constexpr std::array<uint32_t, 64> k = {
      0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4,
      0xab1c5ed5, 0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe,
      0x9bdc06a7, 0xc19bf174, 0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f,
      0x4a7484aa, 0x5cb0a9dc, 0x76f988da, 0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7,
      0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967, 0x27b70a85, 0x2e1b2138, 0x4d2c6dfc,
      0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85, 0xa2bfe8a1, 0xa81a664b,
      0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070, 0x19a4c116,
      0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
      0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7,
      0xc67178f2};
  std::array<uint32_t, 8> h = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                               0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::string msg(data);
  const uint64_t bits = static_cast<uint64_t>(data.size()) * 8;
  msg += static_cast<char>(0x80);
  while (msg.size() % 64 != 56) msg += '\0';
  for (int i = 7; i >= 0; --i) msg += static_cast<char>((bits >> (i * 8)) & 0xFF);
  const auto rotr = [](uint32_t x, int n) { return (x >> n) | (x << (32 - n)); };
  for (size_t block = 0; block < msg.size(); block += 64) {
    std::array<uint32_t, 64> w{};
    for (size_t i = 0; i < 16; ++i) {
      for (size_t b = 0; b < 4; ++b) {
        w[i] = (w[i] << 8) | static_cast<unsigned char>(msg[block + i * 4 + b]);
      }
    }
    for (size_t i = 16; i < 64; ++i) {
      const uint32_t s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
      const uint32_t s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
      w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], hh = h[7];
    for (size_t i = 0; i < 64; ++i) {
      const uint32_t t1 =
          hh + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) + k[i] + w[i];
      const uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
      hh = g;
      g = f;
      f = e;
      e = d + t1;
      d = c;
      c = b;
      b = a;
      a = t1 + t2;
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e, h[5] += f, h[6] += g, h[7] += hh;
  }
  std::string out;
  char hex[9];
  for (uint32_t v : h) {
    std::snprintf(hex, sizeof hex, "%08x", v);
    out += hex;
  }
  return out;
}

std::string ProductId(const std::string& machine_id) {
  const std::string id = Trim(machine_id);
  if (id.empty()) return {};
  std::string digest = Sha256Hex("Tarnex Server product identifier\n" + id);
  for (char& c : digest) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return digest.substr(0, 5) + "-" + digest.substr(5, 5) + "-" + digest.substr(10, 5) + "-" +
         digest.substr(15, 5);
}

std::string ReportTime(int64_t epoch_seconds) {
  const time_t t = static_cast<time_t>(epoch_seconds);
  struct tm local {};
  if (localtime_r(&t, &local) == nullptr) return {};
  const int hour12 = local.tm_hour % 12 == 0 ? 12 : local.tm_hour % 12;
  char text[64];
  std::snprintf(text, sizeof text, "%d/%d/%d, %d:%02d:%02d %s", local.tm_mon + 1, local.tm_mday,
                local.tm_year + 1900, hour12, local.tm_min, local.tm_sec,
                local.tm_hour < 12 ? "AM" : "PM");
  return text;
}

// ---- the system-facts program

namespace {

// When the system was installed: the birth of the root folder where the file
// system records it, else when the machine's identity was written.
std::string InstallDate(const HostPaths& paths) {
  struct statx sx {};
  if (statx(AT_FDCWD, "/", 0, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME) != 0 &&
      sx.stx_btime.tv_sec > 0) {
    return ReportTime(sx.stx_btime.tv_sec);
  }
  struct stat st {};
  if (stat((paths.etc + "/machine-id").c_str(), &st) == 0) return ReportTime(st.st_mtim.tv_sec);
  return {};
}

std::string BootTime(const HostPaths& paths) {
  for (const std::string& line : Lines(ReadText(paths.proc + "/stat"))) {
    if (line.rfind("btime ", 0) == 0) return ReportTime(std::atoll(line.c_str() + 6));
  }
  return {};
}

std::string InputLocale(const HostPaths& paths) {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* v = std::getenv(name);
    if (v != nullptr && *v != '\0') return v;
  }
  for (const char* file : {"/default/locale", "/locale.conf"}) {
    auto vars = ParseOsRelease(ReadText(paths.etc + file));
    if (!vars["LANG"].empty()) return vars["LANG"];
  }
  return "C";
}

std::string Dmi(const HostPaths& paths, const char* name) {
  return ReadLine(paths.sys + "/class/dmi/id/" + name);
}

}  // namespace

SystemFacts GatherSystemFacts(const HostPaths& paths) {
  SystemFacts f;
  f.host_name = ReadLine(paths.proc + "/sys/kernel/hostname");
  auto os = ParseOsRelease(ReadText(paths.etc + "/os-release"));
  f.os_name =
      !os["PRETTY_NAME"].empty() ? os["PRETTY_NAME"] : Trim(os["NAME"] + " " + os["VERSION"]);
  struct utsname u {};
  if (uname(&u) == 0) {
    if (f.os_name.empty()) f.os_name = u.sysname;
    f.os_version = std::string(u.release) + " " + u.version;
    f.system_type = u.machine;
  }
  f.product_id = ProductId(ReadText(paths.etc + "/machine-id"));
  f.install_date = InstallDate(paths);
  f.boot_time = BootTime(paths);
  f.manufacturer = Dmi(paths, "sys_vendor");
  f.model = Dmi(paths, "product_name");
  if (f.model.empty()) f.model = ReadLine(paths.proc + "/device-tree/model");
  const std::string bios_vendor = Dmi(paths, "bios_vendor");
  const std::string bios_version = Dmi(paths, "bios_version");
  const std::string bios_date = Dmi(paths, "bios_date");
  if (!bios_vendor.empty() || !bios_version.empty()) {
    f.bios_version = Trim(bios_vendor + " " + bios_version);
    if (!bios_date.empty()) f.bios_version += ", " + bios_date;
  }

  const auto cpus = ParseCpuInfo(ReadText(paths.proc + "/cpuinfo"));
  std::vector<int> packages;
  for (const CpuEntry& c : cpus) {
    if (std::find(packages.begin(), packages.end(), c.physical_id) != packages.end()) continue;
    packages.push_back(c.physical_id);
    char number[16];
    std::snprintf(number, sizeof number, "[%02zu]: ", packages.size());
    std::string line = number;
    if (c.family >= 0 && c.model >= 0 && c.stepping >= 0) {
      line += f.system_type + " Family " + std::to_string(c.family) + " Model " +
              std::to_string(c.model) + " Stepping " + std::to_string(c.stepping) + " " + c.vendor;
    } else {
      line += OrNA(c.model_name);
    }
    if (c.mhz > 0) line += " ~" + std::to_string(std::lround(c.mhz)) + " Mhz";
    f.processors.push_back(line);
  }
  f.packages = static_cast<int>(packages.size());

  for (const MountEntry& m : ParseMounts(ReadText(paths.proc + "/self/mounts"))) {
    if (m.point == "/") f.boot_device = m.source;
  }
  f.input_locale = InputLocale(paths);

  auto mem = ParseMemInfo(ReadText(paths.proc + "/meminfo"));
  const double available_kb =
      static_cast<double>(mem.count("MemAvailable") ? mem["MemAvailable"] : mem["MemFree"]);
  f.total_mb = static_cast<double>(mem["MemTotal"]) / 1024;
  f.available_mb = available_kb / 1024;
  f.virtual_max_mb = static_cast<double>(mem["MemTotal"] + mem["SwapTotal"]) / 1024;
  f.virtual_available_mb = (available_kb + static_cast<double>(mem["SwapFree"])) / 1024;
  for (const SwapEntry& s : ParseSwaps(ReadText(paths.proc + "/swaps"))) {
    f.page_files.push_back(s.name);
  }
  return f;
}

std::string SystemInfoText(const SystemFacts& f) {
  std::string out = "\r\n";
  const auto line = [&out](const char* label, const std::string& value) {
    out += Label(label) + OrNA(value) + "\r\n";
  };
  line("Host Name:", f.host_name);
  line("OS Name:", f.os_name);
  line("OS Version:", f.os_version);
  line("Product ID:", f.product_id);
  line("Original Install Date:", f.install_date);
  line("System Boot Time:", f.boot_time);
  line("System Manufacturer:", f.manufacturer);
  line("System Model:", f.model);
  line("System Type:", f.system_type);
  line("Processor(s):", std::to_string(f.packages) + " Processor(s) Installed.");
  for (const std::string& p : f.processors) out += Label("") + p + "\r\n";
  line("BIOS Version:", f.bios_version);
  line("Boot Device:", f.boot_device);
  line("Input Locale:", f.input_locale);
  line("Total Physical Memory:", Megabytes(f.total_mb));
  line("Available Physical Memory:", Megabytes(f.available_mb));
  line("Virtual Memory: Max Size:", Megabytes(f.virtual_max_mb));
  line("Virtual Memory: Available:", Megabytes(f.virtual_available_mb));
  line("Virtual Memory: In Use:", Megabytes(f.virtual_max_mb - f.virtual_available_mb));
  if (f.page_files.empty()) {
    line("Page File Location(s):", "");
  } else {
    line("Page File Location(s):", f.page_files.front());
    for (size_t i = 1; i < f.page_files.size(); ++i) out += Label("") + f.page_files[i] + "\r\n";
  }
  return out;
}

// ---- the memory and cache tool

RamFacts GatherRamFacts(const HostPaths& paths) {
  RamFacts r;
  const auto cpus = ParseCpuInfo(ReadText(paths.proc + "/cpuinfo"));
  r.logical = static_cast<int>(cpus.size());
  if (!cpus.empty()) {
    r.processor = cpus.front().model_name;
    r.flags = cpus.front().flags;
  }
  r.caches = ReadCaches(paths.sys + "/devices/system/cpu");
  return r;
}

std::string RamText(const RamFacts& r) {
  std::string out;
  out += "Processor: " + OrNA(r.processor) + ", " + std::to_string(r.logical) +
         " logical processor" + (r.logical == 1 ? "" : "s") + "\r\n";

  // The caches by kind: level 1 data and instruction, level 2, level 3. Caches
  // of one kind that differ in size or layout get a line each.
  struct Kind {
    int level;
    bool instruction;
    const char* word;
  };
  const Kind kinds[] = {
      {1, false, "D-cache"}, {1, true, "I-cache"}, {2, false, "S-cache"}, {3, false, "T-cache"}};
  for (const Kind& kind : kinds) {
    std::vector<std::pair<const CacheInstance*, int>> groups;
    for (const CacheInstance& c : r.caches) {
      const bool instruction = c.type == "Instruction";
      if (c.level != kind.level || (kind.level == 1 && instruction != kind.instruction)) continue;
      auto g = std::find_if(groups.begin(), groups.end(), [&](const auto& p) {
        return p.first->size_kb == c.size_kb && p.first->ways == c.ways &&
               p.first->line_size == c.line_size;
      });
      if (g == groups.end()) {
        groups.emplace_back(&c, 1);
      } else {
        ++g->second;
      }
    }
    for (const auto& [c, count] : groups) {
      std::string line = std::to_string(count) + "x " + kind.word + " ";
      if (c->size_kb == 0) {
        line += "unknown size";
      } else {
        line += std::to_string(c->size_kb) + " Kb";
        if (c->ways == 0) line += ", fully associative";
        if (c->ways > 0) line += ", " + std::to_string(c->ways) + "-way set associative";
        if (c->line_size > 0) line += ", " + std::to_string(c->line_size) + " byte line size";
      }
      out += line + "\r\n";
    }
  }

  static const std::pair<const char*, const char*> features[] = {
      {"mmx", "MMX"},       {"mmxext", "Extended MMX"},
      {"3dnow", "3DNow!"},  {"3dnowext", "Extended 3DNow!"},
      {"sse", "SSE"},       {"sse2", "SSE2"},
      {"pni", "SSE3"},      {"ssse3", "SSSE3"},
      {"sse4_1", "SSE4.1"}, {"sse4_2", "SSE4.2"},
      {"sse4a", "SSE4A"},   {"avx", "AVX"},
      {"avx2", "AVX2"},     {"avx512f", "AVX-512"},
      {"fma", "FMA3"},      {"aes", "AES"},
      {"sha_ni", "SHA"}};
  for (const auto& [flag, name] : features) {
    if (r.flags.count(flag) != 0) out += std::string(name) + " instructions\r\n";
  }
  return out;
}

// ---- system-management rows

std::vector<WmiRow> ProcessorRows(const ProcessorFacts& facts) {
  std::vector<WmiRow> rows;
  std::vector<int> packages;
  for (const CpuEntry& c : facts.cpus) {
    if (std::find(packages.begin(), packages.end(), c.physical_id) == packages.end()) {
      packages.push_back(c.physical_id);
    }
  }
  for (size_t p = 0; p < packages.size(); ++p) {
    std::vector<const CpuEntry*> members;
    for (const CpuEntry& c : facts.cpus) {
      if (c.physical_id == packages[p]) members.push_back(&c);
    }
    const CpuEntry& first = *members.front();
    const auto in_package = [&](int cpu) {
      return std::any_of(members.begin(), members.end(),
                         [cpu](const CpuEntry* m) { return m->processor == cpu; });
    };
    WmiRow row;
    row.Set("DeviceID", "CPU" + std::to_string(p));
    if (!first.model_name.empty()) row.Set("Name", first.model_name);
    if (!first.vendor.empty()) row.Set("Manufacturer", first.vendor);
    row.Set("ProcessorType", 3.0);  // a central processor
    const DmiRecord* socket = p < facts.dmi.size() ? &facts.dmi[p] : nullptr;
    double max_mhz = 0;
    if (auto it = facts.max_khz.find(first.processor); it != facts.max_khz.end()) {
      max_mhz = std::round(it->second / 1000);
    } else if (socket != nullptr && socket->fields.count("Max Speed") != 0) {
      max_mhz = DmiNumber(socket->fields.at("Max Speed"));
    }
    if (max_mhz <= 0) max_mhz = std::round(first.mhz);
    if (max_mhz > 0) row.Set("MaxClockSpeed", max_mhz);
    if (first.mhz > 0) row.Set("CurrentClockSpeed", std::round(first.mhz));
    if (socket != nullptr && socket->fields.count("Socket Designation") != 0) {
      row.Set("SocketDesignation", socket->fields.at("Socket Designation"));
    }
    for (int level : {2, 3}) {
      double kb = 0;
      for (const CacheInstance& c : facts.caches) {
        if (c.level == level && !c.cpus.empty() && in_package(c.cpus.front())) {
          kb += static_cast<double>(c.size_kb);
        }
      }
      if (kb > 0) row.Set(level == 2 ? "L2CacheSize" : "L3CacheSize", kb);
    }
    double busy = 0;
    int counted = 0;
    for (const CpuEntry* m : members) {
      if (auto it = facts.busy.find(m->processor); it != facts.busy.end()) {
        busy += it->second;
        ++counted;
      }
    }
    if (counted > 0) row.Set("LoadPercentage", std::round(busy / counted));
    if (first.cores > 0) row.Set("NumberOfCores", static_cast<double>(first.cores));
    row.Set("NumberOfLogicalProcessors", static_cast<double>(members.size()));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<WmiRow> MemoryRows(const std::vector<DmiRecord>& dmi) {
  std::vector<WmiRow> rows;
  for (const DmiRecord& d : dmi) {
    if (d.type != 17) continue;
    WmiRow row;
    const auto field = [&d](const char* name) {
      auto it = d.fields.find(name);
      return it == d.fields.end() ? std::string() : it->second;
    };
    if (!field("Locator").empty()) row.Set("DeviceLocator", field("Locator"));
    if (!field("Bank Locator").empty()) row.Set("BankLabel", field("Bank Locator"));
    if (const double bytes = DmiSizeBytes(field("Size")); bytes > 0) row.Set("Capacity", bytes);
    const std::string speed =
        !field("Speed").empty() ? field("Speed") : field("Configured Memory Speed");
    if (const double mhz = DmiNumber(speed); mhz > 0) row.Set("Speed", mhz);
    if (!field("Manufacturer").empty()) row.Set("Manufacturer", field("Manufacturer"));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<WmiRow> PageFileRows(const std::vector<SwapEntry>& swaps,
                                 std::map<std::string, double>& peaks) {
  std::vector<WmiRow> rows;
  for (const SwapEntry& s : swaps) {
    const double used = std::floor(static_cast<double>(s.used_kb) / 1024);
    double& peak = peaks[s.name];
    if (used > peak) peak = used;
    rows.push_back(WmiRow{{"Name", s.name},
                          {"AllocatedBaseSize", std::floor(static_cast<double>(s.size_kb) / 1024)},
                          {"CurrentUsage", used},
                          {"PeakUsage", peak}});
  }
  return rows;
}

std::vector<InterfaceRow> InterfaceRows(const std::string& sys_class_net) {
  std::vector<InterfaceRow> rows;
  DIR* dir = opendir(sys_class_net.c_str());
  if (dir == nullptr) return rows;
  std::vector<std::string> names;
  while (dirent* e = readdir(dir)) {
    if (e->d_name[0] != '.') names.push_back(e->d_name);
  }
  closedir(dir);
  const auto number = [](const std::string& path) -> uint64_t {
    const std::string text = ReadLine(path);
    return text.empty() ? 0 : std::strtoull(text.c_str(), nullptr, 0);
  };
  const auto count = [&number](const std::string& path) {
    return static_cast<uint32_t>(number(path));  // the table's counts are 32 bits
  };
  for (const std::string& name : names) {
    const std::string at = sys_class_net + "/" + name;
    const std::string stats = at + "/statistics/";
    InterfaceRow row;
    row.name.assign(name.begin(), name.end());
    row.description = name;
    row.index = count(at + "/ifindex");
    const uint64_t kind = number(at + "/type");
    row.type = kind == 1 ? 6 : (kind == 772 ? 24 : 1);
    row.mtu = count(at + "/mtu");
    const long long mbps = std::atoll(ReadLine(at + "/speed").c_str());
    row.speed =
        mbps > 0 ? static_cast<uint32_t>(std::min<long long>(mbps * 1000000, 0xFFFFFFFFLL)) : 0;
    const std::string state = ReadLine(at + "/operstate");
    row.oper_status = state == "up" || state == "unknown" ? 5 : 2;
    row.admin_status = (number(at + "/flags") & 1) != 0 ? 1 : 2;
    const std::string address = ReadLine(at + "/address");  // "aa:bb:cc:dd:ee:ff"
    for (size_t i = 0; i + 2 <= address.size(); i += 3) {
      row.address.push_back(
          static_cast<char>(std::strtoul(address.substr(i, 2).c_str(), nullptr, 16)));
    }
    const uint64_t packets = number(stats + "rx_packets");
    const uint64_t multicast = std::min(number(stats + "multicast"), packets);
    row.in_octets = count(stats + "rx_bytes");
    row.in_ucast = static_cast<uint32_t>(packets - multicast);
    row.in_nucast = static_cast<uint32_t>(multicast);
    row.in_discards = count(stats + "rx_dropped");
    row.in_errors = count(stats + "rx_errors");
    row.out_octets = count(stats + "tx_bytes");
    row.out_ucast = count(stats + "tx_packets");
    row.out_discards = count(stats + "tx_dropped");
    row.out_errors = count(stats + "tx_errors");
    row.out_qlen = count(at + "/tx_queue_len");
    rows.push_back(std::move(row));
  }
  std::sort(rows.begin(), rows.end(),
            [](const InterfaceRow& a, const InterfaceRow& b) { return a.index < b.index; });
  return rows;
}

std::vector<WmiRow> JournalEventRows(const std::string& json_lines) {
  std::vector<WmiRow> rows;
  size_t at = 0;
  while (at < json_lines.size()) {
    size_t end = json_lines.find('\n', at);
    if (end == std::string::npos) end = json_lines.size();
    const nlohmann::json entry =
        nlohmann::json::parse(json_lines.substr(at, end - at), nullptr, false);
    at = end + 1;
    if (!entry.is_object() || !entry.contains("MESSAGE") || !entry["MESSAGE"].is_string()) continue;
    std::string category;
    for (const char* key : {"SYSLOG_IDENTIFIER", "_COMM"}) {
      if (category.empty() && entry.contains(key) && entry[key].is_string()) {
        category = entry[key].get<std::string>();
      }
    }
    WmiRow row{{"Category", category}, {"Message", entry["MESSAGE"].get<std::string>()}};
    if (entry.contains("PRIORITY") && entry["PRIORITY"].is_string()) {
      row.Set("EventCode", std::strtod(entry["PRIORITY"].get<std::string>().c_str(), nullptr));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace tarnex::host
