// The live operator console: an HTTP server inside the event loop with the
// JSON API of the command layer, the live figures as Server-Sent Events and
// the metrics for Prometheus. Every request but the pages' static files
// needs the token that the console writes, readable by its owner only,
// under the installation folder; the console's address is written beside it.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/context.h"
#include "platform/http.h"

namespace tarnex {

// What the console asks of the orchestration, which it cannot see.
struct ConsoleHooks {
  // The model as the model dump writes it (the forms included).
  std::function<nlohmann::json()> model;
  // Runs operator steps (each as a step of the scenario's operator timeline
  // without its time). The answer: {"error": "" or what is wrong, "form":
  // the last step's form, "fields": that form's fields after the steps,
  // "messages" and "questions": those raised by the steps}.
  std::function<nlohmann::json(const std::vector<nlohmann::json>& steps)> operate;
  // The forms with their fields and commands: [{"form", "fields",
  // "commands"}], the main window first.
  std::function<nlohmann::json()> forms;
};

class OperatorConsole {
 public:
  static constexpr const char* kDefaultHost = "127.0.0.1";
  static constexpr int kDefaultPort = 41080;
  // Under the installation folder: the token (mode 0600) and the address.
  static constexpr const char* kTokenFile = "\\Bin\\Console.token";
  static constexpr const char* kAddressFile = "\\Bin\\Console.address";
  static constexpr const char* kCookie = "tarnex_session";
  // A comment line goes to every event stream this often, frames or not.
  static constexpr int64_t kHeartbeatMs = 15000;

  OperatorConsole(Context& ctx, ConsoleHooks hooks);
  ~OperatorConsole();
  OperatorConsole(const OperatorConsole&) = delete;
  OperatorConsole& operator=(const OperatorConsole&) = delete;

  // Listens, then writes the token and the address. "" when the console is
  // up, else what is wrong; the program runs on without it. The pages are
  // served from the host folder `web_dir`.
  std::string Start(const std::string& host, int port, const std::string& web_dir = {});
  // "http://HOST:PORT", once started.
  const std::string& Address() const { return address_; }
  const std::string& Token() const { return token_; }
  size_t Streams() const { return streams_.size(); }

  // The answer to one request; public so that it can be driven without a
  // socket.
  void Handle(const HttpRequest& request, HttpResponse& response);

 private:
  bool Authorized(const HttpRequest& request) const;
  bool SameOrigin(const HttpRequest& request) const;
  void Login(const HttpRequest& request, HttpResponse& response);
  void Model(const HttpRequest& request, HttpResponse& response);
  void Operator(const HttpRequest& request, HttpResponse& response);
  void Events(HttpResponse& response);
  void Metrics(HttpResponse& response);
  // A page's own file; false when `path` names none.
  bool Asset(const std::string& path, HttpResponse& response);
  // Each second: the frame to every stream.
  void Tick();

  Context& ctx_;
  ConsoleHooks hooks_;
  std::unique_ptr<HttpServer> server_;
  std::string host_;
  int port_ = 0;
  std::string address_;
  std::string token_;
  std::string web_dir_;
  std::deque<std::string> sessions_;  // the newest last
  std::vector<std::shared_ptr<HttpStream>> streams_;
  nlohmann::json last_;  // the model as the last frame saw it
  int timer_ = 0;
  int64_t last_heartbeat_ = 0;
};

// "HOST:PORT" (an IPv6 host in brackets) or "off". False when it is neither;
// `host` is left empty for "off".
bool ParseConsoleAddress(const std::string& text, std::string& host, int& port);

}  // namespace tarnex
