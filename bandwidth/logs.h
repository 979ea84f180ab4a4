// The six statistics logs under "\Logs", one line a call, appended for ever.
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

void LogDailyBandwidth(Context& ctx, const std::string& text);
void LogDailyHardDrive(Context& ctx, const std::string& text);
void LogMonthlyBandwidth(Context& ctx, const std::string& text);
void LogMonthlyHardDrive(Context& ctx, const std::string& text);
void LogAnnualBandwidth(Context& ctx, const std::string& text);
void LogAnnualHardDrive(Context& ctx, const std::string& text);

}  // namespace tarnex
