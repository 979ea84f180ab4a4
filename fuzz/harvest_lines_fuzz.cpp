// The harvest's line handling on any text: the first line names the tracked
// names, parted by "|"; the rest is the log. The one-pass count must agree
// with a plain search of every line for every name.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/legacy.h"
#include "tracking/hits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t end = input.find('\n');
  const std::string first = input.substr(0, end);
  const std::string log = end == std::string::npos ? std::string() : input.substr(end + 1);
  const std::vector<std::string> names = tarnex::legacy::Split(first, "|");
  const tarnex::LogLines lines(log);
  const std::vector<int64_t> counts = lines.Count(names);
  for (size_t k = 0; k < names.size(); ++k) {
    int64_t expected = 0;
    for (const std::string& piece : tarnex::legacy::Split(log, "\r\n")) {
      if (!piece.empty() && tarnex::legacy::InStr(1, piece, names[k], true) > 0) ++expected;
    }
    if (counts[k] != expected) std::abort();
  }
  return 0;
}
