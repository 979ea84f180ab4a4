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

}  // namespace tarnex
