#include "ctl.h"

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/native/http_client.h"
#include "platform/native/process.h"

namespace tarnex {

namespace {

using nlohmann::json;

constexpr int kFailure = 1;
constexpr int kUsage = 2;

const char* const kCtlHelp =
    "Usage: tarnex-server ctl [--app-path DIR] COMMAND [ARGS]\n"
    "\n"
    "Talks to the operator console of the server running from the installation folder\n"
    "DIR (default: the folder of this program), whose address and token are read from\n"
    "DIR/Bin/Console.address and DIR/Bin/Console.token.\n"
    "\n"
    "Commands:\n"
    "  model [FIELD ...]      print the model as JSON, or only the fields named (a form's\n"
    "                         field as FORM.FIELD)\n"
    "  do [FORM] COMMAND      invoke a command of a form (the main window when no form\n"
    "                         is named) and print what it left\n"
    "  set [FORM] FIELD=VALUE ... [--do COMMAND]\n"
    "                         set fields of a form, then invoke a command if asked\n"
    "  watch [--count N]      the live figures, refreshed each second (N frames, then stop)\n"
    "  steps FILE             run the steps of a file: a step or a list of steps, each as\n"
    "                         in a scenario's operator timeline without \"at\"\n"
    "\n"
    "'tarnex-server ctl COMMAND --help' tells more of a command. The exit code is 0 on\n"
    "success, 1 when the server refused or could not be reached, 2 for a wrong command.\n";

const char* const kModelHelp =
    "Usage: tarnex-server ctl model [FIELD ...]\n"
    "\n"
    "Prints the server model as JSON, as --dump-model writes it, or only the fields\n"
    "named; a form's field is named FORM.FIELD (frmServer.Top).\n";
const char* const kDoHelp =
    "Usage: tarnex-server ctl do [FORM] COMMAND\n"
    "\n"
    "Invokes a command by its control's name (mnulogall5, Command1, menuBU ...) on the\n"
    "form named, or on the main window, then prints the form's fields and any message\n"
    "or question the command raised.\n";
const char* const kSetHelp =
    "Usage: tarnex-server ctl set [FORM] FIELD=VALUE ... [--do COMMAND]\n"
    "\n"
    "Sets fields of the form named (the main window when the first word holds an '='),\n"
    "then invokes COMMAND when given. A VALUE that starts with '[' or '{', and true and\n"
    "false, are read as JSON; any other is a text, which number fields read as a number.\n";
const char* const kWatchHelp =
    "Usage: tarnex-server ctl watch [--count N]\n"
    "\n"
    "Shows the main window's figures, refreshed with each frame the server sends\n"
    "(one a second), until interrupted or until N frames have come.\n";
const char* const kStepsHelp =
    "Usage: tarnex-server ctl steps FILE\n"
    "\n"
    "Runs the steps of FILE, a JSON step or list of steps in the form of a scenario's\n"
    "operator timeline without \"at\": {\"form\", \"open\", \"set\", \"answer\", \"do\",\n"
    "\"close\"}. All are checked before any runs. Prints the server's answer.\n";

int Fail(const std::string& message) {
  std::cerr << "tarnex-server ctl: " << message << "\n";
  return kFailure;
}

int Usage(const std::string& message) {
  std::cerr << "tarnex-server ctl: " << message << "\n"
            << "Try 'tarnex-server ctl --help' for more information.\n";
  return kUsage;
}

bool ReadText(const std::string& path, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream s;
  s << in.rdbuf();
  text = s.str();
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return true;
}

struct Console {
  std::string address;
  std::string token;

