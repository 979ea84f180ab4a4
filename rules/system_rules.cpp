// The rules on memory, processor, disk, SQL Server, network, server and web
// counters, and the three trend rules. Each rule is written out in pass order
// with its own counts; the texts are the system's own, odd words included.
#include "base/legacy.h"
#include "rules/engine.h"

namespace tarnex {

using legacy::Format;
using legacy::Str;
using legacy::Val;

void MemoryRules(Context& ctx) {
  auto& m = ctx.model();

  // 1. Page reads. The text quotes the count of rule 9.
  if (m.PageReads > 9) m.BNCount[1] += 1;
  if (m.BNCount[1] > 29) {
    if (ReportStep(ctx, 1)) {
      AddText(m, "Memory Pages Per Sec was greater than 9 pages per sec for more than " +
                     Str(m.BNCount[9]));
    }
    m.BNCount[1] = 0;
  }

  // 2. Hard page faults: the ratio is compared with 40 as it stands. Both
  // rates go to text and back; a division by zero fails, and the failed test
  // counts as met.
  {
    const double input = Val(Str(m.PagesInput));
    const double faults = Val(Str(m.PageFaults));
    if (faults == 0 || input / faults > 40) m.BNCount[2] += 1;
  }
  if (m.BNCount[2] > 9) {
    if (ReportStep(ctx, 2)) {
      AddText(m, "Hard Page Faults was greater than 40% detected for more than " +
                     Str(m.BNCount[2]) +
                     " Sec. A High Value generally indicative of memory shortages of some kind.");
    }
    m.BNCount[2] = 0;
  }

  // 3. The page file; the count is cleared before the report step too.
  if (m.SwapCurrent > m.SwapTotal * 0.7 || m.SwapPeak > m.SwapTotal * 0.7) m.BNCount[3] += 1;
  if (m.BNCount[3] > 9) {
    m.BNCount[3] = 0;
    if (ReportStep(ctx, 3)) {
      AddText(m,
              "Swap File Current or Peak was greater than 70% of the Total Swap File. Possibly "
              "Increase the swap file size.");
    }
    m.BNCount[3] = 0;
  }

  // 4. Memory pages in three bands; the episode ends below 21, and the
  // numbers of the texts are not the thresholds.
  auto& band = m.MemPagesCount;
  if (m.MemPages > 750) {
    band[0] += 1;
  } else if (m.MemPages > 500) {
    band[1] += 1;
  } else if (m.MemPages > 250) {
    band[2] += 1;
  } else if (m.MemPages < 21) {
    if (ReportStep(ctx, 4)) {
      if (band[0] > 4) {
        AddText(m, "Memory Pages Per Sec was > 80 for more than " + Str(band[0]) +
                       " Sec. Possible Low Memory Issues!");
      } else if (band[1] > 4) {
        AddText(m, "Memory Pages Per Sec was > 60 for more than " + Str(band[1]) +
                       " Sec. Possible Start of Low Memory Issues!");
      } else if (band[2] > 9) {
        AddText(m, "Memory Pages Per Sec was > 40 for more than " + Str(band[2]) +
                       " Sec. Possible Start of Low Memory Issues!");
      }
    }
    band[0] = 0;
    band[1] = 0;
    band[2] = 0;
  }

  // 6. Available memory.
  if (m.MemAvailable < m.TotalMemory * 0.15) m.BNCount[6] += 1;
  if (m.BNCount[6] > 30) {
    if (ReportStep(ctx, 6)) {
      AddText(m, "Available Memory (RAM) has been Less than 15% of the Total Memory for " +
                     Str(m.BNCount[6]) + " Sec");
    }
    m.BNCount[6] = 0;
  }

  // 7. Committed memory.
  if (m.MemCommitted > m.TotalMemory * 0.75) m.BNCount[7] += 1;
  if (m.BNCount[7] > 30) {
    if (ReportStep(ctx, 7)) {
      AddText(m, "Used Memory (RAM) has been Greater than 75% of the Total Memory for " +
                     Str(m.BNCount[7]) + " Sec");
    }
    m.BNCount[7] = 0;
  }
}

namespace {

// The end of a processor episode for one of the rules 11, 12, 13: the hour
// texts go out unguarded, the shorter ones through the rule's report step,
// then the cleared slot goes to 0.
void CPUEpisodeEnd(Context& ctx, int key, size_t tested, size_t cleared) {
  auto& m = ctx.model();
  const double n = m.CPUCount[tested];
  if (n == 21600) AddText(m, "CPU Usage has been over 95% for 6 Hour");
  if (n == 18000) AddText(m, "CPU Usage has been over 95% for 5 Hour");
  if (n == 14400) AddText(m, "CPU Usage has been over 95% for 4 Hour");
  if (n == 10800) AddText(m, "CPU Usage has been over 95% for 3 Hour");
  if (n == 7200) AddText(m, "CPU Usage has been over 95% for 2 Hour");
  if (ReportStep(ctx, key)) {
    if (m.CPUCount[tested] == 3600) AddText(m, "CPU Usage has been over 95% for 1 Hour");
    if (m.CPUCount[tested] == 1800) AddText(m, "CPU Usage has been over 95% for 30 Min");
    if (m.CPUCount[tested] == 600) AddText(m, "CPU Usage has been over 95% for 10 Min");
    if (m.CPUCount[tested] == 300) AddText(m, "CPU Usage has been over 95% for 5 Min");
  }
  m.CPUCount[cleared] = 0;
}

}  // namespace

void CPURules(Context& ctx) {
  auto& m = ctx.model();
  const double processors = Val(m.ProcessorCount);
  const double usage = Val(m.CPUUsage);

  // 9. Privileged time against the usage. With no processor count the
  // division fails, and the failed test counts as met.
  {
    bool high = true;
    if (processors != 0) {
      high = Val(Format(Val(m.CPUPrivilege) / processors, "0")) > usage * 0.3;
    }
    if (high) m.BNCount[9] += 1;
  }
  if (m.BNCount[9] > 30) {
    if (ReportStep(ctx, 9)) {
      AddText(m, "CPU Privilage Timer was greater than 30% of the CPU Usage for more than " +
                     Str(m.BNCount[9]));
    }
    m.BNCount[9] = 0;
  }

  // 10. Interrupt time.
  if (Val(m.CPUInterrupt) > 50) m.BNCount[10] += 1;
  if (m.BNCount[10] > 15) {
    if (ReportStep(ctx, 10)) {
      AddText(m, "The CPU Interrupt has been greater than 50% for " + Str(m.BNCount[10]) +
                     " sec. Generally, if this value exceeds 50% of the processor time you may "
                     "have a hardware issue. Some components on the computer can force this "
                     "issue and not really be a problem.");
    }
    m.BNCount[10] = 0;
  }

  // 11, 12, 13. Episodes of high usage over one shared array of three slots;
  // the slot each rule counts in, tests and clears are not always the same.
  // 11: above 95, counts, tests and clears slot 2.
  if (usage > 95) {
    m.CPUCount[2] += 1;
  } else {
    CPUEpisodeEnd(ctx, 11, 2, 2);
  }
  // 12: above 85, counts slot 1, tests slot 2, clears slot 0.
  if (usage > 85) {
    m.CPUCount[1] += 1;
  } else {
    CPUEpisodeEnd(ctx, 12, 2, 0);
  }
  // 13: above 75, counts, tests and clears slot 0.
  if (usage > 75) {
    m.CPUCount[0] += 1;
  } else {
    CPUEpisodeEnd(ctx, 13, 0, 0);
  }
}

void DiskRules(Context& ctx) {
  auto& m = ctx.model();

  // 14. Disk queue.
  if (m.DiskQueue > 4) m.BNCount[14] += 1;
  if (m.BNCount[14] > 14) {
    if (ReportStep(ctx, 14)) {
      AddText(m, "Hard Drive Queue was Greater than 4 for " + Str(m.BNCount[14]) + " Sec");
    }
    m.BNCount[14] = 0;
  }

  // 15. Disk time in three independent bands, judged when it rises above 14.
  auto& idle = m.DiskIdleCount;
  if (m.DiskTime < 5) idle[0] += 1;
  if (m.DiskTime < 10) idle[1] += 1;
  if (m.DiskTime < 15) idle[2] += 1;
  if (m.DiskTime > 14) {
    if (ReportStep(ctx, 15)) {
      if (idle[0] > 29) AddText(m, "Hard Drive Idle was Less than 5 for " + Str(idle[0]) + " Sec");
      if (idle[1] > 29) {
        AddText(m, "Hard Drive Idle was Less than 10 for " + Str(idle[1]) + " Sec");
      }
      if (idle[2] > 29) {
        AddText(m, "Hard Drive Idle was Less than 15 for " + Str(idle[2]) + " Sec");
      }
    }
    idle[0] = 0;
    idle[1] = 0;
    idle[2] = 0;
  }
}

void SQLRules(Context& ctx) {
  auto& m = ctx.model();
  ReadSQLCounters(ctx, false);

  // 16. Buffer cache hit ratio.
  if (m.SQLCacheHit < 75 && m.SQLCacheHit != 0) m.BNCount[16] += 1;
  if (m.BNCount[16] > 15) {
    if (ReportStep(ctx, 16)) {
      AddText(m, "SQL Buffer Cache Hit Ratio per secondwas less than 75% for " +
                     Str(m.BNCount[16]) + " sec.");
    }
    m.BNCount[16] = 0;
  }

  // 17. Latch waits.
  if (m.SQLLatchWaits > 900) m.BNCount[17] += 1;
  if (m.BNCount[17] > 10) {
    if (ReportStep(ctx, 17)) {
      AddText(m, "SQL Latch Waits was greater than 900 ms for " + Str(m.BNCount[17]) +
                     " sec. Check Disk/Memory Performance 1. IO bottlenecks 2. Memory pressure "
                     "Normally reduced with more memory and/or IO capacity ");
    }
    m.BNCount[17] = 0;
  }

  // 18. Total latch wait time.
  if (m.SQLLatchTime > 900) m.BNCount[18] += 1;
  if (m.BNCount[18] > 10) {
    if (ReportStep(ctx, 18)) {
      AddText(m, "SQL Total Latch Wait Time was greater than 900 ms for " + Str(m.BNCount[18]) +
                     " sec. Check Disk/Memory Performance 1. IO bottlenecks 2. Memory pressure "
                     "Normally reduced with more memory and/or IO capacity ");
    }
    m.BNCount[18] = 0;
  }

  // 19. Logouts.
  if (m.SQLLogouts > 2) m.BNCount[19] += 1;
  if (m.BNCount[19] > 15) {
    if (ReportStep(ctx, 19)) {
      AddText(m, "The SQL Server General Statistics Logouts Sec was greater than 2 for " +
                     Str(m.BNCount[19]) +
                     " sec. This may indicates that the application is not correctly using "
                     "connection pooling..");
    }
    m.BNCount[19] = 0;
  }
}

void NetworkRules(Context& ctx) {
  auto& m = ctx.model();
  // The expected line speeds in megabits; 800000 makes them 80% of the line
  // in bits per second.
  const double expected_down = Val(m.DnBWLimit);
  const double expected_up = Val(m.UpBWLimit);

  // 20. Small packets.
  if (m.NetPackets > 1 && m.NetBytesTotal > 500 && m.NetBytesTotal / m.NetPackets < 100) {
    m.BNCount[20] += 1;
  }
  if (m.BNCount[20] > 15) {
    if (ReportStep(ctx, 20)) {
      AddText(m, "The number of Packets per sec is less than 100 Bytes for " + Str(m.BNCount[20]) +
                     " sec. You should look at MTU or network settings.");
    }
    m.BNCount[20] = 0;
  }

  // 21. Received traffic.
  if (m.CurRec > expected_down * 800000) m.BNCount[21] += 1;
  if (m.BNCount[21] > 15) {
    if (ReportStep(ctx, 21)) {
      AddText(m, "Bytes Received was greater than 80 MB for " + Str(m.BNCount[21]) +
                     " sec. This will have an affect on your Data Sent and you may want to look "
                     "into Received Connections, this could possibly indicate an attack.");
    }
    m.BNCount[21] = 0;
  }

  // 22. Sent traffic.
  if (m.CurSent > expected_up * 800000) m.BNCount[22] += 1;
  if (m.BNCount[22] > 15) {
    if (ReportStep(ctx, 22)) {
      AddText(m, "Bytes Sent was greater than 80 MB for " + Str(m.BNCount[22]) +
                     " sec. This will have an affect on your Data Receioved and you may want to "
                     "look into Received Connections, this could possibly indicate an DOS by "
                     "downloading too much data.");
    }
    m.BNCount[22] = 0;
  }

  // 23. Unicast packets received, compared with 75 as they stand.
  if (m.NetRecUnicast < 75 && m.NetRecUnicast != 0) m.BNCount[23] += 1;
  if (m.BNCount[23] > 15) {
    if (ReportStep(ctx, 23)) {
      AddText(m, "Packets Rec Unicast per second was less than 75% for " + Str(m.BNCount[23]) +
                     " sec. Should be the majority (99%).");
    }
    m.BNCount[23] = 0;
  }

  // 24. Unicast packets sent.
  if (m.NetSentUnicast < 75 && m.NetSentUnicast != 0) m.BNCount[24] += 1;
  if (m.BNCount[24] > 15) {
    if (ReportStep(ctx, 24)) {
      AddText(m, "Packets Sent Unicast per second was less than 75% for " + Str(m.BNCount[24]) +
                     " sec. Should be the majority (99%).");
    }
    m.BNCount[24] = 0;
  }

  // 25. Non-unicast received; the text speaks of the sent ones.
  if (m.NetRecNonUnicast < 5 && m.NetRecNonUnicast != 0) m.BNCount[25] += 1;
  if (m.BNCount[25] > 15) {
    if (ReportStep(ctx, 25)) {
      AddText(m, "Packets Sent Non-Unicast per second was less than 5 for " + Str(m.BNCount[25]) +
                     " sec. Should be the negligible.");
    }
    m.BNCount[25] = 0;
  }

  // 26. Non-unicast sent; the text speaks of the received ones.
  if (m.NetSentNonUnicast < 5 && m.NetSentNonUnicast != 0) m.BNCount[26] += 1;
  if (m.BNCount[26] > 15) {
    if (ReportStep(ctx, 26)) {
      AddText(m, "Packets Received Non-Unicast per second was less than 5 for " +
                     Str(m.BNCount[26]) + " sec. Should be the negligible.");
    }
    m.BNCount[26] = 0;
  }

  // 27. Output queue: tested below the figure its text states.
  if (m.NetOutQueue < 2 && m.NetOutQueue != 0) m.BNCount[27] += 1;
  if (m.BNCount[27] > 15) {
    if (ReportStep(ctx, 27)) {
      AddText(m,
              "The number of packets in queue waiting to be sent has been greater than 2 for "
              "over 15 sec. You should start looking to resolve a network bottleneck.");
    }
    m.BNCount[27] = 0;
  }

  // 28. Receive errors: tested below the figure its text states.
  if (m.NetRecErrors < 5 && m.NetRecErrors != 0) m.BNCount[28] += 1;
  if (m.BNCount[28] > 15) {
    if (ReportStep(ctx, 28)) {
      AddText(m,
              "The number of packets errors that kept in the TCP/IP stack from delivering "
              "packets has been greater than 2 for over 15 sec. You should start looking to "
              "resolve a network bottleneck.");
    }
    m.BNCount[28] = 0;
  }
}

void ServerRules(Context& ctx) {
  auto& m = ctx.model();

  // 29. Work item shortages (ServerValues(12)).
  if (m.ServerValues[12] > 3) m.BNCount[29] += 1;
  if (m.BNCount[29] > 15) {
    if (ReportStep(ctx, 29)) {
      AddText(m, "Server Work Item Shortages per second was greater than 3 for " +
                     Str(m.BNCount[29]) +
                     " sec. Consider tuning InitWorkItems or MaxWorkItems in the registry.");
    }
    m.BNCount[29] = 0;
  }

  // 30. Processor queue in three bands. The queue figure is never assigned,
  // so in practice the resting branch runs every second and writes the key.
  // All three texts quote the poor count.
  auto& q = m.QueueCount;
  if (m.ProcessorQueue > 12) {
    q[0] += 1;
  } else if (m.ProcessorQueue > 8) {
    q[1] += 1;
  } else if (m.ProcessorQueue > 4) {
    q[2] += 1;
  } else {
    bool spoke = false;
    if (ReportStep(ctx, 30)) {
      if (q[0] > 14) {
        AddText(m, "Processor Queued Length has been greater than 12 for " + Str(q[0]) +
                       " Sec: CPU Performance is Poor");
        q[0] = 0;
        spoke = true;
      } else if (q[1] > 14) {
        AddText(m, "Processor Queued Length has been greater than 12 for " + Str(q[0]) +
                       " Sec: CPU Performance is Fair");
        q[1] = 0;
        spoke = true;
      } else if (q[2] > 14) {
        AddText(m, "Processor Queued Length has been greater than 12 for " + Str(q[0]) +
                       " Sec: CPU Performance is Good but still operating lower than expected.");
        q[2] = 0;
        spoke = true;
      }
    }
    if (!spoke) {
      q[0] = 0;
      q[1] = 0;
      q[2] = 0;
    }
  }
}

void WebRules(Context& ctx) {
  auto& m = ctx.model();
  ReadWebCounters(ctx, true);

  // 31. Flushes against the freshly read misses, which they overwrite when
  // they are the greater; rule 32 then sees that value.
  if (m.URIFlushes > m.URIMisses) {
    m.URIMisses = m.URIFlushes;
    m.BNCount[31] += 1;
  }
  if (m.BNCount[31] > 49) {
    if (ReportStep(ctx, 31)) {
      AddText(m, "Web Service Kernal URI Cache Flushes has continued to grow, more than 50 Time.");
    }
    m.BNCount[31] = 0;
  }

  // 32. Misses, high-water.
  if (m.URIMisses > m.BNHigh[32]) {
    m.BNHigh[32] = m.URIMisses;
    m.BNCount[32] += 1;
  }
  if (m.BNCount[32] > 49) {
    if (ReportStep(ctx, 32)) {
      AddText(m, "Web Service Kernal URI Cache Misses has continued to grow, more than 50 Time.");
    }
    m.BNCount[32] = 0;
  }

  // 33. Request wait time, high-water.
  if (m.ASPWait > m.BNHigh[33]) {
    m.BNHigh[33] = m.ASPWait;
    m.BNCount[33] += 1;
  }
  if (m.BNCount[33] > 49) {
    if (ReportStep(ctx, 33)) {
      AddText(m, "Active Server Pages Request Wait Time has continued to grow, more than 50 Time.");
    }
    m.BNCount[33] = 0;
  }

  // 34. Requests queued, high-water.
  if (m.ASPQueued > m.BNHigh[34]) {
    m.BNHigh[34] = m.ASPQueued;
    m.BNCount[34] += 1;
  }
  if (m.BNCount[34] > 49) {
    if (ReportStep(ctx, 34)) {
      AddText(m, "Active Server Pages Request Queued has continued to grow, more than 50 Time.");
    }
    m.BNCount[34] = 0;
  }
}

void TrendRules(Context& ctx) {
  auto& m = ctx.model();
  // New highest values since the last firing, in whatever time; the highest
  // value survives the firing. No key, no report step.
  if (m.PoolNonpaged > m.TrendHigh[0]) {
    m.TrendHigh[0] = m.PoolNonpaged;
    m.TrendCount[0] += 1;
  }
  if (m.TrendCount[0] > 600) {
    AddText(m,
            "Pool Non-Paged Memory has steadily increased over the past 10 minutes indicating a "
            "possible Memory Leak.");
    m.TrendCount[0] = 0;
  }

  if (m.PoolPaged > m.TrendHigh[1]) {
    m.TrendHigh[1] = m.PoolPaged;
    m.TrendCount[1] += 1;
  }
  if (m.TrendCount[1] > 600) {
    AddText(m,
            "Pool Paged Memory has steadily increased over the past 10 minutes indicating a "
            "possible Memory Leak.");
    m.TrendCount[1] = 0;
  }

  if (m.PagesOutput > m.TrendHigh[2]) {
    m.TrendHigh[2] = m.PagesOutput;
    m.TrendCount[2] += 1;
  }
  if (m.TrendCount[2] > 600) {
    AddText(m,
            "Memory Pages Output has steadily increased over the past 10 minutes indicating your "
            "system is on the verge of being truly strained for memory. As memory begins to run "
            "short, the system will attempt to first start reducing the applications to their "
            "minimum working set. This means moving more information out to the pagefiles and "
            "disk");
    m.TrendCount[2] = 0;
  }
}

}  // namespace tarnex
