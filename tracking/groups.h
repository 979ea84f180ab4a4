// The four tracking groups: each has its log folder, how far into today's log
// it has read, and its list of tracked names.
#pragma once

#include <array>
#include <string>

#include "core/lists.h"
#include "core/model.h"

namespace tarnex {

struct TrackingGroup {
  Text ServerModel::*path;
  double ServerModel::*log_len;
  TextList ServerModel::*names;
};

inline const TrackingGroup& GroupOf(int group) {
  static const std::array<TrackingGroup, 4> groups = {{
      {&ServerModel::DataPath1, &ServerModel::LogLen1, &ServerModel::DataLog1},
      {&ServerModel::DataPath2, &ServerModel::LogLen2, &ServerModel::DataLog2},
      {&ServerModel::DataPath3, &ServerModel::LogLen3, &ServerModel::DataLog3},
      {&ServerModel::DataPath4, &ServerModel::LogLen4, &ServerModel::DataLog4},
  }};
  return groups[static_cast<size_t>(group - 1)];
}

// The group's list of names, "\Files\TData<N>.dat".
inline std::string NamesFile(int group) {
  return "\\Files\\TData" + std::to_string(group) + ".dat";
}

// The names of that file: its empty lines passed over, the others as they stand.
inline TextList TrackedNames(Context& ctx, int group) {
  return ListEntries(ctx, NamesFile(group), false, false);
}

}  // namespace tarnex
