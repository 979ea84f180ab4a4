// The counters that the rule pass and the data view read themselves, for
// scenarios of the rule tests and the rule benchmark. No test framework here.
#pragma once

#include <string>
#include <vector>

namespace tarnex::testing {

// The counters the rule pass and the data view read themselves (local form).
inline const std::vector<std::string>& RuleCounterPaths() {
  static const std::vector<std::string> paths = {
      "\\SQL Server: Latches Object\\Latch Waits/sec",
      "\\SQL Server: Latches Object\\Total Latch Wait Time (ms)",
      "\\SQL Server: Latches Object\\Buffer Cache Hit Ratio",
      "\\SQLServer: General Statistics\\Logouts/sec",
      "\\Web Service Cache\\Kernel:URI Cache Flushes",
      "\\Web Service Cache\\Kernel:URI Cache Misses",
      "\\Active Server Pages\\Request Wait Time",
      "\\Active Server Pages\\Requests Queued",
      "\\ISA Server Firewall Service\\Accepting TCP Connections",
      "\\ISA Server Firewall Service\\Worker Threads",
      "\\ISA Server Firewall Service\\DNS Cache Hits %",
      "\\ISA Server Firewall Packet Engine\\Active Connections",
      "\\ISA Server Firewall Packet Engine\\Backlogged Packets",
      "\\ISA Server Firewall Packet Engine\\Bytes/sec",
      "\\ISA Server Firewall Packet Engine\\TCP Established Connections/sec",
      "\\ISA Server Web Proxy\\Cache Hit Ratio",
      "\\ISA Server Web Proxy\\Reverse Bytes Sent/sec",
      "\\ISA Server Web Proxy\\Average Milliseconds/request",
      "\\ISA Server Web Proxy\\Current Direct Fetches",
      "\\ISA Server Web Proxy\\Current Cache Fetches",
      "\\ISA Server Web Proxy\\Requests/sec",
      "\\ISA Server Web Proxy\\Failing Requests/sec",
      "\\ISA Server Web Proxy\\DNS Cache Hits",
      "\\ISA Server Web Proxy\\Incoming Connections/sec",
      "\\ISA Server Cache\\Disk Failure Rate",
      "\\ISA Server Cache\\Memory Cache Allocated Space",
      "\\ISA Server Cache\\Disk Cache Allocated Space",
      "\\ISA Server Cache\\Memory Usage Ratio Percent",
      "\\ISA Server Cache\\Disk Content Write Rate",
      "\\ISA Server Cache\\Disk URL Retrieve Rate",
      "\\ISA Server Cache\\Disk Bytes Retrieved Rate",
      "\\ISA Server Cache\\Memory URL Retrieve Rate",
      "\\ISA Server Cache\\Memory Bytes Retrieved Rate",
  };
  return paths;
}

// A text as a JSON string's content.
inline std::string JsonEscape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace tarnex::testing
