// The hit rule shared by the harvest of today's log and the back-fill of old
// ones: a line is a hit of a tracked name when it holds the name anywhere,
// without regard to case; each line counts once for each name it holds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/context.h"

namespace tarnex {

// A log's text cut at CR LF, with its non-empty pieces (the lines of the
// pass). The text is kept folded to lower case, so the pieces are too; the
// digits of a date are the same either way.
class LogLines {
 public:
  explicit LogLines(std::string_view text);
  const std::vector<std::string_view>& pieces() const { return pieces_; }

  // For each name, how many pieces hold it.
  std::vector<int64_t> Count(const std::vector<std::string>& names) const;

 private:
  std::string lowered_;
  std::vector<std::string_view> pieces_;
};

// The profile work of `hits` hits of `name` in the group's Track file, as each
// hit does it: "FileSize", "Hits", "HitsToday" and "Size" read, "Log Date"
// written, then "Hits", "LastDate", "HitsToday" and "Size". Each hit reads back
// what the one before wrote, so the values go through their text each time.
void RecordHits(Context& ctx, int group, const std::string& name, int64_t hits);

// Counts every name of `names` over the lines and records the hits, name by
// name in list order.
void CountAndRecord(Context& ctx, int group, const std::vector<std::string>& names,
                    const LogLines& lines);

}  // namespace tarnex
