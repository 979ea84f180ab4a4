// Fields of the server model owned by the performance counters: the query,
// the counter handles and the values they fill.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_COUNTER_FIELDS(X)               \
  X(uint32_t, PerfQuery, 0)                    \
  X(int32_t, AdapterCount, 0)                  \
  X(Texts<6>, AdapterName, {})                 \
  /* server service */                         \
  X(Doubles<33>, ServerValues, {})             \
  /* ISA Server, web and ASP: whole numbers */ \
  X(int32_t, CacheDiskFailure, 0)              \
  X(int32_t, CacheMemAllocated, 0)             \
  X(int32_t, CacheDiskAllocated, 0)            \
  X(int32_t, CacheMemUsage, 0)                 \
  X(int32_t, CacheDiskWrite, 0)                \
  X(int32_t, CacheDiskURL, 0)                  \
  X(int32_t, CacheDiskBytes, 0)                \
  X(int32_t, CacheMemURL, 0)                   \
  X(int32_t, CacheMemBytes, 0)                 \
  X(int32_t, WPCacheHit, 0)                    \
  X(int32_t, WPReverseBytes, 0)                \
  X(int32_t, WPAvgMs, 0)                       \
  X(int32_t, WPDirectFetches, 0)               \
  X(int32_t, WPCacheFetches, 0)                \
  X(int32_t, WPRequests, 0)                    \
  X(int32_t, WPFailing, 0)                     \
  X(int32_t, WPDNSHits, 0)                     \
  X(int32_t, WPIncoming, 0)                    \
  X(int32_t, FWAcceptTCP, 0)                   \
  X(int32_t, FWWorkerThreads, 0)               \
  X(int32_t, FWDNSHits, 0)                     \
  X(int32_t, PEActive, 0)                      \
  X(int32_t, URIFlushes, 0)                    \
  X(int32_t, URIMisses, 0)                     \
  X(int32_t, ASPWait, 0)                       \
  X(int32_t, ASPQueued, 0)                     \
  X(int32_t, PEBacklog, 0)                     \
  X(int32_t, PEBytes, 0)                       \
  X(int32_t, PEEstablished, 0)                 \
  X(int32_t, PEPackets, 0)                     \
  /* SQL Server */                             \
  X(double, SQLLatchWaits, 0)                  \
  X(double, SQLLatchTime, 0)                   \
  X(double, SQLCacheHit, 0)                    \
  X(double, SQLLogouts, 0)                     \
  /* never assigned */                         \
  X(double, ProcessorQueue, 0)                 \
  /* page file, megabytes */                   \
  X(double, SwapCurrent, 0)                    \
  X(double, SwapPeak, 0)                       \
  X(double, SwapTotal, 0)                      \
  X(Text, SwapPeakText, "")                    \
  X(Text, SwapText, "")                        \
  /* program watch */                          \
  X(TextList, Programlist, {})                 \
  X(TextList, Programlist2, {})                \
  X(int32_t, ProgLast, -1)                     \
  X(int32_t, ProgIndex, 0)                     \
  X(double, ServiceCount, 0)                   \
  X(Text, ServiceText, "")                     \
  X(ProgHandles, hProgCPU, {})                 \
  X(ProgHandles, hProgVirtual, {})             \
  X(ProgHandles, hProgFaults, {})              \
  X(ProgHandles, hProgWorkingSet, {})          \
  X(ProgHandles, hProgRead, {})                \
  X(ProgHandles, hProgWrite, {})               \
  X(ProgValues, ProgCPU, {})                   \
  X(ProgValues, ProgVirtual, {})               \
  X(ProgValues, ProgFaults, {})                \
  X(ProgValues, ProgWorkingSet, {})            \
  X(ProgValues, ProgRead, {})                  \
  X(ProgValues, ProgWrite, {})                 \
  /* network counters, one slot per adapter */ \
  X(AdapterHandles, hNetBytesTotal, {})        \
  X(AdapterHandles, hNetBytesRec, {})          \
  X(AdapterHandles, hNetBytesSent, {})         \
  X(AdapterHandles, hNetPacketsRec, {})        \
  X(AdapterHandles, hNetPacketsSent, {})       \
  X(AdapterHandles, hNetRecErrors, {})         \
  X(AdapterHandles, hNetOutErrors, {})         \
  X(AdapterHandles, hNetOutQueue, {})          \
  X(AdapterHandles, hNetOffloaded, {})         \
  X(AdapterHandles, hNetPackets, {})           \
  X(AdapterHandles, hNetRecUnicast, {})        \
  X(AdapterHandles, hNetRecNonUnicast, {})     \
  X(AdapterHandles, hNetSentUnicast, {})       \
  X(AdapterHandles, hNetSentNonUnicast, {})    \
  X(ServerHandles, hServer, {})                \
  X(SQLHandles, hSQLUnread, {})                \
  X(int32_t, ServerConsoleOpen, 0)

