// The operator console's request handling on any request: the application
// runs on a simulated machine, the console is wired to it as the launcher
// wires it, and each input is one request handed to OperatorConsole::Handle
// without a socket.
//
// An input is a byte of flags, then the request as lines:
//
//   FLAGS METHOD "\n" TARGET "\n" (NAME ": " VALUE "\n")* "\n" BODY
//
// TARGET is the path with an optional "?" query of "&"-separated KEY=VALUE
// pairs, taken as they stand (the HTTP server has decoded them by the time
// the console sees them). The bits of FLAGS add what a fuzzer cannot guess:
// 1 the right "Authorization: Bearer" header, 2 the cookie of a live session,
// 4 an Origin of the console's own address, 8 the right token in the query
// (for /login), 16 operator steps by number: the body's bytes, two a step,
// pick a form and one of its commands from the console's own list of forms
// (the high bit of the first also opens the form), so that every command
// is within reach without the fuzzer having to spell its name. With bits 1
// and 2, most inputs pass the token check and reach the API behind it.
//
// Besides not crashing, the console keeps these: a request without the token
// or a session is refused (401) unless it is /login or a page's own file; one
// with them is never refused so; every JSON answer parses; /login gives a
// session exactly when the right token comes with it; an operator answer of
// 200 carries no error; the event stream's first frame is an SSE frame of
// JSON.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/legacy.h"
#include "console/http_console.h"
#include "core/app.h"
#include "core/commands.h"
#include "core/console_hooks.h"
#include "platform/forwarding_platform.h"
#include "platform/sim/sim_platform.h"

namespace {

using nlohmann::json;

// Inputs handled by one application before a fresh one takes over.
constexpr int kInputsPerApplication = 256;
// The most operator steps one input runs: a step can cost minutes of the
// simulated clock, each of its seconds a whole cycle of the program.
constexpr size_t kMaxSteps = 8;
// The most mail recipients the application is left with: a send with no
// relay to reach tries each for three seconds of the simulated clock.
constexpr size_t kMaxRecipients = 4;

enum Flags : uint8_t { kBearer = 1, kSession = 2, kOrigin = 4, kLoginToken = 8, kNumbered = 16 };

// A server with its system-information program and memory tool.
constexpr const char* kScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50},
  "commands": {
    "Systeminfo.exe": "\r\nHost Name:                 SRV1\r\nOS Name:                   Microsoft Windows Server 2008 R2 Standard \r\nTotal Physical Memory:     4,095 MB\r\n",
    "ram.exe -i": "1x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n"
  }
})";

// The console is driven through Handle only: its server takes the address
// and never opens a socket.
class UnopenedServer : public tarnex::HttpServer {
 public:
  std::string Listen(const std::string&, int port, Handler) override {
    port_ = port;
    return {};
  }
  int Port() const override { return port_; }

 private:
  int port_ = 0;
};

class ConsolePlatform : public tarnex::ForwardingPlatform {
 public:
  using ForwardingPlatform::ForwardingPlatform;
  std::unique_ptr<tarnex::HttpServer> NewHttpServer() override {
    return std::make_unique<UnopenedServer>();
  }
};

// The stream of /api/events: it takes the first frame and closes, as a
// client that leaves at once does.
class FirstFrameStream : public tarnex::HttpStream {
 public:
  bool Send(const std::string& text) override {
    if (!open_) return false;
    sent_ += text;
    open_ = false;
    return true;
  }
  bool Open() const override { return open_; }
  size_t Pending() const override { return 0; }
  const std::string& sent() const { return sent_; }

 private:
  bool open_ = true;
  std::string sent_;
};

