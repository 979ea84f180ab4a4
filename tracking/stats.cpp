#include "tracking/stats.h"

#include <array>

#include "base/legacy.h"
#include "core/lists.h"
#include "tracking/groups.h"
#include "tracking/tracking_day.h"

namespace tarnex {

using legacy::Format;
using legacy::FormatDate;
using legacy::Str;
using legacy::Val;

namespace {

using Row = std::array<std::string, 5>;

struct Figures {
  std::string hits, today, size, last;
};

Figures ReadFigures(Context& ctx, int group, const std::string& name) {
  const std::string file = TrackFile(group);
  return {ctx.INIRead(file, name, "Hits"), ctx.INIRead(file, name, "HitsToday"),
          ctx.INIRead(file, name, "Size"), ctx.INIRead(file, name, "LastDate")};
}

std::string Zero(const std::string& text) {
  return text.empty() ? "0" : text;
}

std::string SizeText(double size, int group) {
  if (group != 4 && size < 1e9) return Format(size / 1000, "#,###") + " KB";
  if (size < 1e12) return Format(size / 1e6, "#,###") + " MB";
  return Format(size / 1e9, "#,###") + " GB";
}

}  // namespace

std::string StatsPage(Context& ctx) {
  // The grid: the header, then a row a name.
  std::vector<Row> grid = {{"Page/File Name", "Total Hits/Downloads", "Hits/Downloads Yesterday",
                            "Size", "Last Accessed"}};
  for (const int group : {2, 3, 1}) {
    for (const std::string& name : TrackedNames(ctx, group)) {
      const Figures f = ReadFigures(ctx, group, name);
      grid.push_back({name, Format(Val(Zero(f.hits)), "#,###"), Zero(f.today),
                      Format(Val(Zero(f.size)), "#,###") + " Bytes", f.last});
    }
  }
  const std::string q = "\"", crlf = "\r\n";
  std::string page;
  page += "<HTML><HEAD>" + crlf;
  page += "<TITLE>WebSite Stats</TITLE>" + crlf;
  page += "</HEAD>" + crlf;
  page += "<BODY BGCOLOR=" + q + "White" + q + " > " + crlf;
  page += "</FONT>" + crlf;
  page += "<FONT COLOR=" + q + "Black" + q + " SIZE=" + q + "6" + q + ">" + crlf;
  page += "Website Stats as of " + FormatDate(ctx.Now(), "dd mmm yyyy");
  page += "</BODY>" + crlf;
  page += "<table width=" + q + "100%" + q + " border=" + q + "8" + q + " cellspacing=" + q + "0" +
          q + " cellpadding=" + q + "0" + q + ">" + crlf;
  page += "<col style=" + q + crlf;
  page += "color:Black;" + crlf;
  page += "font-weight:bold;" + crlf;
  page += "background-color:White;" + crlf;
  page += "border:3px solid #000;";
  page += q + " />" + crlf;
  // Rows the grid does not have, the negative ones among them, fail at the
  // cell read: their cells come out with nothing inside.
  for (int row = -4; row <= 200; ++row) {
    page += "<tr>" + crlf;
    for (size_t col = 0; col < 5; ++col) {
      std::string text;
      if (row >= 0 && static_cast<size_t>(row) < grid.size()) {
        text = grid[static_cast<size_t>(row)][col];
        if (text.empty()) text = "&nbsp;";
      }
      page += "<td><b>" + text + "</b></td>" + crlf;
    }
    page += "<col style=" + q + "color:Black;font-weight:bold;background-color:White" + q + " />" +
            crlf;
    page += "</tr>" + crlf;
  }
  return page;
}

void BuildHTML(Context& ctx) {
  const std::string page = StatsPage(ctx);
  ctx.fs().WriteAll(ctx.Path("\\Files\\WebStats.html"), page);
  const std::string& site = ctx.model().WebSite;
  if (site.size() > 2) ctx.fs().WriteAll(site + "\\WebStats.html", page);
}

void LoadIt(Context& ctx) {
  auto& m = ctx.model();
  m.StatsRows.clear();
  m.StatsHits = m.StatsToday = m.StatsSize = 0;
  for (int group = 1; group <= 4; ++group) {
    for (const std::string& name : TrackedNames(ctx, group)) {
      const Figures f = ReadFigures(ctx, group, name);
      m.StatsHits += Val(f.hits);
      m.StatsToday += Val(f.today);
      m.StatsSize += Val(f.size);
      m.StatsRows.push_back(std::to_string(group) + ") " + name + "\t" +
                            Format(Val(f.hits), "#,###") + "\t" + f.today + "\t" +
                            SizeText(Val(f.size), group) + "\t" + f.last);
    }
  }
  m.StatsRows.push_back("4) Totals\t" + Format(m.StatsHits, "#,###") + "\t" +
                        Format(m.StatsToday, "#,###") + "\t" + Format(m.StatsSize / 1e9, "#,###") +
                        " GB");
}

StatsViewer::StatsViewer(Context& ctx)
    : ctx_(ctx), timer_(ctx.loop().AddTimer([this] { Tick(); })) {}

StatsViewer::~StatsViewer() {
  ctx_.loop().RemoveTimer(timer_);
}

void StatsViewer::Open() {
  ctx_.model().ViewStatsOpen = 1;
  LoadIt(ctx_);
}

void StatsViewer::Close() {
  auto& m = ctx_.model();
  m.ViewStatsOpen = 0;
  m.StatsAutoRefresh = 0;
  ctx_.loop().SetTimerEnabled(timer_, false);
}

void StatsViewer::ToggleAutoRefresh() {
  auto& m = ctx_.model();
  m.StatsAutoRefresh = m.StatsAutoRefresh == 1 ? 0 : 1;
  if (m.StatsAutoRefresh == 1) {
    ctx_.loop().SetTimerInterval(timer_, 1000);
    ctx_.loop().SetTimerEnabled(timer_, true);
    m.StatsCounter = 0;
  } else {
    ctx_.loop().SetTimerEnabled(timer_, false);
  }
}

void StatsViewer::Tick() {
  auto& m = ctx_.model();
  m.StatsCounter += 1;
  m.StatsLabel1 = Str(60 - m.StatsCounter);
  if (m.StatsCounter > 59) {
    m.StatsCounter = 0;
    LoadIt(ctx_);
  }
}

}  // namespace tarnex
