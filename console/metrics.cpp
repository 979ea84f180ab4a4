#include "console/metrics.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/legacy.h"
#include "rules/engine.h"

namespace tarnex {

namespace {

constexpr double kMegabyte = 1048576;  // the disk's free megabytes

// A label's value: UTF-8 with the backslash, the quote and the line feed
// escaped.
std::string LabelValue(const std::string& text) {
  std::string out;
  for (char c : legacy::Cp1252ToUtf8(text)) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '"') {
      out += "\\\"";
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

std::string Number(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v > 0 ? "+Inf" : "-Inf";
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%.17g", v);
  return buffer;
}

// A figure kept as text ("12345", "" before the first reading): 0 when it
// holds no number.
double TextNumber(const std::string& text) {
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  return end == text.c_str() || !std::isfinite(v) ? 0 : v;
}

class Writer {
 public:
  void Family(const std::string& name, const std::string& type, const std::string& help) {
    out_ += "# HELP " + name + " " + help + "\n";
    out_ += "# TYPE " + name + " " + type + "\n";
    name_ = name;
  }
  void Sample(double value, const std::string& labels = {}) {
    out_ += name_;
    if (!labels.empty()) out_ += "{" + labels + "}";
    out_ += " " + Number(value) + "\n";
  }
  void Gauge(const std::string& name, const std::string& help, double value) {
    Family(name, "gauge", help);
    Sample(value);
  }
  std::string Take() { return std::move(out_); }

 private:
  std::string out_;
  std::string name_;
};

std::string Label(const std::string& name, const std::string& value) {
  return name + "=\"" + LabelValue(value) + "\"";
}

}  // namespace

std::string MetricsText(const ServerModel& m, double uptime_seconds) {
  Writer w;
  // The processor.
  w.Gauge("tarnex_cpu_usage_ratio", "Processor time in use over the last second, 0 to 1.",
          TextNumber(m.CPUUsage) / 100);
  w.Gauge("tarnex_cpu_interrupts_per_second", "Interrupts a second.", TextNumber(m.Interrupts));
  w.Gauge("tarnex_context_switches_per_second", "Context switches a second.", m.ContextSwitches);
  // Memory.
  w.Gauge("tarnex_memory_available_bytes", "Memory available.", m.MemAvailable);
  w.Gauge("tarnex_memory_committed_bytes", "Memory committed.", m.MemCommitted);
  w.Gauge("tarnex_memory_total_bytes", "Memory in all, as first seen.", m.TotalMemory);
  w.Gauge("tarnex_memory_cache_bytes", "The system cache.", m.CacheBytes);
  w.Gauge("tarnex_memory_page_faults_per_second", "Page faults a second.", m.PageFaults);
  w.Gauge("tarnex_memory_pages_per_second", "Pages read or written a second.", m.MemPages);
  w.Gauge("tarnex_memory_swap_used_bytes", "The page file in use.", m.SwapCurrent * 1e6);
  // The disk of the system drive.
  w.Gauge("tarnex_disk_free_bytes", "Free space of the system drive.", m.DiskFreeMB * kMegabyte);
  w.Gauge("tarnex_disk_free_ratio", "Free space of the system drive, 0 to 1.",
          m.DiskFreePercent / 100);
  w.Gauge("tarnex_disk_read_bytes_per_second", "Bytes read a second from the system drive.",
          m.DiskReadBps);
  w.Gauge("tarnex_disk_written_bytes_per_second", "Bytes written a second to the system drive.",
          m.DiskWriteBps);
  w.Gauge("tarnex_disk_idle_ratio", "Time the system drive was idle, 0 to 1.", m.DiskIdle / 100);
  w.Gauge("tarnex_disk_queue_length", "Requests waiting for the system drive.", m.DiskQueue);
  w.Family("tarnex_disk_read_bytes", "gauge",
           "Bytes read from the system drive since the period began.");
  w.Sample(m.DiskReadDay, Label("period", "day"));
  w.Sample(m.DiskReadMonth, Label("period", "month"));
  w.Family("tarnex_disk_written_bytes", "gauge",
           "Bytes written to the system drive since the period began.");
  w.Sample(m.DiskWriteDay, Label("period", "day"));
  w.Sample(m.DiskWriteMonth, Label("period", "month"));
  // The network, adapter by adapter, and the totals of the periods.
  const int adapters = m.AdapterCount < 0 ? 0 : (m.AdapterCount > 6 ? 6 : m.AdapterCount);
  const auto per_adapter = [&](const char* name, const char* help, const auto& values) {
    w.Family(name, "gauge", help);
    for (int i = 0; i < adapters; ++i) w.Sample(values[i], Label("device", m.AdapterName[i]));
  };
  per_adapter("tarnex_network_receive_bytes_per_second", "Bytes received a second.",
              m.AdapterBytesRec);
  per_adapter("tarnex_network_transmit_bytes_per_second", "Bytes sent a second.",
              m.AdapterBytesSent);
  per_adapter("tarnex_network_receive_errors_per_second", "Received packets in error a second.",
              m.AdapterRecErrors);
  per_adapter("tarnex_network_transmit_errors_per_second", "Sent packets in error a second.",
              m.AdapterOutErrors);
  w.Family("tarnex_network_receive_bytes", "gauge",
           "Bytes received by all adapters since the period began.");
  w.Sample(TextNumber(m.DailyRec), Label("period", "day"));
  w.Sample(TextNumber(m.tdn), Label("period", "month"));
  w.Sample(TextNumber(m.AnnualRec), Label("period", "year"));
  w.Family("tarnex_network_transmit_bytes", "gauge",
           "Bytes sent by all adapters since the period began.");
  w.Sample(TextNumber(m.DailySent), Label("period", "day"));
  w.Sample(TextNumber(m.tup), Label("period", "month"));
  w.Sample(TextNumber(m.AnnualSent), Label("period", "year"));
  // Processes and the machine.
  w.Gauge("tarnex_processes", "Processes running.", m.ProcessCount);
  w.Gauge("tarnex_threads", "Threads running.", m.ThreadCount);
  w.Gauge("tarnex_handles", "Handles open.", m.HandleCount);
  w.Gauge("tarnex_services", "Services, as last counted.", m.ServiceCount);
  w.Gauge("tarnex_system_uptime_seconds", "Time since the machine started.", uptime_seconds);
  // The back-up.
  w.Family("tarnex_backup_running", "gauge", "1 while a back-up of the kind runs.");
  w.Sample(m.BackupState == 1 ? 1 : 0, Label("kind", "file"));
  w.Sample(m.BackupState == 2 ? 1 : 0, Label("kind", "full"));
  // The monitor link.
  w.Family("tarnex_monitor_connected", "gauge", "1 while a monitor is connected on the slot.");
  int connected = 0;
  for (int i = 0; i < 5; ++i) {
    w.Sample(m.conc[i] != 0 ? 1 : 0, Label("slot", std::to_string(i + 1)));
    if (m.conc[i] != 0) ++connected;
  }
  w.Gauge("tarnex_monitors_connected", "Monitors connected.", connected);
  // The bottleneck rules.
  w.Family("tarnex_bottleneck_findings_total", "counter",
           "Findings of the bottleneck rules since the start, by group.");
  for (int i = 0; i < 12; ++i) w.Sample(m.BNFindings[i], Label("group", kRuleGroups[i]));
  w.Family("tarnex_bottleneck_group_enabled", "gauge", "1 when the group of rules is switched on.");
  const int32_t switches[12] = {m.BNMemory,  m.BNCPU,    m.BNDisk, m.BNSQL,
                                m.BNNetwork, m.BNServer, m.BNWeb,  m.BNFirewall,
                                m.BNProxy,   m.BNCache,  1,        m.BNPrograms};
  for (int i = 0; i < 12; ++i) {
    w.Sample(switches[i] == 1 ? 1 : 0, Label("group", kRuleGroups[i]));
  }
  return w.Take();
}

}  // namespace tarnex
