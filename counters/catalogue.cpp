#include "counters/catalogue.h"

#include "counters/programs.h"
#include "counters/query.h"

namespace tarnex {

const char* const kServerCounterNames[33] = {"Bytes Total/sec",
                                             "Bytes Received/sec",
                                             "Bytes Transmitted/sec",
                                             "Sessions Timed Out",
                                             "Sessions Errored Out",
                                             "Sessions Logged Off",
                                             "Sessions Forced Off",
                                             "Errors Logon",
                                             "Errors Access Permissions",
                                             "Errors Granted Access",
                                             "Errors System",
                                             "Blocking Requests Rejected",
                                             "Work Item Shortages",
                                             "Files Opened Total",
                                             "Files Open",
                                             "Server Sessions",
                                             "File Directory Searches",
                                             "Pool Nonpaged Bytes",
                                             "Pool Nonpaged Peak",
                                             "Pool Paged Bytes",
                                             "Pool Paged Peak",
                                             "Context Blocks Queued/sec",
                                             "Logon/sec",
                                             "Logon Total",
                                             "Total Durable Handles",
                                             "Reconnected Durable Handles",
                                             "SMB BranchCache Hash Header Requests",
                                             "SMB BranchCache Hash Generation Requests",
                                             "SMB BranchCache Hash Requests Received",
                                             "SMB BranchCache Hash Responses Sent",
                                             "SMB BranchCache Hash Bytes Sent",
                                             "Total Resilient Handles",
                                             "Reconnected Resilient Handles"};

void CounterCatalogue::AddM(const std::string& path, int32_t& handle) {
  AddCounter(platform_.Counters(), m_.PerfQuery, "\\\\" + m_.ComputerName + path, handle, yield_);
}

void CounterCatalogue::AddL(const std::string& path, int32_t& handle) {
  AddCounter(platform_.Counters(), m_.PerfQuery, path, handle, yield_);
}

double CounterCatalogue::Read(int32_t handle) {
  uint32_t status = 0;
  return platform_.Counters().GetDoubleCounterValue(handle, status);
}

void CounterCatalogue::SetUp() {
  DiscoverAdapters(platform_.Counters(), m_);
  CounterMEM();
  CounterCPU();
  LoadPrograms(platform_, m_, yield_);
  CounterLogicalDrive();
  CounterObjects();
  CounterSYStem();
  CounterNetwork();
  CounterServer();
  CounterISAServer();
  CounterSQL();
}

void CounterCatalogue::CounterMEM() {
  // The catalogue lives in a query of its own: the start-up probe's query is
  // left behind.
  platform_.Counters().OpenQuery(m_.PerfQuery);
  AddM("\\Memory\\Committed Bytes", m_.hMemCommitted);
  AddM("\\Memory\\Available Bytes", m_.hMemAvailable);
  AddM("\\Memory\\Cache Bytes", m_.hCacheBytes);
  AddM("\\Memory\\Cache Bytes Peak", m_.hCachePeak);
  AddM("\\Memory\\Page Reads/sec", m_.hPageReads);
  AddM("\\Memory\\Page Writes/sec", m_.hPageWrites);
  AddM("\\Memory\\Page Faults/sec", m_.hPageFaults);
  AddM("\\Memory\\Pages/sec", m_.hMemPages);
  AddM("\\Memory\\Pages Input/sec", m_.hPagesInput);
  AddM("\\Memory\\Pages Output/sec", m_.hPagesOutput);
  AddM("\\Memory\\Pool Paged Bytes", m_.hPoolPaged);
  AddM("\\Memory\\Pool Nonpaged Bytes", m_.hPoolNonpaged);
}

void CounterCatalogue::CounterCPU() {
  AddL("\\Processor(_Total)\\% Processor Time", m_.hCPUUsage);
  AddM("\\Processor Information(0," + std::to_string(0) + ")\\Processor Frequency", m_.hCPUSpeed);
  // The deferred-call rate goes into a handle that nothing reads; the cycle
  // reads its neighbour, to which nothing is ever added.
  AddM("\\Processor Information(_Total)\\DPC Rate", m_.hDPCRate);
  AddM("\\Processor Information(_Total)\\DPCs Queued / sec", m_.hDPCQueued);
  AddM("\\Processor Information(_Total)\\% Interrupt Time", m_.hCPUInterrupt);
  AddM("\\Processor Information(_Total)\\Interrupts/sec", m_.hInterrupts);
  AddM("\\Processor Information(_Total)\\% Privileged Time", m_.hCPUPrivilege);
}

void CounterCatalogue::CounterLogicalDrive() {
  const std::string disk = "\\LogicalDisk(" + m_.SystemDrive;
  AddM(disk + ")\\% Free Space", m_.hDiskFreePercent);
  AddM(disk + ")\\Free Megabytes", m_.hDiskFreeMB);
  AddM(disk + ")\\Current Disk Queue Length", m_.hDiskQueue);
  AddM(disk + ")\\% Disk Time", m_.hDiskTime);
  AddM(disk + ")\\Disk Read Bytes/sec", m_.hDiskReadBps);
  AddM(disk + ")\\Disk Write Bytes/sec", m_.hDiskWriteBps);
  AddM(disk + ")\\% Idle Time", m_.hDiskIdle);
  AddM(disk + ")\\Split IO/Sec", m_.hDiskSplitIO);
}

void CounterCatalogue::CounterObjects() {
  AddL("\\Objects\\Processes", m_.hProcessCount);
  AddL("\\Process(_Total)\\Thread Count", m_.hThreadCount);
  AddL("\\Process(_Total)\\Handle Count", m_.hHandleCount);
}

void CounterCatalogue::CounterSYStem() {
  AddM("\\System\\Context Switches/Sec", m_.hContextSwitches);
  AddM("\\System\\System Calls/sec", m_.hSystemCalls);
  AddM("\\System\\System Up Time", m_.hUpTime);
  AddM("\\System\\Processor Queue Length", m_.hProcessorQueue);
}

void CounterCatalogue::CounterNetwork() {
  for (int32_t i = 0; i < m_.AdapterCount; ++i) {
    if (i >= 6) continue;  // an index past the six slots adds nothing
    const size_t slot = static_cast<size_t>(i);
    const std::string net = "\\Network Interface(" + m_.AdapterName[slot];
    AddM(net + ")\\Bytes Total/sec", m_.hNetBytesTotal[slot]);
    AddM(net + ")\\Bytes Received/sec", m_.hNetBytesRec[slot]);
    AddM(net + ")\\Bytes Sent/sec", m_.hNetBytesSent[slot]);
    AddM(net + ")\\Packets Received/sec", m_.hNetPacketsRec[slot]);
    AddM(net + ")\\Packets Sent/sec", m_.hNetPacketsSent[slot]);
    AddM(net + ")\\Packets Received Errors", m_.hNetRecErrors[slot]);
    AddM(net + ")\\Packets Outbound Errors", m_.hNetOutErrors[slot]);
    AddM(net + ")\\Output Queue Length", m_.hNetOutQueue[slot]);
    AddM(net + ")\\Offloaded Connections", m_.hNetOffloaded[slot]);
    AddM(net + ")\\Packets/sec", m_.hNetPackets[slot]);
    AddM(net + ")\\Packets Received Unicast/sec", m_.hNetRecUnicast[slot]);
    AddM(net + ")\\Packets Received Non-Unicast/sec", m_.hNetRecNonUnicast[slot]);
    AddM(net + ")\\Packets Sent Unicast/sec", m_.hNetSentUnicast[slot]);
    AddM(net + ")\\Packets Sent Non-Unicast/sec", m_.hNetSentNonUnicast[slot]);
  }
}

void CounterCatalogue::CounterServer() {
  for (size_t i = 0; i < 33; ++i)
    AddM(std::string("\\Server\\") + kServerCounterNames[i], m_.hServer[i]);
}

void CounterCatalogue::CounterISAServer() {
  AddM("\\ISA Server Cache\\Disk Failure Rate", m_.hCacheDiskFailure);
  AddM("\\ISA Server Cache\\Memory Cache Allocated Space", m_.hCacheMemAllocated);
  AddM("\\ISA Server Cache\\Disk Cache Allocated Space", m_.hCacheDiskAllocated);
  AddM("\\ISA Server Cache\\Memory Usage Ratio Percent", m_.hCacheMemUsage);
  AddM("\\ISA Server Cache\\Disk Content Write Rate", m_.hCacheDiskWrite);
  AddM("\\ISA Server Cache\\Disk URL Retrieve Rate", m_.hCacheDiskURL);
  AddM("\\ISA Server Cache\\Disk Bytes Retrieved Rate", m_.hCacheDiskBytes);
  AddM("\\ISA Server Cache\\Memory URL Retrieve Rate", m_.hCacheMemURL);
  AddM("\\ISA Server Cache\\Memory Bytes Retrieved Rate", m_.hCacheMemBytes);
  AddM("\\ISA Server Web Proxy\\Cache Hit Ratio", m_.hWPCacheHit);
  AddM("\\ISA Server Web Proxy\\Reverse Bytes Sent/sec", m_.hWPReverseBytes);
  AddM("\\ISA Server Web Proxy\\Average Milliseconds/request", m_.hWPAvgMs);
  AddM("\\ISA Server Web Proxy\\Current Direct Fetches", m_.hWPDirectFetches);
  AddM("\\ISA Server Web Proxy\\Current Cache Fetches", m_.hWPCacheFetches);
  AddM("\\ISA Server Web Proxy\\Requests/sec", m_.hWPRequests);
  AddM("\\ISA Server Web Proxy\\Failing Requests/sec", m_.hWPFailing);
  AddM("\\ISA Server Web Proxy\\DNS Cache Hits", m_.hWPDNSHits);
  AddM("\\ISA Server Web Proxy\\Incoming Connections/sec", m_.hWPIncoming);
  AddM("\\ISA Server Web Proxy\\Outgoing Connections/sec", m_.hWPOutgoing);
  AddM("\\ISA Server Firewall Service\\TCP Bytes Transferred/sec", m_.hFWTCPBytes);
  AddM("\\ISA Server Firewall Service\\UDP Bytes Transferred/sec", m_.hFWUDPBytes);
  AddM("\\ISA Server Firewall Service\\Accepting TCP Connections", m_.hFWAcceptTCP);
  AddM("\\ISA Server Firewall Service\\Worker Threads", m_.hFWWorkerThreads);
  AddM("\\ISA Server Firewall Service\\DNS Cache Hits %", m_.hFWDNSHits);
  AddM("\\ISA Server Firewall Packet Engine\\Active Connections", m_.hPEActive);
  AddM("\\FTP Service\\Bytes Sent/sec", m_.hFTPSent);
  AddM("\\FTP Service\\Bytes Received/sec", m_.hFTPReceived);
  // Its handle overwrites that of the first line of the pair.
  AddM("\\FTP Service\\Bytes Total/sec", m_.hFTPSent);
  AddM("\\Web Service\\Bytes Total/sec", m_.hWebBytes);
  AddM("\\Web Service\\Total Method Requests/sec", m_.hWebMethods);
  AddM("\\Web Service\\Current Connections", m_.hWebConnections);
  AddM("\\Web Service Cache\\File Cache Hits %", m_.hWebFileCacheHits);
  AddM("\\Web Service Cache\\Kernel:URI Cache Flushes", m_.hURIFlushes);
  AddM("\\Web Service Cache\\Kernel:URI Cache Misses", m_.hURIMisses);
  AddM("\\Web Service Cache\\Kernel:URI Cache Hits %", m_.hURIHits);
  AddM("\\Active Server Pages\\Request Wait Time", m_.hASPWait);
  AddM("\\Active Server Pages\\Requests Queued", m_.hASPQueued);
  AddM("\\Active Server Pages\\Transactions/sec", m_.hASPTransactions);
  AddM("\\FTP Service\\Bytes Sent/sec", m_.hFTPSent2);
  AddM("\\FTP Service\\Bytes Received/sec", m_.hFTPReceived2);
  AddM("\\ISA Server Firewall Packet Engine\\Backlogged Packets", m_.hPEBacklog);
  AddM("\\ISA Server Firewall Packet Engine\\Bytes/sec", m_.hPEBytes);
  AddM("\\ISA Server Firewall Packet Engine\\Dropped Packets/sec", m_.hPEDropped);
  AddM("\\ISA Server Firewall Packet Engine\\TCP Established Connections/sec", m_.hPEEstablished);
}

void CounterCatalogue::CounterSQL() {
  AddM("\\SQL Server: Latches Object\\Latch Waits/sec", m_.hSQLLatchWaits);
  AddM("\\SQL Server: Latches Object\\Total Latch Wait Time (ms)", m_.hSQLLatchTime);
  AddM("\\SQL Server: Latches Object\\Buffer Cache Hit Ratio", m_.hSQLCacheHit);
  static const char* const kUnread[14] = {
      "\\SQL Server: Buffer Manager Object\\Free list stall/sec",
      "\\SQL Server: Latches Object\\Free pages",
      "\\SQL Server: Buffer Manager Object\\Lazy Writes/sec",
      "\\SQL Server: Latches Object\\Page life expectancy",
      "\\SQL Server: Buffer Manager Object\\Page lookups/sec",
      "\\SQL Server: Latches Object\\Page Reads/sec",
      "\\SQL Server: Buffer Manager Object\\Page Writes/sec",
      "\\SQL Server: Access Methods Object\\Forwarded Records/sec",
      "\\SQL Server: Access Methods Object\\Full Scans/sec",
      "\\SQL Server: Access Methods Object\\Index Searches/sec",
      "\\SQL Server: Access Methods Object\\Page Splits/sec",
      "\\SQL Server: SQL Statistics Object\\Batch Requests/sec",
      "\\SQL Server: SQL Statistics Object\\SQL Compilations/sec",
      "\\SQL Server: SQL Statistics Object\\SQL Re-Compilations/sec"};
  for (size_t i = 0; i < 14; ++i) AddM(kUnread[i], m_.hSQLUnread[i]);
  AddM("\\SQLServer: General Statistics\\Logouts/sec", m_.hSQLLogouts);
}

void CounterCatalogue::ReadServerValues() {
  platform_.Counters().CollectQueryData(m_.PerfQuery);
  for (size_t i = 0; i < 33; ++i) m_.ServerValues[i] = Read(m_.hServer[i]);
}

const char* const kServerCaptions[33] = {"Bytes Total",
                                         "Bytes Received",
                                         "Bytes Transmitted",
                                         "Sessions Timed Out",
                                         "Sessions Errored Out",
                                         "Sessions Logged Off",
                                         "Sessions Forced Off",
                                         "Errors Logon",
                                         "Errors Access Permissions",
                                         "Errors Granted Access",
                                         "Errors System",
                                         "Blocking Requests Rejected",
                                         "Work Item Shortages",
                                         "Files Opened Total",
                                         "Files Open",
                                         "Server Sessions",
                                         "File Directory Searches",
                                         "Pool Nonpaged Bytes",
                                         "Pool Nonpaged Peak",
                                         "Pool Paged Bytes",
                                         "Pool Paged Peak",
                                         "Context Blocks Queued",
                                         "Logon",
                                         "Logon Total",
                                         "Total Durable Handles",
                                         "Reconnected Durable Handles",
                                         "SMB BC Hash Header Requests",
                                         "SMB BC Hash Generation Requests",
                                         "SMB BC Hash Requests Received",
                                         "SMB BC Hash Responses Sent",
                                         "SMB BC Hash Bytes Sent",
                                         "Total Resilient Handles",
                                         "Reconnected Resilient Handles"};

void ReadServerCounters(Context& ctx) {
  auto& m = ctx.model();
  if (m.LogAllSeconds == 0 && m.ServerConsoleOpen == 0) {
    m.ServerValues[12] = ctx.ReadCounter(m.hServer[12]);
  } else {
    CounterCatalogue(ctx).ReadServerValues();
  }
}

}  // namespace tarnex
