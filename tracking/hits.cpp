#include "tracking/hits.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/legacy.h"
#include "tracking/tracking_day.h"

namespace tarnex {

using legacy::FormatDate;
using legacy::Str;
using legacy::Val;

LogLines::LogLines(std::string_view text) : lowered_(legacy::LCase(text)) {
  const std::string_view all(lowered_);
  size_t start = 0;
  for (;;) {
    const size_t end = all.find("\r\n", start);
    const std::string_view piece =
        all.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (!piece.empty()) pieces_.push_back(piece);
    if (end == std::string_view::npos) break;
    start = end + 2;
  }
}

namespace {

// Names of four characters or more are found in one pass over the lines: a
// filter on the hash of every four characters, and a comparison only where
// the hash is that of a name's first four.
constexpr int kHashBits = 16;

uint32_t HashOfFour(const char* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof word);
  return (word * 0x9E3779B1u) >> (32 - kHashBits);
}

}  // namespace

std::vector<int64_t> LogLines::Count(const std::vector<std::string>& names) const {
  std::vector<int64_t> hits(names.size(), 0);
  std::vector<std::string> wanted;
  wanted.reserve(names.size());
  for (const std::string& name : names) wanted.push_back(legacy::LCase(name));

  std::vector<uint64_t> filter((size_t{1} << kHashBits) / 64, 0);
  std::vector<std::pair<uint32_t, size_t>> by_hash;  // sorted (hash, name)
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i].size() < 4) {
      // A short name (or an empty one, which every line holds) is looked for
      // line by line.
      for (const std::string_view piece : pieces_) {
        if (piece.find(wanted[i]) != std::string_view::npos) ++hits[i];
      }
      continue;
    }
    const uint32_t h = HashOfFour(wanted[i].data());
    filter[h >> 6] |= uint64_t{1} << (h & 63);
    by_hash.emplace_back(h, i);
  }
  if (by_hash.empty()) return hits;
  std::sort(by_hash.begin(), by_hash.end());

  // The last line each name was counted on, so that a line counts once a name.
  std::vector<size_t> counted_on(wanted.size(), SIZE_MAX);
  for (size_t line = 0; line < pieces_.size(); ++line) {
    const std::string_view piece = pieces_[line];
    for (size_t at = 0; at + 4 <= piece.size(); ++at) {
      const uint32_t h = HashOfFour(piece.data() + at);
      if (((filter[h >> 6] >> (h & 63)) & 1) == 0) continue;
      auto it = std::lower_bound(by_hash.begin(), by_hash.end(), std::make_pair(h, size_t{0}));
      for (; it != by_hash.end() && it->first == h; ++it) {
        const size_t i = it->second;
        const std::string& name = wanted[i];
        if (counted_on[i] == line || piece.size() - at < name.size()) continue;
        if (std::memcmp(piece.data() + at, name.data(), name.size()) == 0) {
          ++hits[i];
          counted_on[i] = line;
        }
      }
    }
  }
  return hits;
}

void RecordHits(Context& ctx, int group, const std::string& name, int64_t hits) {
  if (hits <= 0) return;
  const std::string file = TrackFile(group);
  const std::string today = FormatDate(ctx.Now(), "dd mmm yyyy");
  const double file_size = Val(ctx.INIRead(file, name, "FileSize"));
  double total = Val(ctx.INIRead(file, name, "Hits"));
  double day = Val(ctx.INIRead(file, name, "HitsToday"));
  double size = Val(ctx.INIRead(file, name, "Size"));
  // Each hit writes its figures as text and the next reads them back; the
  // same writes of the same values in between change nothing else, so they
  // are made once, with what the last hit would have written.
  std::string total_text, day_text, size_text;
  for (int64_t k = 0; k < hits; ++k) {
    total_text = Str(total + 1);
    day_text = Str(day + 1);
    size_text = Str(size + file_size);
    total = Val(total_text);
    day = Val(day_text);
    size = Val(size_text);
  }
  ctx.INIWrite(file, "TData", "Log Date", today);
  ctx.INIWrite(file, name, "Hits", total_text);
  ctx.INIWrite(file, name, "LastDate", today);
  ctx.INIWrite(file, name, "HitsToday", day_text);
  ctx.INIWrite(file, name, "Size", size_text);
}

void CountAndRecord(Context& ctx, int group, const std::vector<std::string>& names,
                    const LogLines& lines) {
  const std::vector<int64_t> hits = lines.Count(names);
  for (size_t i = 0; i < names.size(); ++i) RecordHits(ctx, group, names[i], hits[i]);
}

}  // namespace tarnex
