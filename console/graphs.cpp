#include "console/graphs.h"

#include "base/legacy.h"
#include "core/figures.h"

namespace tarnex {

void OpenCPUGraph(Context& ctx) {
  auto& m = ctx.model();
  const auto plot = [](History& chart, const TextList& samples) {
    for (const std::string& s : samples) {
      Plot(chart, static_cast<int32_t>(legacy::CLng(legacy::Val(s))));
    }
  };
  plot(m.CPUU0, m.CAver1);
  plot(m.CPUU1, m.CAver2);
  plot(m.CPUU2, m.CAver3);
}

bool ChartOf(ServerModel& m, const std::string& name, History*& history, double& scale) {
  // The two longer CPU charts take the sent-traffic scale, as they always have.
  const struct {
    const char* name;
    History ServerModel::*history;
    double fixed;
    double ServerModel::*scale;
  } charts[] = {
      {"picGraph0", &ServerModel::picGraph0, 100, nullptr},
      {"picGraph1", &ServerModel::picGraph1, 0, &ServerModel::ScaleRec},
      {"picGraph2", &ServerModel::picGraph2, 0, &ServerModel::ScaleSent},
      {"CPUU0", &ServerModel::CPUU0, 100, nullptr},
      {"CPUU1", &ServerModel::CPUU1, 0, &ServerModel::ScaleSent},
      {"CPUU2", &ServerModel::CPUU2, 0, &ServerModel::ScaleSent},
  };
  for (const auto& c : charts) {
    if (name != c.name) continue;
    history = &(m.*c.history);
    scale = c.scale != nullptr ? m.*c.scale : c.fixed;
    return true;
  }
  return false;
}

std::vector<std::pair<int, int>> ChartPoints(const History& history, double scale) {
  std::vector<std::pair<int, int>> points;
  points.reserve(history.size());
  for (size_t i = 0; i < history.size(); ++i) {
    points.emplace_back(static_cast<int>(i), static_cast<int>(scale) - history[i]);
  }
  return points;
}

}  // namespace tarnex
