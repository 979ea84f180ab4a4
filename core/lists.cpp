#include "core/lists.h"

#include "base/legacy.h"

namespace tarnex {

std::string ReadTextFile(Context& ctx, const std::string& name, bool create) {
  Files& fs = ctx.fs();
  const std::string path = ctx.Path(name);
  std::string text;
  if (fs.ReadAll(path, text)) return text;
  if (create) fs.Append(path, "");
  return {};
}

std::vector<std::string> ReadListFile(Context& ctx, const std::string& name, bool create) {
  return legacy::Split(ReadTextFile(ctx, name, create), "\r\n");
}

std::vector<std::string> ListEntries(Context& ctx, const std::string& name, bool create,
                                     bool trim) {
  std::vector<std::string> entries;
  for (const std::string& line : ReadListFile(ctx, name, create)) {
    std::string entry = trim ? legacy::Trim(line) : line;
    if (!entry.empty()) entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace tarnex