  HttpReply Call(const std::string& method, const std::string& target,
                 const std::string& body = {}) const {
    HttpCall call;
    call.address = address;
    call.method = method;
    call.target = target;
    call.headers = {{"Authorization", "Bearer " + token}};
    if (method == "POST") call.headers.push_back({"Content-Type", "application/json"});
    call.body = body;
    return HttpFetch(call);
  }
};

// The answer's error, or what went wrong on the way.
std::string Problem(const HttpReply& r) {
  if (r.status == 0) return r.error;
  if (r.status == 401) return "the console refused the token (has the server restarted?)";
  const json body = json::parse(r.body, nullptr, false);
  if (body.is_object() && body.contains("error") && body["error"].is_string() &&
      !body["error"].get<std::string>().empty()) {
    return body["error"].get<std::string>();
  }
  return "the console answered " + std::to_string(r.status);
}

// A query's value with the characters a URL holds specially escaped.
std::string Escape(const std::string& text) {
  static const char* const digits = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '.' || c == '_' || c == '-' || c == ',' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += digits[c >> 4];
      out += digits[c & 15];
    }
  }
  return out;
}

int Model(const Console& c, const std::vector<std::string>& args) {
  std::string target = "/api/model";
  if (!args.empty()) {
    std::string fields;
    for (const auto& a : args) fields += (fields.empty() ? "" : ",") + a;
    target += "?fields=" + Escape(fields);
  }
  const HttpReply r = c.Call("GET", target);
  if (r.status != 200) return Fail(Problem(r));
  const json body = json::parse(r.body, nullptr, false);
  if (body.is_discarded()) return Fail("the console's answer is not JSON");
  std::cout << body.dump(2) << "\n";
  return 0;
}

int Operate(const Console& c, const json& steps) {
  const HttpReply r = c.Call("POST", "/api/operator", steps.dump());
  const json body = json::parse(r.body, nullptr, false);
  if (r.status == 200 && body.is_object()) {
    std::cout << body.dump(2) << "\n";
    return 0;
  }
  if (body.is_object() && body.contains("done")) std::cout << body.dump(2) << "\n";
  return Fail(Problem(r));
}

json ValueOf(const std::string& text) {
  if (text == "true" || text == "false" || (!text.empty() && (text[0] == '[' || text[0] == '{'))) {
    const json v = json::parse(text, nullptr, false);
    if (!v.is_discarded()) return v;
  }
  return text;
}

// The main window's figures, as its panels group them.
void Show(const json& m, bool tty) {
  const auto text = [&m](const char* name) -> std::string {
    return m.contains(name) && m[name].is_string() ? m[name].get<std::string>() : "";
  };
  std::ostringstream o;
  if (tty) o << "\x1b[H\x1b[2J";
  o << text("ComputerName") << "  " << text("time") << "\n"
    << "Processor  " << text("CPUUsage") << " %   " << text("CPUMHZ") << "\n"
    << "           " << text("procnum") << "   " << text("procnumb") << "   " << text("Label39")
    << "\n"
    << "           " << text("Label38") << "\n"
    << "Memory     " << text("free") << "   " << text("used") << "\n"
    << "           " << text("Label30") << "   " << text("Label42") << "\n"
    << "Disk       " << text("Label45") << "   " << text("Label46") << "\n"
    << "           " << text("Label47") << "   " << text("Label48") << "\n"
    << "Network    " << text("upthru") << "   " << text("dnthru") << "\n"
    << "           " << text("Label24") << "   " << text("Label25") << "\n"
    << "Back-up    " << text("Label20") << "   " << text("Label21") << "\n"
    << "Link       " << text("Label34") << "\n";
  const std::string findings = text("BNText");
  if (!findings.empty()) o << "Findings\n" << findings << "\n";
  if (!tty) o << "\n";
  std::cout << o.str() << std::flush;
}

int Watch(const Console& c, long count) {
  json model = json::object();
  long frames = 0;
  const bool tty = isatty(1) != 0;
  HttpCall call;
  call.address = c.address;
  call.target = "/api/events";
  call.headers = {{"Authorization", "Bearer " + c.token}};
  call.on_body = EventStreamReader([&](const std::string& event, const std::string& data) {
    if (event != "frame") return true;
    const json frame = json::parse(data, nullptr, false);
    if (!frame.is_object()) return true;
    if (frame.contains("changed") && frame["changed"].is_object()) {
      for (const auto& [k, v] : frame["changed"].items()) model[k] = v;
    }
    model["time"] = frame.value("time", std::string());
    Show(model, tty);
    return count <= 0 || ++frames < count;
  });
  const HttpReply r = HttpFetch(call);
  if (r.status != 200) return Fail(Problem(r));
  if (count > 0 && frames < count) return Fail("the server closed the stream");
  return 0;
}

