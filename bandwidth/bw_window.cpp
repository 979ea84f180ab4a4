#include "bandwidth/bw_window.h"

#include "core/lists.h"
#include "mail/summary.h"

namespace tarnex {

void OpenBWSum(Context& ctx) {
  auto& m = ctx.model();
  const bool daily = m.BWSumMode == 1;
  m.BWSumCaption = daily ? "Daily Bandwidth" : "Monthly Bandwidth";
  m.BWSumText = ReadTextFile(
      ctx, daily ? "\\Logs\\Daily Bandwidth.txt" : "\\Logs\\Monthly Bandwidth.txt", false);
}

void BWSumCommand2(Context& ctx) {
  auto& m = ctx.model();
  BandwidthSummary(ctx);
  ctx.fs().WriteAll(ctx.Path("\\Bin\\Daily Bandwidth.txt"), m.BandwidthText);
  ctx.ShowMessage("Date written to " + m.AppPath + "\\Bin\\BWSummary.txt");
  CloseBWSum(ctx);
}

void CloseBWSum(Context& ctx) {
  ctx.model().BWSumCaption.clear();
  ctx.model().BWSumText.clear();
}

}  // namespace tarnex
