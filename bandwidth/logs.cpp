#include "bandwidth/logs.h"

namespace tarnex {

namespace {

// A line that cannot be written is lost; there is no retry.
void AppendLog(Context& ctx, const char* name, const std::string& text) {
  ctx.fs().Append(ctx.Path(std::string("\\Logs\\") + name), text + "\r\n");
}

}  // namespace

void LogDailyBandwidth(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Daily Bandwidth.txt", text);
}
void LogDailyHardDrive(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Daily Hard Drive.txt", text);
}
void LogMonthlyBandwidth(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Monthly Bandwidth.txt", text);
}
void LogMonthlyHardDrive(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Monthly Hard Drive.txt", text);
}
void LogAnnualBandwidth(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Annual Bandwidth.txt", text);
}
void LogAnnualHardDrive(Context& ctx, const std::string& text) {
  AppendLog(ctx, "Annual Hard Drive.txt", text);
}

}  // namespace tarnex