class Harness {
 public:
  Harness() {
    char pattern[] = "/tmp/tarnex-fuzz-console-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr) std::abort();
    dir_ = made;
    tarnex::SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = tarnex::SimPlatform::FromText(kScenario, options, error);
    if (!sim_) std::abort();
    platform_ = std::make_unique<ConsolePlatform>(*sim_);
    app_ = std::make_unique<tarnex::App>(*platform_, dir_);
    if (!app_->FormLoad()) std::abort();
    console_ =
        std::make_unique<tarnex::OperatorConsole>(app_->ctx(), tarnex::ConsoleHooksFor(*app_));
    if (!console_->Start("127.0.0.1", tarnex::OperatorConsole::kDefaultPort, TARNEX_WEB_DIR)
             .empty()) {
      std::abort();
    }
    tarnex::HttpRequest login;
    login.method = "GET";
    login.path = "/login";
    login.query["token"] = console_->Token();
    tarnex::HttpResponse response;
    console_->Handle(login, response);
    if (!KeepSession(response)) std::abort();
    forms_ = tarnex::ConsoleHooksFor(*app_).forms();
  }
  ~Harness() {
    console_.reset();
    app_.reset();
    platform_.reset();
    sim_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  void Run(const uint8_t* data, size_t size);
  // Whether earlier inputs left the application where the next ones would
  // take too long: a long list of recipients, or a back-up under way, whose
  // clock then waits five seconds at each tick, inside any other wait, until
  // the companion ends.
  bool Crowded() const {
    const tarnex::ServerModel& m = app_->model();
    return m.EmailFormList1.size() > kMaxRecipients || m.BackupState == 1 || m.BackupState == 2;
  }

 private:
  // The steps that the bytes of `body` pick, two bytes a step.
  json NumberedSteps(const std::string& body) const {
    json steps = json::array();
    if (forms_.empty()) return steps;
    for (size_t i = 0; i + 1 < body.size(); i += 2) {
      const auto a = static_cast<uint8_t>(body[i]);
      const auto b = static_cast<uint8_t>(body[i + 1]);
      const json& form = forms_[(a & 0x7f) % forms_.size()];
      json step = {{"form", form["form"]}};
      if (a & 0x80) step["open"] = true;
      const json& commands = form["commands"];
      if (!commands.empty()) step["do"] = commands[b % commands.size()];
      steps.push_back(std::move(step));
    }
    return steps;
  }

  // Takes the session a /login response sets; false when it sets none.
  bool KeepSession(const tarnex::HttpResponse& response) {
    const std::string prefix = std::string(tarnex::OperatorConsole::kCookie) + "=";
    for (const auto& [name, value] : response.headers) {
      if (name != "Set-Cookie" || value.compare(0, prefix.size(), prefix) != 0) continue;
      session_ = value.substr(prefix.size(), value.find(';') - prefix.size());
      return !session_.empty();
    }
    return false;
  }

  std::string dir_;
  std::unique_ptr<tarnex::SimPlatform> sim_;
  std::unique_ptr<ConsolePlatform> platform_;
  std::unique_ptr<tarnex::App> app_;
  std::unique_ptr<tarnex::OperatorConsole> console_;
  std::string session_;  // the newest session, which the console still keeps
  json forms_;           // the forms with their commands
};

// The next line of `text` from `pos`, without its "\n"; `pos` moves past it.
std::string NextLine(const std::string& text, size_t& pos) {
  if (pos >= text.size()) return {};
  size_t end = text.find('\n', pos);
  if (end == std::string::npos) end = text.size();
  std::string line = text.substr(pos, end - pos);
  pos = end + 1;
  return line;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Whether the harness passes over these operator steps: more than kMaxSteps
// of them, or steps that would end the program (closing the main window, or
// its two exit commands). Those stop the event loop for good, after which
// every wait of the application returns at once and no later input would be
// handled as the running program handles it.
bool PassOver(const std::string& body) {
  const json parsed = json::parse(body, nullptr, false);
  std::vector<json> steps;
  if (parsed.is_object()) steps.push_back(parsed);
  if (parsed.is_array()) steps.assign(parsed.begin(), parsed.end());
  if (steps.size() > kMaxSteps) return true;
  for (const json& step : steps) {
    if (!step.is_object()) continue;
    std::string form;
    if (step.contains("form") && step["form"].is_string()) form = step["form"].get<std::string>();
    if (!form.empty() && tarnex::legacy::LCase(form) != "mainfrm") continue;
    if (step.contains("close") && step["close"] == true) return true;
    if (step.contains("do") && step["do"].is_string()) {
      const std::string command = tarnex::legacy::LCase(step["do"].get<std::string>());
      if (command == "command2" || command == "mnuexit") return true;
    }
  }
  return false;
}

bool IsAsset(const std::string& path) {
  return path == "/" || path == "/index.html" || path == "/console.css" || path == "/console.js";
}

}  // namespace

void Harness::Run(const uint8_t* data, size_t size) {
  if (size == 0) return;
  const uint8_t flags = data[0];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);

