// The readers of the tracking counters: the statistics page (BuildHTML) and
// the statistics viewer (ViewStats, "Download/WebSite Statistics").
#pragma once

#include <string>

#include "core/context.h"

namespace tarnex {

// The page's text: groups 2, 3 and 1 in that order, 205 table rows always.
std::string StatsPage(Context& ctx);
// Writes the page to "\Files\WebStats.html", and to "WebStats.html" in the
// folder of "WebSite" when that has more than 2 characters.
void BuildHTML(Context& ctx);

// Fills the viewer's rows from the four groups and adds the totals row.
void LoadIt(Context& ctx);

// The viewer, with its timer of Auto Refresh.
class StatsViewer {
 public:
  explicit StatsViewer(Context& ctx);
  ~StatsViewer();
  StatsViewer(const StatsViewer&) = delete;
  StatsViewer& operator=(const StatsViewer&) = delete;

  void Open();
  void Close();
  // A click on the Auto Refresh box, which ticks or unticks it.
  void ToggleAutoRefresh();

 private:
  void Tick();

  Context& ctx_;
  int timer_;
};

}  // namespace tarnex
