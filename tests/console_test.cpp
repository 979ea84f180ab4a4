// The operator console through real HTTP on loopback: the program runs on the
// simulated machine paced to real time, its console on a free port, and the
// tests talk to it as the shell and a browser would.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "base/port.h"
#include "console/http_console.h"
#include "platform/native/http_client.h"
#include "platform/native/http_server.h"
#include "platform/native/time_sources.h"
#include "tests/server_process.h"
#include "tests/test_support.h"

namespace tarnex::testing {
namespace {

using nlohmann::json;

// Long enough for a slow machine; the tests wait for what they need and stop
// the program themselves.
constexpr int kGiveUpTenths = 600;

std::string Trim(std::string text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  return text;
}

// A server started with its console on a free port of the loopback.
class ConsoleServer : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = MakeTempDir();
    app_ = dir_ + "/install";
    WriteFile(dir_ + "/scenario.json", kBasicScenario);
    out_ = open((dir_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    err_ = open((dir_ + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      Reap(pid_, 60);
    }
    close(out_);
    close(err_);
    std::filesystem::remove_all(dir_);
  }

  // Starts the program and waits for the console's address file.
  void Start(const std::string& speed = "1") {
    StartWith(
        {"--platform", "sim", "--quiet", "--scenario", dir_ + "/scenario.json", "--speed", speed});
  }
  void StartWith(std::vector<std::string> args) {
    args.insert(args.end(), {"--app-path", app_, "--run-for", "600", "--console", "127.0.0.1:0"});
    pid_ = Spawn(args, out_, err_);
    ASSERT_GT(pid_, 0);
    ASSERT_TRUE(WaitFor([&] { return !Trim(ReadFile(app_ + "/Bin/Console.address")).empty(); },
                        kGiveUpTenths))
        << ReadFile(dir_ + "/err");
    address_ = Trim(ReadFile(app_ + "/Bin/Console.address"));
    token_ = Trim(ReadFile(app_ + "/Bin/Console.token"));
  }

  HttpReply Call(const std::string& method, const std::string& target,
                 std::vector<std::pair<std::string, std::string>> headers = {},
                 const std::string& body = {}) const {
    HttpCall call;
    call.address = address_;
    call.method = method;
    call.target = target;
    call.headers = std::move(headers);
    call.body = body;
    return HttpFetch(call);
  }
  HttpReply Get(const std::string& target) const {
    return Call("GET", target, {{"Authorization", "Bearer " + token_}});
  }
  HttpReply Post(const std::string& target, const json& body) const {
    return Call("POST", target, {{"Authorization", "Bearer " + token_}}, body.dump());
  }

  std::string dir_, app_, address_, token_;
  int out_ = -1, err_ = -1;
  pid_t pid_ = -1;
};

TEST(ConsoleAddress, HostAndPortOrOff) {
  std::string host;
  int port = -1;
  ASSERT_TRUE(ParseConsoleAddress("127.0.0.1:41080", host, port));
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(port, 41080);
  ASSERT_TRUE(ParseConsoleAddress("[::1]:0", host, port));
  EXPECT_EQ(host, "::1");
  EXPECT_EQ(port, 0);
  ASSERT_TRUE(ParseConsoleAddress("off", host, port));
  EXPECT_EQ(host, "");
  for (const char* bad : {"", "127.0.0.1", ":80", "127.0.0.1:", "127.0.0.1:65536", "::1:80",
                          "127.0.0.1:8x", "[::1:80"}) {
    EXPECT_FALSE(ParseConsoleAddress(bad, host, port)) << bad;
  }
}

TEST(Port, OneToFiveDigitsFrom0To65535AndNothingElse) {
  int port = -1;
  ASSERT_TRUE(ParsePort("00080", port));
  EXPECT_EQ(port, 80);
  ASSERT_TRUE(ParsePort("65535", port));
  EXPECT_EQ(port, 65535);
  ASSERT_TRUE(ParsePort("0", port));
  EXPECT_EQ(port, 0);
  for (const char* bad : {"", "65536", "123456", "8x", "-1", " 80", "+80"}) {
    EXPECT_FALSE(ParsePort(bad, port)) << bad;
    EXPECT_EQ(port, 0) << "left as it was";
  }
}

TEST(HttpClientAddress, OnlyHttpWithAHostAndAPortFrom1To65535IsDialled) {
  for (const char* bad : {"http://127.0.0.1:0", "http://127.0.0.1:65536", "http://127.0.0.1",
                          "http://127.0.0.1:", "http://:80", "https://127.0.0.1:80", "127.0.0.1:80",
                          "http://127.0.0.1:8x"}) {
    HttpCall call;
    call.address = bad;
    const HttpReply r = HttpFetch(call);
    EXPECT_EQ(r.status, 0) << bad;
    EXPECT_EQ(r.error, std::string("not an address of the form http://HOST:PORT: '") + bad + "'");
  }
}

TEST_F(ConsoleServer, WithoutTheTokenOrWithAWrongOneEveryRequestGets401AndNothingElse) {
  ASSERT_NO_FATAL_FAILURE(Start());
  // The token: 64 hexadecimal digits, readable and writable by the owner only.
  struct stat st {};
  ASSERT_EQ(stat((app_ + "/Bin/Console.token").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(token_.size(), 64u);
  EXPECT_EQ(token_.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(address_.rfind("http://127.0.0.1:", 0), 0u) << address_;

  std::string wrong = token_;
  wrong[0] = wrong[0] == 'a' ? 'b' : 'a';
  for (const char* target : {"/api/model", "/api/events", "/api/forms", "/metrics", "/nothing"}) {
    for (const auto& headers : std::vector<std::vector<std::pair<std::string, std::string>>>{
             {},
             {{"Authorization", "Bearer " + wrong}},
             {{"Authorization", "Bearer "}},
             {{"Cookie", std::string(OperatorConsole::kCookie) + "=" + token_}}}) {
      const HttpReply r = Call("GET", target, headers);
      EXPECT_EQ(r.status, 401) << target << " " << r.error;
      EXPECT_EQ(r.body, "") << target;
    }
  }
  const HttpReply post = Call("POST", "/api/operator", {}, R"({"do":"mnulogall1"})");
  EXPECT_EQ(post.status, 401);
  EXPECT_EQ(post.body, "");
  EXPECT_EQ(Call("GET", "/login?token=" + wrong).status, 401);
  EXPECT_EQ(Call("GET", "/login").status, 401);

  // The right token opens a session: the cookie, then the main page.
  const HttpReply login = Call("GET", "/login?token=" + token_);
  EXPECT_EQ(login.status, 303);
  EXPECT_EQ(login.headers.at("location"), "/");
  const std::string cookie = login.headers.at("set-cookie");
  EXPECT_NE(cookie.find("HttpOnly"), std::string::npos) << cookie;
  EXPECT_NE(cookie.find("SameSite=Strict"), std::string::npos) << cookie;
  const std::string session = cookie.substr(0, cookie.find(';'));
  EXPECT_EQ(session.find(token_), std::string::npos) << "the session is not the token";
  const HttpReply model = Call("GET", "/api/model?fields=AppVersion", {{"Cookie", session}});
  EXPECT_EQ(model.status, 200) << model.body;
  EXPECT_EQ(json::parse(model.body), json({{"AppVersion", "0.80"}}));
  EXPECT_EQ(Get("/api/model?fields=AppVersion").status, 200);
}

TEST_F(ConsoleServer, ThePagesNeedNoTokenButWhatTheyShowDoes) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const HttpReply page = Call("GET", "/");
  ASSERT_EQ(page.status, 200) << page.body;
  EXPECT_EQ(page.headers.at("content-type"), "text/html; charset=utf-8");
  EXPECT_EQ(page.body, ReadFile(std::string(TARNEX_SOURCE_DIR) + "/web/index.html"));
  const HttpReply script = Call("GET", "/console.js");
  ASSERT_EQ(script.status, 200);
  EXPECT_EQ(script.headers.at("content-type"), "text/javascript; charset=utf-8");
  EXPECT_NE(script.body.find("api/events"), std::string::npos);
  EXPECT_EQ(Call("GET", "/console.css").status, 200);
  const HttpReply pages = Call("GET", "/pages.js");
  ASSERT_EQ(pages.status, 200);
  EXPECT_EQ(pages.body, ReadFile(std::string(TARNEX_SOURCE_DIR) + "/web/pages.js"));
  // Nothing else of the folder, nor of the machine.
  for (const char* other : {"/web/index.html", "/../CMakeLists.txt", "/Bin/Console.token"}) {
    EXPECT_EQ(Call("GET", other).status, 401) << other;
  }
  EXPECT_EQ(Call("GET", "/api/forms").status, 401);
  const HttpReply forms = Get("/api/forms");
  ASSERT_EQ(forms.status, 200);
  const json list = json::parse(forms.body);
  ASSERT_FALSE(list.empty());
  EXPECT_EQ(list[0]["form"], "MainFrm");
  bool server_console = false;
  for (const json& f : list) {
    if (f["form"] == "frmServer") server_console = f["fields"].size() > 0;
  }
  EXPECT_TRUE(server_console);
}

TEST_F(ConsoleServer, TheModelWholeOrTheFieldsNamed) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const HttpReply whole = Get("/api/model");
  ASSERT_EQ(whole.status, 200) << whole.error;
  EXPECT_EQ(whole.headers.at("content-type"), "application/json");
  const json model = json::parse(whole.body);
  // As the model dump has it: the model's fields and the forms'.
  EXPECT_EQ(model["AppPath"], app_);
  EXPECT_EQ(model["ComputerName"], "SRV1");
  ASSERT_TRUE(model["forms"].contains("frmServer"));
  EXPECT_FALSE(model["forms"]["frmServer"]["open"]);

  const HttpReply some = Get("/api/model?fields=ComputerName,frmserver.open,AppVersion");
  ASSERT_EQ(some.status, 200) << some.body;
  EXPECT_EQ(json::parse(some.body),
            json({{"ComputerName", "SRV1"}, {"frmserver.open", false}, {"AppVersion", "0.80"}}));

  const HttpReply unknown = Get("/api/model?fields=AppVersion,NoSuchField");
  EXPECT_EQ(unknown.status, 400);
  EXPECT_EQ(json::parse(unknown.body)["error"], "the model has no field 'NoSuchField'");
  EXPECT_EQ(Call("POST", "/api/model", {{"Authorization", "Bearer " + token_}}).status, 405);
}

TEST_F(ConsoleServer, OperatorStepsChangeTheModelAsInAScenario) {
  ASSERT_NO_FATAL_FAILURE(Start());
  // One step: the main window's field.
  HttpReply r = Post("/api/operator", {{"set", {{"BNPrograms", 1}}}});
  ASSERT_EQ(r.status, 200) << r.body << r.error;
  json answer = json::parse(r.body);
  EXPECT_EQ(answer["error"], "");
  EXPECT_EQ(answer["done"], 1);
  EXPECT_EQ(answer["form"], "MainFrm");
  EXPECT_EQ(answer["fields"], json({{"BNPrograms", 1}}));
  EXPECT_EQ(json::parse(Get("/api/model?fields=BNPrograms").body)["BNPrograms"], 1);

  // A list: the performance console opened from the menu, placed, closed.
  r = Post("/api/operator",
           json::array(
               {{{"do", "mnuservermon"}},
                {{"form", "frmServer"}, {"set", {{"Top", 4000}, {"Left", 50}}}, {"close", true}}}));
  ASSERT_EQ(r.status, 200) << r.body;
  answer = json::parse(r.body);
  EXPECT_EQ(answer["done"], 2);
  EXPECT_EQ(answer["form"], "frmServer");
  EXPECT_EQ(answer["fields"]["Top"], 4000);
  EXPECT_FALSE(answer["fields"]["open"]);
  EXPECT_EQ(answer["messages"], json::array());
  // As the same steps leave it in a scenario: the place written back.
  EXPECT_EQ(ReadFile(app_ + "/Performance.dat"), "[SERVER]\r\nTop=4000\r\nLeft=50\r\n");
  EXPECT_EQ(json::parse(Get("/api/model?fields=frmServer.Top").body)["frmServer.Top"], 4000);

  // A step that names nothing there is refused before any step runs.
  r = Post("/api/operator", json::array({{{"set", {{"BNPrograms", 0}}}},
                                         {{"form", "frmServer"}, {"do", "NoSuch"}}}));
  EXPECT_EQ(r.status, 400);
  EXPECT_EQ(json::parse(r.body)["error"], "step 2: frmServer has no command 'NoSuch'");
  EXPECT_EQ(json::parse(Get("/api/model?fields=BNPrograms").body)["BNPrograms"], 1);
  // The console's steps have no time, and the body must be steps.
  EXPECT_EQ(Post("/api/operator", {{"at", "2012-11-14 10:00:00"}, {"do", "mnuservermon"}}).status,
            400);
  EXPECT_EQ(Post("/api/operator", json::array()).status, 400);
  EXPECT_EQ(Call("POST", "/api/operator", {{"Authorization", "Bearer " + token_}}, "{").status,
            400);
  EXPECT_EQ(Get("/api/operator").status, 405);
}

TEST_F(ConsoleServer, AChangeOfStateFromABrowserMustComeFromTheConsolesOwnPage) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const HttpReply login = Call("GET", "/login?token=" + token_);
  ASSERT_EQ(login.status, 303);
  const std::string session =
      login.headers.at("set-cookie").substr(0, login.headers.at("set-cookie").find(';'));
  const std::string step = R"({"set": {"BNPrograms": 1}})";
  EXPECT_EQ(Call("POST", "/api/operator", {{"Cookie", session}}, step).status, 403);
  EXPECT_EQ(
      Call("POST", "/api/operator", {{"Cookie", session}, {"Origin", "http://evil.example"}}, step)
          .status,
      403);
  EXPECT_EQ(json::parse(Get("/api/model?fields=BNPrograms").body)["BNPrograms"], 0);
  EXPECT_EQ(Call("POST", "/api/operator", {{"Cookie", session}, {"Origin", address_}}, step).status,
            200);
  EXPECT_EQ(json::parse(Get("/api/model?fields=BNPrograms").body)["BNPrograms"], 1);
  // A wrong origin is refused even with the token.
  EXPECT_EQ(Call("POST", "/api/operator",
                 {{"Authorization", "Bearer " + token_}, {"Origin", "http://evil.example"}}, step)
                .status,
            403);
}

// The frames of an event stream as they come, until `wanted` have come.
std::vector<json> ReadFrames(const std::string& address, const std::string& token, size_t wanted) {
  std::vector<json> frames;
  HttpCall call;
  call.address = address;
  call.target = "/api/events";
  call.headers = {{"Authorization", "Bearer " + token}};
  call.on_body = EventStreamReader([&](const std::string& event, const std::string& data) {
    if (event == "frame") frames.push_back(json::parse(data));
    return frames.size() < wanted;
  });
  const HttpReply r = HttpFetch(call);
  EXPECT_EQ(r.status, 200) << r.error;
  EXPECT_EQ(r.headers.count("content-type") ? r.headers.at("content-type") : "",
            "text/event-stream");
  return frames;
}

TEST_F(ConsoleServer, TheEventStreamCarriesAFrameEachSecondWithTheFieldsThatChanged) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const std::vector<json> frames = ReadFrames(address_, token_, 4);
  ASSERT_EQ(frames.size(), 4u);
  // The first frame carries every field; the next ones only what changed.
  EXPECT_TRUE(frames[0]["changed"].contains("AppVersion"));
  EXPECT_TRUE(frames[0]["changed"].contains("forms"));
  for (size_t i = 1; i < frames.size(); ++i) {
    EXPECT_FALSE(frames[i]["changed"].contains("AppVersion")) << i;
    EXPECT_LT(frames[i]["changed"].size(), frames[0]["changed"].size()) << i;
    // One frame a second of the program's clock.
    EXPECT_GT(frames[i]["time"].get<std::string>(), frames[i - 1]["time"].get<std::string>());
  }
  // The sampling cycle's figures move, and so does the status frame.
  bool moved = false;
  for (size_t i = 1; i < frames.size(); ++i) {
    moved = moved || frames[i]["changed"].contains("CycleStart");
  }
  EXPECT_TRUE(moved);
  EXPECT_NE(frames.back()["frame"].get<std::string>(), "");
}

TEST_F(ConsoleServer, TheMetricsParseWithThePrometheusParserEveryFamilyTyped) {
  ASSERT_NO_FATAL_FAILURE(Start());
  // After a few cycles, so that the figures are the sampled ones.
  ASSERT_EQ(ReadFrames(address_, token_, 3).size(), 3u);
  const HttpReply r = Get("/metrics");
  ASSERT_EQ(r.status, 200) << r.error;
  EXPECT_EQ(r.headers.at("content-type"), "text/plain; version=0.0.4; charset=utf-8");
  WriteFile(dir_ + "/metrics.txt", r.body);
  const std::string command = std::string("/usr/bin/python3 '") + TARNEX_SOURCE_DIR +
                              "/tests/clients/parse_metrics.py' '" + dir_ + "/metrics.txt' > '" +
                              dir_ + "/parsed.txt' 2>&1";
  const int code = std::system(command.c_str());
  const std::string parsed = ReadFile(dir_ + "/parsed.txt");
  ASSERT_EQ(code, 0) << parsed << "\n" << r.body;
  // Every family the page declares came out of the parser, with its type.
  size_t declared = 0;
  for (size_t at = 0; (at = r.body.find("# TYPE ", at)) != std::string::npos; ++at) ++declared;
  size_t families = 0;
  for (size_t at = 0; (at = parsed.find('\n', at)) != std::string::npos; ++at) ++families;
  EXPECT_EQ(families, declared) << parsed;
  EXPECT_GE(declared, 20u);
  for (const char* family :
       {"tarnex_cpu_usage_ratio gauge 1", "tarnex_memory_available_bytes gauge 1",
        "tarnex_disk_free_bytes gauge 1", "tarnex_network_receive_bytes gauge 3",
        "tarnex_processes gauge 1", "tarnex_system_uptime_seconds gauge 1",
        "tarnex_backup_running gauge 2", "tarnex_monitor_connected gauge 5",
        "tarnex_bottleneck_findings counter 12"}) {
    EXPECT_NE(parsed.find(family), std::string::npos) << family << "\n" << parsed;
  }
}

TEST_F(ConsoleServer, APortInUseIsReportedAndTheProgramRunsOn) {
  // A port this test holds.
  const int holder = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr*>(&a), sizeof(a)), 0);
  ASSERT_EQ(listen(holder, 1), 0);
  socklen_t length = sizeof(a);
  getsockname(holder, reinterpret_cast<sockaddr*>(&a), &length);
  const std::string port = std::to_string(ntohs(a.sin_port));