// Counter handles; 0 until a counter is added.
#define TARNEX_HANDLE_FIELDS(X) \
  X(hCPUUsage)                  \
  X(hCPUSpeed)                  \
  X(hDPCRate)                   \
  X(hDPCQueued)                 \
  X(hDPCPercent)                \
  X(hInterrupts)                \
  X(hCPUPrivilege)              \
  X(hCPUInterrupt)              \
  X(hProcessCount)              \
  X(hThreadCount)               \
  X(hHandleCount)               \
  X(hUpTime)                    \
  X(hContextSwitches)           \
  X(hSystemCalls)               \
  X(hPageFaults)                \
  X(hMemAvailable)              \
  X(hMemCommitted)              \
  X(hPageReads)                 \
  X(hPageWrites)                \
  X(hCacheBytes)                \
  X(hCachePeak)                 \
  X(hMemPages)                  \
  X(hPoolNonpaged)              \
  X(hPagesInput)                \
  X(hPagesOutput)               \
  X(hPoolPaged)                 \
  X(hDiskFreePercent)           \
  X(hDiskFreeMB)                \
  X(hDiskQueue)                 \
  X(hDiskTime)                  \
  X(hDiskReadBps)               \
  X(hDiskWriteBps)              \
  X(hDiskIdle)                  \
  X(hDiskSplitIO)               \
  X(hCacheDiskFailure)          \
  X(hCacheMemAllocated)         \
  X(hCacheDiskAllocated)        \
  X(hCacheMemUsage)             \
  X(hCacheDiskWrite)            \
  X(hCacheDiskURL)              \
  X(hCacheDiskBytes)            \
  X(hCacheMemURL)               \
  X(hCacheMemBytes)             \
  X(hWPCacheHit)                \
  X(hWPReverseBytes)            \
  X(hWPAvgMs)                   \
  X(hWPDirectFetches)           \
  X(hWPCacheFetches)            \
  X(hWPRequests)                \
  X(hWPFailing)                 \
  X(hWPDNSHits)                 \
  X(hWPIncoming)                \
  X(hFWAcceptTCP)               \
  X(hFWWorkerThreads)           \
  X(hFWDNSHits)                 \
  X(hPEActive)                  \
  X(hURIFlushes)                \
  X(hURIMisses)                 \
  X(hASPWait)                   \
  X(hASPQueued)                 \
  X(hPEBacklog)                 \
  X(hPEBytes)                   \
  X(hPEEstablished)             \
  X(hWPOutgoing)                \
  X(hFWTCPBytes)                \
  X(hFWUDPBytes)                \
  X(hFTPSent)                   \
  X(hFTPReceived)               \
  X(hWebBytes)                  \
  X(hWebMethods)                \
  X(hWebConnections)            \
  X(hWebFileCacheHits)          \
  X(hURIHits)                   \
  X(hASPTransactions)           \
  X(hFTPSent2)                  \
  X(hFTPReceived2)              \
  X(hPEDropped)                 \
  X(hProcessorQueue)            \
  X(hSQLLatchWaits)             \
  X(hSQLLatchTime)              \
  X(hSQLCacheHit)               \
  X(hSQLLogouts)
