// Shared helpers of the tests: a scratch installation folder, a simulated
// machine, and the application on top of it.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/app.h"
#include "platform/fault_platform.h"
#include "platform/sim/sim_platform.h"

namespace tarnex::testing {

inline std::string MakeTempDir() {
  char pattern[] = "/tmp/tarnex-test-XXXXXX";
  const char* dir = mkdtemp(pattern);
  return dir != nullptr ? dir : "";
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream out;
  out << in.rdbuf();
  return out.str();
}

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

inline bool Exists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0;
}

// A server with its system-information program and memory tool.
constexpr const char* kBasicScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50},
  "commands": {
    "Systeminfo.exe": "\r\nHost Name:                 SRV1\r\nOS Name:                   Microsoft Windows Server 2008 R2 Standard \r\nOS Version:                6.1.7601 Service Pack 1 Build 7601\r\nProduct ID:                00477-001-0000421-84319\r\nOriginal Install Date:     3/12/2012, 4:15:22 PM\r\nSystem Boot Time:          11/13/2012, 7:02:41 AM\r\nSystem Manufacturer:       Dell Inc.\r\nSystem Model:              PowerEdge R410\r\nProcessor(s):              1 Processor(s) Installed.\r\nBIOS Version:              Dell Inc. 1.9.0, 12/12/2011\r\nBoot Device:               \\Device\\HarddiskVolume1\r\nInput Locale:              en-us;English (United States)\r\nTotal Physical Memory:     4,095 MB\r\nAvailable Physical Memory: 2,710 MB\r\n",
    "ram.exe -i": "1x D-cache 32 Kb, 8-way set associative, 64 byte line size\r\n1x I-cache 32 Kb, 8-way set associative, 64 byte line size\r\nSSE2 instructions\r\n"
  }
})";

// The settings file as a first start leaves it (on kBasicScenario, the 14th
// of November 2012 at 10:00:00): the first-run stamp and the month of the
// week table, the totals, the memory slots, the totals since the counting
// began and the month's week table. `server` adds keys at the end of section
// Server, `after` sections at the end; `stamp` and `month` ("Nov 2012") and
// `day` ("14 Nov 2012") give another start.
inline std::string FreshSettings(const std::string& server = "", const std::string& after = "",
                                 const std::string& stamp = "14 Nov 2012 10:00:00AM",
                                 const std::string& month = "Nov 2012",
                                 const std::string& day = "14 Nov 2012") {
  const std::string year = month.substr(4);
  return "[Server]\r\nFirst Run=" + stamp + "\r\nBandwidth Month=" + month + "\r\n" + server +
         "[Bandwidth]\r\nAnnual=" + year + "\r\nMonth=" + month.substr(0, 3) + year +
         "\r\nDaily=" + day +
         "\r\nDaily Sent=0\r\nDaily Rec=0\r\nTotal Sent=0\r\nTotal Rec=0\r\n"
         "Annual Sent=0\r\nAnnual Rec=0\r\n[Memory]\r\nSlots=0\r\nSimms=0\r\n"
         "[BW]\r\nUP=0\r\nDN=0\r\n[" +
         month +
         "]\r\nWeek1 Send=0\r\nWeek1 Rec=0\r\nWeek2 Send=0\r\nWeek2 Rec=0\r\n"
         "Week3 Send=0\r\nWeek3 Rec=0\r\nWeek4 Send=0\r\nWeek4 Rec=0\r\nWeek5 Send=0\r\n"
         "Week5 Rec=0\r\nTotal Send=0\r\nTotal Rec=0\r\n" +
         after;
}
inline const std::string kFreshSettings = FreshSettings();

// `n` different ports that nothing listens on at the moment of asking: the
// system picks them, so tests running side by side do not meet.
inline std::vector<int> FreePorts(int n) {
  std::vector<int> ports, sockets;
  for (int i = 0; i < n; ++i) {
    sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t size = sizeof address;
    if (bind(sockets.back(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(sockets.back(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      ADD_FAILURE() << "no free port";
    }
    ports.push_back(ntohs(address.sin_port));
  }
  for (int fd : sockets) close(fd);
  return ports;
}
inline int FreePort() {
  return FreePorts(1)[0];
}

// Keys of section Server that give the five monitor slots free ports of their
// own. Start-up's own cycle waits half a second for each slot it finds
// unopened, so a test that counts ticks from the start gives the slots ports.
inline std::string MonitorPorts() {
  std::string keys;
  const std::vector<int> ports = FreePorts(5);
  for (int i = 0; i < 5; ++i) {
    keys += "Monitor CPU Port" + (i == 0 ? std::string() : " " + std::to_string(i + 1)) + "=" +
            std::to_string(ports[static_cast<size_t>(i)]) + "\r\n";
  }
  return keys;
}

// A simulated machine with the application on it, in a fresh folder. With
// faults, the application sees the machine through a FaultPlatform, whose
// faults() a test injects.
class SimApp {
 public:
  enum class Faults { kNone, kInjectable };

  explicit SimApp(const std::string& scenario = kBasicScenario, std::string dir = "",
                  Faults faults = Faults::kNone)
      : dir_(dir.empty() ? MakeTempDir() : std::move(dir)) {
    SimOptions options;
    options.quiet = true;
    std::string error;
    sim_ = SimPlatform::FromText(scenario, options, error);
    if (!sim_) ADD_FAILURE() << "scenario: " << error;
    if (faults == Faults::kInjectable) faults_ = std::make_unique<FaultPlatform>(*sim_);
    app_ = std::make_unique<App>(faults_ ? static_cast<Platform&>(*faults_) : *sim_, dir_);
  }
  ~SimApp() {
    app_.reset();
    faults_.reset();
    sim_.reset();
    std::error_code ignored;
    if (owns_) std::filesystem::remove_all(dir_, ignored);
  }
  void Keep() { owns_ = false; }

  App& app() { return *app_; }
  Context& ctx() { return app_->ctx(); }
  ServerModel& model() { return app_->model(); }
  SimPlatform& sim() { return *sim_; }
  FaultPlatform& faults() { return *faults_; }
  EventLoop& loop() { return sim_->Loop(); }
  const std::string& dir() const { return dir_; }
  // A file of the installation folder as it is on disk, once the settings
  // written since the loop last waited are there.
  std::string File(const std::string& relative) {
    app_->Flush();
    return ReadFile(dir_ + "/" + relative);
  }
  bool Has(const std::string& relative) const { return Exists(dir_ + "/" + relative); }

 private:
  std::string dir_;
  bool owns_ = true;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<FaultPlatform> faults_;
  std::unique_ptr<App> app_;
};

}  // namespace tarnex::testing