bool WantsHelp(const std::vector<std::string>& args) {
  for (const auto& a : args) {
    if (a == "--help" || a == "-h") return true;
  }
  return false;
}

}  // namespace

int RunCtl(int argc, char** argv) {
  std::string app_path;
  std::vector<std::string> words;
  for (int i = 0; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--app-path" && words.empty()) {
      if (i + 1 >= argc) return Usage("option --app-path needs a value");
      app_path = argv[++i];
    } else {
      words.push_back(a);
    }
  }
  if (words.empty()) return Usage("a command is needed: model, do, set, watch or steps");
  const std::string command = words[0];
  const std::vector<std::string> args(words.begin() + 1, words.end());
  if (command == "--help" || command == "-h" || command == "help") {
    std::cout << kCtlHelp;
    return 0;
  }
  const char* help = command == "model"   ? kModelHelp
                     : command == "do"    ? kDoHelp
                     : command == "set"   ? kSetHelp
                     : command == "watch" ? kWatchHelp
                     : command == "steps" ? kStepsHelp
                                          : nullptr;
  if (help == nullptr) return Usage("unknown command '" + command + "'");
  if (WantsHelp(args)) {
    std::cout << help;
    return 0;
  }

  // Check the words before the server is asked.
  json steps;
  long count = 0;
  if (command == "do") {
    if (args.empty() || args.size() > 2) return Usage("do takes [FORM] COMMAND");
    steps = {{"do", args.back()}};
    if (args.size() == 2) steps["form"] = args[0];
  } else if (command == "set") {
    json step = json::object();
    json set = json::object();
    for (size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--do") {
        if (i + 1 >= args.size()) return Usage("--do needs a command");
        step["do"] = args[++i];
      } else if (a.find('=') != std::string::npos) {
        const size_t eq = a.find('=');
        if (eq == 0) return Usage("'" + a + "' names no field");
        set[a.substr(0, eq)] = ValueOf(a.substr(eq + 1));
      } else if (i == 0) {
        step["form"] = a;
      } else {
        return Usage("set takes FIELD=VALUE, not '" + a + "'");
      }
    }
    if (set.empty()) return Usage("set needs at least one FIELD=VALUE");
    step["set"] = set;
    steps = step;
  } else if (command == "steps") {
    if (args.size() != 1) return Usage("steps takes one FILE");
    std::string text;
    if (!ReadText(args[0], text)) return Fail("cannot read " + args[0]);
    steps = json::parse(text, nullptr, false);
    if (steps.is_discarded()) return Fail(args[0] + " is not JSON");
  } else if (command == "watch") {
    for (size_t i = 0; i < args.size(); ++i) {
      if (args[i] == "--count" && i + 1 < args.size()) {
        char* end = nullptr;
        count = std::strtol(args[i + 1].c_str(), &end, 10);
        if (*end != '\0' || count < 1) return Usage("--count takes a number more than 0");
        ++i;
      } else {
        return Usage("watch takes [--count N], not '" + args[i] + "'");
      }
    }
  }

  if (app_path.empty()) {
    app_path = ExecutablePath();
    app_path = app_path.substr(0, app_path.find_last_of('/'));
  }
  Console c;
  if (!ReadText(app_path + "/Bin/Console.address", c.address) ||
      !ReadText(app_path + "/Bin/Console.token", c.token)) {
    return Fail("no console found under " + app_path +
                " (Bin/Console.address and Bin/Console.token): is the server running there, "
                "with its console on, and may this user read its token?");
  }

  if (command == "model") return Model(c, args);
  if (command == "watch") return Watch(c, count);
  return Operate(c, steps);
}

}  // namespace tarnex
