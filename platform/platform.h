// The seam between the system's logic and the machine it runs on. The logic
// sees only these interfaces; a provider (the Linux host, or a simulation
// driven by a scenario file) implements them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/command.h"
#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/http.h"
#include "platform/network.h"
#include "platform/perf.h"
#include "platform/winsock.h"
#include "platform/wmi.h"

namespace tarnex {

// One row of the machine's interface table, as the platform publishes it:
// every count unsigned 32-bit, the description as bytes of the system code
// page, the name as 16-bit text, the hardware address up to 8 bytes.
struct InterfaceRow {
  std::u16string name;  // up to 256 units
  uint32_t index = 0;
  uint32_t type = 0;
  uint32_t mtu = 0;
  uint32_t speed = 0;   // bits per second
  std::string address;  // the hardware address's bytes (up to 8 are shown)
  uint32_t admin_status = 0;
  uint32_t oper_status = 0;
  uint32_t last_change = 0;
  uint32_t in_octets = 0, in_ucast = 0, in_nucast = 0, in_discards = 0, in_errors = 0,
           in_unknown = 0;
  uint32_t out_octets = 0, out_ucast = 0, out_nucast = 0, out_discards = 0, out_errors = 0,
           out_qlen = 0;
  std::string description;  // up to 256 bytes
};

class Platform {
 public:
  virtual ~Platform() = default;

  virtual EventLoop& Loop() = 0;
  virtual PerfCounters& Counters() = 0;
  virtual Files& Fs() = 0;
  virtual Network& Net() = 0;

  // A socket control of this machine, closed.
  std::unique_ptr<Winsock> NewSocket() { return std::make_unique<Winsock>(Loop(), Net()); }

  // The value of an environment variable of the original platform
  // (WinDIR, COMPUTERNAME, NUMBER_OF_PROCESSORS). Names match without regard
  // to case, as they do there.
  virtual std::string Environment(const std::string& name) = 0;

  // A message box for the operator, and a yes/no question.
  virtual void ShowMessage(const std::string& text) = 0;
  virtual bool AskYesNo(const std::string& text) = 0;

  // The desktop's size in twips; false when there is no desktop.
  virtual bool ScreenSize(double& width, double& height) { return false; }

  // Raises the process's priority when permitted; silently keeps it otherwise.
  virtual void RaisePriority() = 0;

  // Takes the single-instance lock of the installation folder for as long as
  // the process lives. False when another instance holds it.
  virtual bool FirstInstance(const std::string& app_path) = 0;

  // The start-at-boot value: set it to start `program`, or remove it.
  virtual bool SetStartAtBoot(const std::string& program) = 0;
  virtual bool DeleteStartAtBoot() = 0;

  // The identifiers of the running processes.
  virtual std::vector<int64_t> EnumProcesses() = 0;
  // The module base names of a process ("app.exe" ...), its program first.
  // False when the process cannot be opened or its modules cannot be listed.
  virtual bool ProcessModules(int64_t pid, std::vector<std::string>& base_names) = 0;
  // The number of services of a kind (30: all Win32 services, 11: drivers)
  // in a state (1 running, 2 stopped, 3 all). False when the service
  // manager cannot be asked.
  virtual bool CountServices(int kind, int state, const std::string& machine, int64_t& count) = 0;

  // The full path of a process's first module, its program, read with the
  // rights to query it and read its memory. False when the process cannot be
  // opened so (another user's, one that has ended) or has no module.
  virtual bool ProcessFileName(int64_t pid, std::string& path) = 0;
  // The text a program that the system names `name` has as its module path
  // on this machine: the name itself where the system's names are the
  // machine's, or the host path the file layer maps it to.
  virtual std::string ProcessPathOf(const std::string& name) { return name; }
  // The first top-level window of a process, a hidden one too; 0 when the
  // process has none.
  virtual int64_t ProcessWindow(int64_t pid) = 0;
  // Sends a window the close message. Nothing waits for the program to end,
  // and a program that refuses stays. False when there is no such window.
  virtual bool CloseWindow(int64_t window) = 0;
  // The host path of the running program's own file; "" where the program
  // file is the installation folder's "\Tarnex Server.exe".
  virtual std::string ProgramFile() { return {}; }
  // Starts a file with the shell verb "open".
  virtual bool ShellOpen(const std::string& file, const std::string& parameters,
                         const std::string& folder) = 0;

  // Starts a command line (a program and its arguments) with its standard
  // output and standard error on one pipe; `pipe` is set when it started.
  virtual CommandStart StartCommand(const std::string& command_line,
                                    std::unique_ptr<CommandPipe>& pipe) = 0;

  // Runs a system-management query ("Select * from Win32_Processor"). False
  // when the class cannot be queried; `rows` is then empty.
  virtual bool QueryWmi(const std::string& query, std::vector<WmiRow>& rows) = 0;

  // The processor as the system-information call describes it: the processor
  // type (386, 486, 586 ...), the level (the family) and the revision (the
  // model in the high byte, the stepping in the low byte).
  struct ProcessorInfo {
    uint32_t type = 0;
    uint16_t level = 0;
    uint16_t revision = 0;
  };
  virtual ProcessorInfo SystemProcessor() = 0;

  // The processor's rated speed in MHz, the value "~MHz" of the first
  // processor's hardware description. False when it cannot be read.
  virtual bool ProcessorMHz(uint32_t& mhz) = 0;

  // The interface table: every network interface of the machine. False when
  // the machine cannot give it (not supported, or the table cannot be read).
  virtual bool InterfaceTable(std::vector<InterfaceRow>& rows) = 0;

  // The address of the machine's first DNS server, as text: 0, or the
  // error number of the network-parameters call when it cannot be had.
  virtual int DnsServer(std::string& address) { return 50; }

  // The size and the free space, in bytes, of the drive whose root is `root`
  // ("C:\" and the like). False when the drive cannot tell.
  virtual bool DiskFreeSpace(const std::string& root, double& total, double& free_bytes) = 0;

  // An HTTP server on this machine's sockets, run by the loop; null where
  // the machine has none.
  virtual std::unique_ptr<HttpServer> NewHttpServer() { return nullptr; }
  // `size` bytes from the machine's random generator, fit for a secret;
  // false when it has none.
  virtual bool RandomBytes(std::string& out, size_t size) { return false; }
};

}  // namespace tarnex
