#include "console/http_console.h"

#include "base/legacy.h"
#include "base/port.h"
#include "console/metrics.h"

namespace tarnex {

namespace {

constexpr size_t kTokenBytes = 32;
// Sessions kept from /login; the oldest is forgotten past this.
constexpr size_t kMaxSessions = 64;
constexpr int64_t kFrameMs = 1000;

const auto kReplace = nlohmann::json::error_handler_t::replace;

std::string Hex(const std::string& bytes) {
  static const char* const digits = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

// Compares without stopping at the first difference, so that the time taken
// tells nothing of how much of a guess was right.
bool SameSecret(const std::string& a, const std::string& b) {
  if (a.size() != b.size() || a.empty()) return false;
  unsigned char diff = 0;
  for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
  return diff == 0;
}

void Json(HttpResponse& response, int status, const nlohmann::json& body) {
  response.status = status;
  response.content_type = "application/json";
  response.body = body.dump(-1, ' ', false, kReplace);
}

void Error(HttpResponse& response, int status, const std::string& what) {
  Json(response, status, {{"error", what}});
}

bool Loopback(const std::string& host) {
  return host == "127.0.0.1" || host == "::1" || host == "localhost";
}

// The value of a cookie in a Cookie header, or "".
std::string CookieValue(const std::string& header, const std::string& name) {
  size_t pos = 0;
  while (pos < header.size()) {
    size_t end = header.find(';', pos);
    if (end == std::string::npos) end = header.size();
    std::string pair = header.substr(pos, end - pos);
    const size_t start = pair.find_first_not_of(' ');
    pair = start == std::string::npos ? "" : pair.substr(start);
    if (pair.compare(0, name.size() + 1, name + "=") == 0) return pair.substr(name.size() + 1);
    pos = end + 1;
  }
  return {};
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

bool ParseConsoleAddress(const std::string& text, std::string& host, int& port) {
  host.clear();
  port = 0;
  if (text == "off") return true;
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  std::string h = text.substr(0, colon);
  if (h.front() == '[') {
    if (h.size() < 3 || h.back() != ']') return false;
    h = h.substr(1, h.size() - 2);
  } else if (h.find(':') != std::string::npos) {
    return false;  // an IPv6 host goes in brackets
  }
  int p = 0;
  if (!ParsePort(text.substr(colon + 1), p)) return false;
  host = h;
  port = p;
  return true;
}

OperatorConsole::OperatorConsole(Context& ctx, ConsoleHooks hooks)
    : ctx_(ctx), hooks_(std::move(hooks)) {}

OperatorConsole::~OperatorConsole() {
  if (timer_ != 0) ctx_.loop().RemoveTimer(timer_);
  streams_.clear();
  server_.reset();
}

std::string OperatorConsole::Start(const std::string& host, int port, const std::string& web_dir) {
  if (server_) return "the console is running already";
  std::string bytes;
  if (!ctx_.platform().RandomBytes(bytes, kTokenBytes)) {
    return "the console has no token: this machine gives no random bytes";
  }
  auto server = ctx_.platform().NewHttpServer();
  if (!server) return "this machine cannot serve the console";
  const std::string problem = server->Listen(
      host, port,
      [this](const HttpRequest& request, HttpResponse& response) { Handle(request, response); });
  if (!problem.empty()) return problem;

  host_ = host;
  web_dir_ = web_dir;
  port_ = server->Port();
  const std::string shown = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  address_ = "http://" + shown + ":" + std::to_string(port_);
  token_ = Hex(bytes);

  Files& fs = ctx_.fs();
  if (!fs.FolderExists(ctx_.Path("\\Bin"))) fs.MakeFolder(ctx_.Path("\\Bin"));
  const std::string token_path = fs.Native(ctx_.Path(kTokenFile));
  const std::string address_path = fs.Native(ctx_.Path(kAddressFile));
  if (token_path.empty() || !fs.Replace(token_path, token_ + "\n", 0600)) {
    return "cannot write the console's token to " + ctx_.Path(kTokenFile);
  }
  if (address_path.empty() || !fs.Replace(address_path, address_ + "\n", 0644)) {
    return "cannot write the console's address to " + ctx_.Path(kAddressFile);
  }
  server_ = std::move(server);
  timer_ = ctx_.loop().AddTimer([this] { Tick(); });
  ctx_.loop().SetTimerInterval(timer_, kFrameMs);
  return {};
}

bool OperatorConsole::Authorized(const HttpRequest& request) const {
  const std::string authorization = request.Header("authorization");
  if (authorization.compare(0, 7, "Bearer ") == 0) {
    return SameSecret(authorization.substr(7), token_);
  }
  if (!authorization.empty()) return false;
  const std::string session = CookieValue(request.Header("cookie"), kCookie);
  for (const std::string& s : sessions_) {
    if (SameSecret(session, s)) return true;
  }
  return false;
}

bool OperatorConsole::SameOrigin(const HttpRequest& request) const {
  const std::string origin = Lower(request.Header("origin"));
  // A client other than a browser sends no origin; it has shown the token
  // itself, which a page of another site cannot make a browser do.
  if (origin.empty()) return !request.Header("authorization").empty();
  if (origin == Lower(address_)) return true;
  // Through a tunnel the same port on this machine's other loopback names.
  if (Loopback(host_)) {
    const std::string port = ":" + std::to_string(port_);
    for (const char* name : {"http://127.0.0.1", "http://localhost", "http://[::1]"}) {
      if (origin == name + port) return true;
    }
  }
  return false;
}

void OperatorConsole::Handle(const HttpRequest& request, HttpResponse& response) {
  if (request.path == "/login") {
    Login(request, response);
    return;
  }
  // The pages' own files are the same for everyone; what they show comes
  // from the API.
  if ((request.method == "GET" || request.method == "HEAD") && Asset(request.path, response)) {
    return;
  }
  if (!Authorized(request)) {
    response.status = 401;
    response.content_type.clear();
    response.headers.push_back({"WWW-Authenticate", "Bearer"});
    return;
  }
  const bool get = request.method == "GET" || request.method == "HEAD";
  if (request.path == "/api/model") {
    if (!get) return Error(response, 405, "use GET");
    Model(request, response);
  } else if (request.path == "/api/operator") {
    if (request.method != "POST") return Error(response, 405, "use POST");
    if (!SameOrigin(request)) return Error(response, 403, "the request comes from another site");
    Operator(request, response);
  } else if (request.path == "/api/events") {
    if (!get) return Error(response, 405, "use GET");
    Events(response);
  } else if (request.path == "/api/forms") {
    if (!get) return Error(response, 405, "use GET");
    Json(response, 200, hooks_.forms ? hooks_.forms() : nlohmann::json::array());
  } else if (request.path == "/metrics") {
    if (!get) return Error(response, 405, "use GET");
    Metrics(response);
  } else {
    Error(response, 404, "no such page: " + request.path);
  }
}

void OperatorConsole::Login(const HttpRequest& request, HttpResponse& response) {
  const auto it = request.query.find("token");
  std::string session;
  if (it == request.query.end() || !SameSecret(it->second, token_) ||
      !ctx_.platform().RandomBytes(session, kTokenBytes)) {
    response.status = 401;
    response.content_type.clear();
    return;
  }
  session = Hex(session);
  sessions_.push_back(session);
  if (sessions_.size() > kMaxSessions) sessions_.pop_front();
  response.status = 303;
  response.content_type.clear();
  response.headers.push_back(
      {"Set-Cookie", std::string(kCookie) + "=" + session + "; Path=/; HttpOnly; SameSite=Strict"});
  response.headers.push_back({"Location", "/"});
}

void OperatorConsole::Model(const HttpRequest& request, HttpResponse& response) {
  const nlohmann::json model = hooks_.model();
  const auto it = request.query.find("fields");
  if (it == request.query.end()) return Json(response, 200, model);
  nlohmann::json out = nlohmann::json::object();
  size_t pos = 0;
  const std::string& list = it->second;
  while (pos <= list.size()) {
    size_t comma = list.find(',', pos);
    if (comma == std::string::npos) comma = list.size();
    const std::string name = list.substr(pos, comma - pos);
    pos = comma + 1;
    if (name.empty()) continue;
    if (model.contains(name)) {
      out[name] = model[name];
      continue;
    }
    // A form's field: "form.field", the form's name in any case.
    const size_t dot = name.find('.');
    bool found = false;
    if (dot != std::string::npos && model.contains("forms")) {
      for (const auto& [form, fields] : model["forms"].items()) {
        if (Lower(form) != Lower(name.substr(0, dot))) continue;
        const std::string field = name.substr(dot + 1);
        if (fields.contains(field)) {
          out[name] = fields[field];
          found = true;
        }
      }
    }
    if (!found) return Error(response, 400, "the model has no field '" + name + "'");
  }
  Json(response, 200, out);
}

void OperatorConsole::Operator(const HttpRequest& request, HttpResponse& response) {
  const nlohmann::json body = nlohmann::json::parse(request.body, nullptr, false);
  if (body.is_discarded()) return Error(response, 400, "the body is not JSON");
  std::vector<nlohmann::json> steps;
  if (body.is_object()) {
    steps.push_back(body);
  } else if (body.is_array()) {
    for (const auto& step : body) steps.push_back(step);
  }
  if (steps.empty()) return Error(response, 400, "the body must be a step or a list of steps");
  for (size_t i = 0; i < steps.size(); ++i) {
    if (!steps[i].is_object()) {
      return Error(response, 400, "step " + std::to_string(i + 1) + " is not an object");
    }
    if (steps[i].contains("at")) {
      return Error(response, 400,
                   "step " + std::to_string(i + 1) + " has a time: the console's steps run now");
    }
  }
  const nlohmann::json answer = hooks_.operate(steps);
  const bool done = answer.value("error", std::string()).empty();
  Json(response, done ? 200 : 400, answer);
}

void OperatorConsole::Events(HttpResponse& response) {
  response.content_type = "text/event-stream";
  response.headers.push_back({"Cache-Control", "no-cache"});
  response.stream = [this](std::shared_ptr<HttpStream> stream) {
    // The first frame carries every field; the next ones what changed.
    const nlohmann::json model = hooks_.model();
    const nlohmann::json frame = {{"time", legacy::FormatDate(ctx_.Now(), "yyyy-mm-dd hh:nn:ss")},
                                  {"frame", legacy::Cp1252ToUtf8(ctx_.model().StatusFrame)},
                                  {"changed", model}};
    if (!stream->Send("retry: 3000\n\nevent: frame\ndata: " + frame.dump(-1, ' ', false, kReplace) +
                      "\n\n")) {
      return;
    }
    if (streams_.empty()) {
      last_ = model;
      last_heartbeat_ = ctx_.loop().MonotonicMs();
      ctx_.loop().SetTimerEnabled(timer_, true);
    }
    streams_.push_back(std::move(stream));
  };
}

bool OperatorConsole::Asset(const std::string& path, HttpResponse& response) {
  // Only these names: nothing else of the folder, nor of the machine, is
  // ever served.
  static const struct {
    const char* path;
    const char* file;
    const char* type;
  } kAssets[] = {{"/", "index.html", "text/html; charset=utf-8"},
                 {"/index.html", "index.html", "text/html; charset=utf-8"},
                 {"/console.css", "console.css", "text/css; charset=utf-8"},
                 {"/console.js", "console.js", "text/javascript; charset=utf-8"},
                 {"/pages.js", "pages.js", "text/javascript; charset=utf-8"}};
  for (const auto& a : kAssets) {
    if (path != a.path) continue;
    std::string content;
    FileInfo info;
    if (web_dir_.empty() ||
        !ctx_.fs().ReadFile(web_dir_ + "/" + a.file, content, info, HttpServer::kMaxBody)) {
      Error(response, 404, "the console's pages are not installed");
      return true;
    }
    response.content_type = a.type;
    response.headers.push_back({"Cache-Control", "no-cache"});
    response.body = std::move(content);
    return true;
  }
  return false;
}

void OperatorConsole::Metrics(HttpResponse& response) {
  response.content_type = "text/plain; version=0.0.4; charset=utf-8";
  const ServerModel& m = ctx_.model();
  response.body = MetricsText(m, ctx_.ReadCounter(m.hUpTime));
}

void OperatorConsole::Tick() {
  std::erase_if(streams_, [](const auto& s) { return !s->Open(); });
  if (streams_.empty()) {
    ctx_.loop().SetTimerEnabled(timer_, false);
    last_ = nullptr;
    return;
  }
  const nlohmann::json model = hooks_.model();
  nlohmann::json changed = nlohmann::json::object();
  for (const auto& [name, value] : model.items()) {
    if (!last_.is_object() || !last_.contains(name) || last_[name] != value) changed[name] = value;
  }
  last_ = model;
  const nlohmann::json frame = {{"time", legacy::FormatDate(ctx_.Now(), "yyyy-mm-dd hh:nn:ss")},
                                {"frame", legacy::Cp1252ToUtf8(ctx_.model().StatusFrame)},
                                {"changed", changed}};
  std::string text = "event: frame\ndata: " + frame.dump(-1, ' ', false, kReplace) + "\n\n";
  const int64_t now = ctx_.loop().MonotonicMs();
  if (now - last_heartbeat_ >= kHeartbeatMs) {
    text += ": heartbeat\n\n";
    last_heartbeat_ = now;
  }
  // A stream whose client stopped reading overflows its bound and closes.
  for (const auto& s : streams_) s->Send(text);
  std::erase_if(streams_, [](const auto& s) { return !s->Open(); });
}

}  // namespace tarnex
