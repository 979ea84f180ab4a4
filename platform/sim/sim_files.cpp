#include "platform/sim/sim_files.h"

#include <cctype>

namespace tarnex {

namespace {

std::string FolderKey(std::string_view name) {
  std::string key(name);
  for (char& c : key)
    c = c == '/' ? '\\' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  while (key.size() > 1 && key.back() == '\\') key.pop_back();
  return key;
}

}  // namespace

void SimFiles::DeclareFolder(std::string_view name) {
  folders_.insert(FolderKey(name));
}

bool SimFiles::FolderExists(std::string_view name) const {
  return folders_.count(FolderKey(name)) != 0 || NativeFiles::FolderExists(name);
}

}  // namespace tarnex
