// The server in words: the long summary (SummaryText, the mail and the
// server messages), the server record appended to the monitor journal each
// hour and at 23:59, and the month's bandwidth block.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// The long summary in mode "E" (the daily report), "S" or "F" (for a mail or
// a server message; the two come out the same): SummaryText, then
// "\Bin\ESummary.txt", and in modes "S" and "F" "\Bin\Summary.txt" with the
// system's error log after it.
void ModSummary(Context& ctx, const std::string& mode);

// The short record of the server, appended to "\Events\Monitor.txt".
void WriteServerRecord(Context& ctx);

// The month's bandwidth block, into BandwidthText.
void BandwidthSummary(Context& ctx);

// A back-up size in words: above 1e10 bytes in GB, above 1e7 in MB, else in
// bytes with two decimals.
std::string BackupSizeText(double bytes);

}  // namespace tarnex
