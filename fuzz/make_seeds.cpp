// Makes the seed corpora of the fuzz targets from the canned files of the
// tests: tarnex-fuzz-seeds SOURCE_DIR CORPUS_DIR puts one folder per target
// under CORPUS_DIR. The corpora are made, not kept in the repository.
#include <cctype>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <iterator>
#include <string>

#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

namespace {

constexpr uintmax_t kLargestSeed = 256 * 1024;

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class Corpus {
 public:
  Corpus(const fs::path& root, const std::string& target) : dir_(root / target) {
    fs::create_directories(dir_);
  }
  void Add(const std::string& content) {
    std::ofstream(dir_ / ("seed-" + std::to_string(++count_)), std::ios::binary) << content;
  }
  int count() const { return count_; }
  const fs::path& dir() const { return dir_; }

 private:
  fs::path dir_;
  int count_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: tarnex-fuzz-seeds SOURCE_DIR CORPUS_DIR\n";
    return 2;
  }
  const fs::path data = fs::path(argv[1]) / "tests" / "data";
  const fs::path root = argv[2];
  Corpus profile(root, "profile"), scenario(root, "scenario"), proc_text(root, "proc_text"),
      host_facts(root, "host_facts"), system_facts(root, "system_facts"),
      ram_lines(root, "ram_lines"), harvest_lines(root, "harvest_lines"),
      dns_reply(root, "dns_reply"), logon(root, "logon"), status_frame(root, "status_frame"),
      console_request(root, "console_request");
  // The logon: password, code and what a monitor sends, apart by 0 bytes.
  using namespace std::string_literals;
  for (const std::string& seed : {"pw\0code\0CHKpwcode"s, "pw\0code\0CHKPWxx"s, "\0\0CHK"s,
                                  "pw\0\0chkpw"s, "pw\0code\0CHKpw--code\r\n"s}) {
    logon.Add(seed);
  }
  // The frame: its texts apart by 0 bytes, the numbers read from the same bytes.
  const auto joined = [](std::initializer_list<const char*> parts) {
    std::string out;
    bool first = true;
    for (const char* p : parts) {
      if (!first) out += '\0';
      first = false;
      out += p;
    }
    return out;
  };
  status_frame.Add(joined({"12.5", "CPU Last Min = 10%", "Data < 60 (5)", "Data < 60 (5)", "250",
                           "3", "1", "2400 MHz", "C:", "123456", "1.2 GB / 3.4 GB", "12",
                           "3 Hrs - 02 Min - 05 Sec", "Next File BU: 2 Hrs", "ok", "6 GB / 9 GB"}));
  status_frame.Add(joined({"0", "", "", "", "0", "0", "0", " MHz"}));

  // The console's requests: a byte of flags (1 the token, 2 a session, 4 the
  // console's origin, 8 the token for /login, 16 steps by number), then the
  // method, the target, headers and, after an empty line, the body.
  const auto request = [&console_request](
                           char flags, const std::string& method, const std::string& target,
                           const std::string& headers = "", const std::string& body = "") {
    console_request.Add(std::string(1, flags) + method + "\n" + target + "\n" + headers + "\n" +
                        body);
  };
  request('\x01', "GET", "/api/model");
  request('\x01', "GET", "/api/model?fields=CPUUsage,BNVal,frmServer.LeftCap");
  request('\x02', "GET", "/api/model?fields=forms,nothing");
  request('\x01', "GET", "/metrics");
  request('\x01', "HEAD", "/metrics");
  request('\x01', "GET", "/api/forms");
  request('\x01', "GET", "/api/events");
  request('\x00', "GET", "/api/model");
  request('\x00', "GET", "/");
  request('\x00', "GET", "/console.js");
  request('\x08', "GET", "/login");
  request('\x00', "GET", "/login?token=0123");
  request('\x01', "POST", "/api/operator", "Content-Type: application/json\n",
          R"({"form": "frmServer", "open": true})");
  request('\x06', "POST", "/api/operator", "Content-Type: application/json\n",
          R"([{"form": "frmServer", "close": true}, {"do": "Command3"}])");
  request('\x01', "POST", "/api/operator", "Origin: http://elsewhere.example\n",
          R"({"do": "mnubw"})");
  request('\x01', "POST", "/api/operator", "",
          R"([{"form": "sendmsg", "open": true, "set": {"Text1": "hello"}},)"
          R"( {"form": "sendmsg", "do": "Quit"}])");
  request('\x01', "POST", "/api/operator", "",
          R"({"form": "email", "open": true, "set": {"autosend": 1}, "answer": "yes"})");
  request('\x01', "POST", "/api/operator", "", R"({"set": {"LogAllSeconds": 60}})");
  request('\x01', "POST", "/api/operator", "", R"({"at": 5, "do": "Command1"})");
  request('\x01', "POST", "/api/operator", "", R"({"do": "Command2"})");
  request('\x01', "POST", "/api/operator", "", "[1, 2");
  // Steps by number (16): pairs of a form's and a command's number.
  request('\x11', "POST", "/api/operator", "", "\x81\x00\x01\x05\x02\x01"s);
  request('\x11', "POST", "/api/operator", "", "\x00\x03\x00\x09\x83\x02\x04\x00"s);
  request('\x01', "PUT", "/api/model");
  request('\x01', "GET", "/api/nothing");

  for (const auto& entry : fs::recursive_directory_iterator(data)) {
    if (!entry.is_regular_file() || entry.file_size() > kLargestSeed) continue;
    const std::string path = entry.path().generic_string();
    const std::string name = Lower(entry.path().filename().string());
    const std::string content = ReadAll(entry.path());
    if (name.ends_with(".tnx")) profile.Add(content);
    if (path.find("/linux/") != std::string::npos &&
        (path.find("/proc/") != std::string::npos || path.find("/sys/") != std::string::npos)) {
      proc_text.Add(content);
    }
    if (path.find("/inventory/linux/") != std::string::npos || name == "cpuinfo" ||
        name == "meminfo" || name == "swaps" || name == "mounts" || name == "os-release") {
      host_facts.Add(content);
    }
    if (name.ends_with("systemdata.txt")) system_facts.Add(content);
    if (name.ends_with(".log")) {
      harvest_lines.Add("a.htm|download.zip|report.pdf|x\n" + content);
      harvest_lines.Add("|\n" + content);
    }
    if (name.ends_with(".dns")) dns_reply.Add(content);
    if (!name.ends_with(".json")) continue;
    const nlohmann::json doc = nlohmann::json::parse(content, nullptr, false);
    if (doc.is_discarded() || !doc.is_object() || doc.contains("AppPath")) continue;
    scenario.Add(content);
    // The programs' outputs a scenario gives, for the readers of those outputs.
    if (!doc.contains("commands") || !doc["commands"].is_object()) continue;
    for (const auto& [command, output] : doc["commands"].items()) {
      if (!output.is_string()) continue;
      if (Lower(command).find("systeminfo") != std::string::npos) {
        system_facts.Add(output.get<std::string>());
      }
      if (Lower(command).find("ram.exe") != std::string::npos) {
        ram_lines.Add(output.get<std::string>());
      }
    }
  }
  for (const Corpus* c : {&profile, &scenario, &proc_text, &host_facts, &system_facts, &ram_lines,
                          &harvest_lines, &dns_reply, &logon, &status_frame, &console_request}) {
    std::cout << c->dir().filename().string() << ": " << c->count() << " seeds\n";
    if (c->count() == 0) return 1;
  }
  return 0;
}