  tarnex::HttpRequest request;
  size_t pos = 0;
  request.method = NextLine(text, pos);
  const std::string target = NextLine(text, pos);
  const size_t mark = target.find('?');
  request.path = target.substr(0, mark);
  if (mark != std::string::npos) {
    const std::string query = target.substr(mark + 1);
    size_t at = 0;
    while (at <= query.size()) {
      size_t amp = query.find('&', at);
      if (amp == std::string::npos) amp = query.size();
      const std::string pair = query.substr(at, amp - at);
      const size_t eq = pair.find('=');
      request.query[pair.substr(0, eq)] = eq == std::string::npos ? "" : pair.substr(eq + 1);
      at = amp + 1;
    }
  }
  while (pos < text.size()) {
    const std::string line = NextLine(text, pos);
    if (line.empty()) break;
    const size_t colon = line.find(':');
    std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
    value.erase(0, value.find_first_not_of(' ') == std::string::npos
                       ? value.size()
                       : value.find_first_not_of(' '));
    request.headers[Lower(line.substr(0, colon))] = value;
  }
  if (pos < text.size()) request.body = text.substr(pos);

  if (flags & kBearer) request.headers["authorization"] = "Bearer " + console_->Token();
  if (flags & kSession) {
    request.headers["cookie"] = std::string(tarnex::OperatorConsole::kCookie) + "=" + session_;
  }
  if (flags & kOrigin) request.headers["origin"] = console_->Address();
  if (flags & kLoginToken) request.query["token"] = console_->Token();

  if (flags & kNumbered) request.body = NumberedSteps(request.body).dump();
  if (request.path == "/api/operator" && PassOver(request.body)) return;

  tarnex::HttpResponse response;
  console_->Handle(request, response);

  if (response.status < 100 || response.status > 599) __builtin_trap();
  if (response.content_type == "application/json" &&
      json::parse(response.body, nullptr, false).is_discarded()) {
    __builtin_trap();
  }
  const bool open_door =
      request.path == "/login" ||
      ((request.method == "GET" || request.method == "HEAD") && IsAsset(request.path));
  if (!open_door) {
    // A token or a session the input makes up itself cannot be the right one.
    const bool bearer = (flags & kBearer) != 0;
    const bool session = (flags & kSession) != 0 && request.Header("authorization").empty();
    if ((bearer || session) != (response.status != 401)) __builtin_trap();
  }
  if (request.path == "/login") {
    const bool given = (flags & kLoginToken) != 0;
    if (given != (response.status == 303)) __builtin_trap();
    if (given && !KeepSession(response)) __builtin_trap();
  }
  if (request.path == "/api/operator" && response.status == 200) {
    const json answer = json::parse(response.body, nullptr, false);
    if (!answer.is_object() || !answer.value("error", std::string()).empty()) __builtin_trap();
  }
  if (response.stream) {
    auto stream = std::make_shared<FirstFrameStream>();
    response.stream(stream);
    const std::string head = "retry: 3000\n\nevent: frame\ndata: ";
    const std::string& sent = stream->sent();
    if (sent.compare(0, head.size(), head) != 0 || !sent.ends_with("\n\n") ||
        json::parse(sent.substr(head.size()), nullptr, false).is_discarded()) {
      __builtin_trap();
    }
  }

  // The operator's messages and questions pile up in the model for the
  // program's whole run; cleared here so that a long fuzz run does not spend
  // its time writing ever longer model dumps.
  tarnex::ServerModel& m = app_->model();
  m.OperatorMessages.clear();
  m.OperatorQuestions.clear();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The application keeps what earlier inputs did to it, as the running
  // program keeps what its operator did; it starts afresh now and then, and
  // whenever it is Crowded().
  static std::unique_ptr<Harness> harness;
  static int handled = 0;
  if (!harness || ++handled % kInputsPerApplication == 0 || harness->Crowded()) {
    harness.reset();
    harness = std::make_unique<Harness>();
  }
  harness->Run(data, size);
  return 0;
}
