// The settings store on a file of any content: every read and write must
// work, and what the store holds after its writes must read exactly as the
// file it flushed reads to a store that parses it afresh.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/profile.h"
#include "fuzz/memory_files.h"

namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// Section and key names as the file spells them, a few of each, and some
// that it may not hold.
void Names(std::string_view text, std::vector<std::string>& sections,
           std::vector<std::string>& keys) {
  sections = {"Server", "Bottleneck"};
  keys = {"First Run", "1"};
  size_t at = 0;
  while (at < text.size() && (sections.size() < 12 || keys.size() < 12)) {
    size_t end = text.find_first_of("\r\n", at);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = Trim(text.substr(at, end - at));
    at = end + 1;
    if (!line.empty() && line.front() == '[') {
      const size_t close = line.rfind(']');
      const std::string_view name = close == std::string_view::npos || close == 0
                                        ? line.substr(1)
                                        : line.substr(1, close - 1);
      if (sections.size() < 12) sections.emplace_back(Trim(name));
    } else if (const size_t eq = line.find('='); eq != std::string_view::npos) {
      if (keys.size() < 12) keys.emplace_back(Trim(line.substr(0, eq)));
    }
  }
}

void Check(bool holds) {
  if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string path = "/Tarnex.Tnx";
  tarnex::fuzz::MemoryFiles files;
  files.Put(path, text);
  tarnex::ProfileStore store(files);
  std::vector<std::string> sections, keys;
  Names(text, sections, keys);

  for (const std::string& s : sections) {
    store.SectionKeys(path, s);
    store.SectionKeys(path, s, 5);
    for (const std::string& k : keys) {
      store.Read(path, s, k);
      store.Read(path, s, k, 3);
    }
  }

  // Writes of every kind: values in place, new keys, new sections at the
  // end, values holding a line end, removals of keys and of sections.
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string& s = sections[i % sections.size()];
    const std::string value = (size % (i + 2) == 0) ? "v\r\nx=" + std::to_string(i) : keys[i];
    store.Write(path, s, keys[i], value);
    store.Write(path, "Added" + std::to_string(i % 3), keys[i], std::to_string(i));
    if (i % 4 == 3) store.Write(path, s, keys[(i + 1) % keys.size()], std::nullopt);
    if (i % 5 == 4)
      store.Write(path, sections[(i + 2) % sections.size()], std::nullopt, std::nullopt);
  }
  for (int i = 0; i < 40; ++i) store.Write(path, "Bottleneck", std::to_string(i), "1");
  sections.push_back("Added0");
  sections.push_back("Added1");
  sections.push_back("Added2");

  Check(store.Flush());
  tarnex::ProfileStore fresh(files);
  for (const std::string& s : sections) {
    Check(store.SectionKeys(path, s) == fresh.SectionKeys(path, s));
    for (const std::string& k : keys) Check(store.Read(path, s, k) == fresh.Read(path, s, k));
    for (int i = 0; i < 40; i += 13) {
      Check(store.Read(path, s, std::to_string(i)) == fresh.Read(path, s, std::to_string(i)));
    }
  }
  return 0;
}