  const Result r = RunServer({"--platform", "sim", "--quiet", "--scenario", dir_ + "/scenario.json",
                              "--app-path", app_, "--run-for", "30", "--dump-model",
                              dir_ + "/model.json", "--console", "127.0.0.1:" + port});
  close(holder);
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.err.find("tarnex-server: the operator console is off: cannot listen on 127.0.0.1:" +
                       port + ": Address already in use\n"),
            std::string::npos)
      << r.err;
  // The rest ran: thirty cycles, and no token for a console that is not there.
  const json dump = json::parse(ReadFile(dir_ + "/model.json"));
  EXPECT_EQ(dump["ComputerName"], "SRV1");
  EXPECT_FALSE(Exists(app_ + "/Bin/Console.token"));
}

TEST_F(ConsoleServer, TheShellReadsSetsDoesAndWatchesARunningServer) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const auto ctl = [this](std::vector<std::string> args) {
    args.insert(args.begin(), {"ctl", "--app-path", app_});
    return RunServer(args);
  };
  Result r = ctl({"model", "ComputerName", "AppVersion"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(json::parse(r.out), json({{"ComputerName", "SRV1"}, {"AppVersion", "0.80"}}));

  r = ctl({"set", "BNPrograms=1"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(json::parse(r.out)["fields"], json({{"BNPrograms", 1}}));
  r = ctl({"do", "mnuservermon"});
  ASSERT_EQ(r.code, 0) << r.err;
  r = ctl({"set", "frmServer", "Top=4000", "Left=50"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(json::parse(r.out)["fields"]["Top"], 4000);
  WriteFile(dir_ + "/steps.json", R"([{"form": "frmServer", "close": true}])");
  r = ctl({"steps", dir_ + "/steps.json"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(ReadFile(app_ + "/Performance.dat"), "[SERVER]\r\nTop=4000\r\nLeft=50\r\n");
  r = ctl({"model", "BNPrograms", "frmServer.open"});
  EXPECT_EQ(json::parse(r.out), json({{"BNPrograms", 1}, {"frmServer.open", false}}));

  // Failures are told plainly, with an exit code that says so.
  r = ctl({"do", "frmServer", "NoSuch"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "tarnex-server ctl: step 1: frmServer has no command 'NoSuch'\n");
  r = ctl({"model", "NoSuchField"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "tarnex-server ctl: the model has no field 'NoSuchField'\n");
  r = ctl({"launch"});
  EXPECT_EQ(r.code, 2);
  r = RunServer({"ctl", "--app-path", dir_ + "/elsewhere", "model"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("no console found under " + dir_ + "/elsewhere"), std::string::npos)
      << r.err;
  for (const char* command : {"model", "do", "set", "watch", "steps"}) {
    r = ctl({command, "--help"});
    EXPECT_EQ(r.code, 0) << command;
    EXPECT_EQ(r.out.rfind(std::string("Usage: tarnex-server ctl ") + command, 0), 0u) << r.out;
  }

  // The live figures, frame by frame.
  r = ctl({"watch", "--count", "2"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("SRV1"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Processor"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Free MEM: "), std::string::npos) << r.out;
}

TEST_F(ConsoleServer, TheShellsWatchUnderTmuxRedrawsTheFiguresEachSecond) {
  if (RunProgram({"tmux", "-V"}).code != 0) GTEST_SKIP() << "no tmux on this machine";
  ASSERT_NO_FATAL_FAILURE(Start());
  const std::string sock = "tarnex-watch-" + std::to_string(getpid());
  ASSERT_EQ(RunProgram({"tmux", "-L", sock, "new-session", "-d", "-x", "100", "-y", "30",
                        std::string(TARNEX_SERVER_BINARY) + " ctl --app-path '" + app_ + "' watch"})
                .code,
            0);
  // The screen is drawn again with each frame: the same lines, a later clock.
  const auto clock_line = [](const std::string& screen) {
    const size_t at = screen.find("SRV1  ");
    return at == std::string::npos ? std::string() : screen.substr(at, screen.find('\n', at) - at);
  };
  std::string screen, first;
  const bool redrawn = WaitFor(
      [&] {
        screen = RunProgram({"tmux", "-L", sock, "capture-pane", "-p"}).out;
        const std::string line = clock_line(screen);
        if (first.empty()) first = line;
        return !line.empty() && line != first;
      },
      kGiveUpTenths);
  RunProgram({"tmux", "-L", sock, "send-keys", "C-c"});
  const bool ended = WaitFor(
      [&] {
        return RunProgram({"tmux", "-L", sock, "has-session"}).code != 0;
      },
      100);
  RunProgram({"tmux", "-L", sock, "kill-server"});
  ASSERT_TRUE(redrawn) << screen;
  EXPECT_TRUE(ended) << "an interrupt ends the watch";
  // One screen, drawn from the top: the name and clock on the first line.
  EXPECT_EQ(screen.find("SRV1  "), 0u) << screen;
  EXPECT_EQ(screen.find("SRV1  ", 1), std::string::npos) << screen;
  EXPECT_NE(screen.find("Processor  "), std::string::npos) << screen;
  EXPECT_NE(screen.find("Memory     Free MEM: "), std::string::npos) << screen;
}

TEST_F(ConsoleServer, StartAtBootSetFromTheShellEnablesAndDisablesTheInstalledPackagesUnit) {
  // This host, with the package's unit where the package puts it.
  const std::string boot = dir_ + "/boot", units = dir_ + "/units";
  std::filesystem::create_directories(boot);
  std::filesystem::create_directories(units);
  WriteFile(units + "/tarnex-server.service", "[Install]\nWantedBy=multi-user.target\n");
  ASSERT_NO_FATAL_FAILURE(
      StartWith({"--platform", "linux", "--boot-dir", boot, "--unit-dir", units}));
  const std::string link = boot + "/multi-user.target.wants/tarnex-server.service";
  const auto toggle = [this](int on) {
    WriteFile(dir_ + "/steps.json",
              R"([{"set": {"Check3": {"0": )" + std::to_string(on) + R"(}}}, {"do": "Command1"}])");
    const Result r = RunServer({"ctl", "--app-path", app_, "steps", dir_ + "/steps.json"});
    EXPECT_EQ(r.code, 0) << r.err;
  };
  toggle(1);
  ASSERT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::read_symlink(link), units + "/tarnex-server.service");
  EXPECT_FALSE(Exists(boot + "/tarnex-server.service")) << "no unit of its own";
  toggle(0);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(EventStreamReader, CutsEventsAcrossPiecesPassesHeartbeatsAndStopsWhenAsked) {
  std::vector<std::pair<std::string, std::string>> seen;
  auto on_body = EventStreamReader([&](const std::string& event, const std::string& data) {
    seen.emplace_back(event, data);
    return seen.size() < 2;
  });
  EXPECT_TRUE(on_body("event: frame\nda"));
  EXPECT_TRUE(seen.empty()) << "half an event waits for the rest";
  EXPECT_TRUE(on_body("ta: {\"a\":1}\n\n: heartbeat\n\n"));
  EXPECT_EQ(seen, (std::vector<std::pair<std::string, std::string>>{{"frame", "{\"a\":1}"}}));
  EXPECT_FALSE(on_body("data: plain\n\nevent: frame\ndata: 3\n\n"));
  EXPECT_EQ(seen.back(), (std::pair<std::string, std::string>{"", "plain"}));
  EXPECT_EQ(seen.size(), 2u) << "nothing after the stop";
}

// The server itself, in this process: a client that stops reading is dropped
// once the stream's bound is reached, and the others are served on.
TEST(HttpStreamBound, AClientThatStopsReadingIsDroppedAndOthersAreServed) {
  RealTimeSource time;
  EventLoop loop(time);
  auto server = NewNativeHttpServer(loop);
  std::shared_ptr<HttpStream> stream;
  ASSERT_EQ(server->Listen("127.0.0.1", 0,
                           [&](const HttpRequest& request, HttpResponse& response) {
                             if (request.path == "/stream") {
                               response.stream = [&](std::shared_ptr<HttpStream> s) {
                                 stream = std::move(s);
                               };
                             } else {
                               response.body = "still here";
                             }
                           }),
            "");
  const int port = server->Port();
  ASSERT_GT(port, 0);

  // The client that never reads, with a small window.
  const int stalled = socket(AF_INET, SOCK_STREAM, 0);
  const int small = 4096;
  setsockopt(stalled, SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  ASSERT_EQ(connect(stalled, reinterpret_cast<sockaddr*>(&a), sizeof(a)), 0);
  const std::string request = "GET /stream HTTP/1.0\r\n\r\n";
  ASSERT_EQ(send(stalled, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
  for (int i = 0; i < 20000 && !stream; ++i) loop.Wait(1);
  ASSERT_TRUE(stream);

  // Frames keep coming; the bound is what stops them piling up.
  const std::string frame(16384, 'x');
  int sent = 0;
  while (stream->Send(frame) && sent < 100000) {
    ++sent;
    loop.Wait(1);
  }
  EXPECT_FALSE(stream->Open());
  EXPECT_LT(sent, 100000);
  EXPECT_EQ(stream->Pending(), 0u);

  // Another client is answered.
  std::atomic<bool> done{false};
  HttpReply other;
  std::thread client([&] {
    HttpCall call;
    call.address = "http://127.0.0.1:" + std::to_string(port);
    call.target = "/other";
    other = HttpFetch(call);
    done = true;
  });
  for (int i = 0; i < 60000 && !done; ++i) loop.Wait(1);
  client.join();
  EXPECT_EQ(other.status, 200) << other.error;
  EXPECT_EQ(other.body, "still here");

  // The stalled client, reading at last, finds the stream ended.
  timeval limit{30, 0};
  setsockopt(stalled, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  std::atomic<bool> ended{false}, finished{false};
  std::thread reader([&] {
    char buffer[65536];
    for (;;) {
      const ssize_t n = recv(stalled, buffer, sizeof(buffer), 0);
      if (n <= 0) {
        ended = n == 0 || errno == ECONNRESET;
        finished = true;
        return;
      }
    }
  });
  // The loop turns while the client drains what the kernel held.
  while (!finished) loop.Wait(1);
  reader.join();
  EXPECT_TRUE(ended);
  close(stalled);
}

}  // namespace
}  // namespace tarnex::testing
