#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>

#include "platform/native/native_path.h"

namespace tarnex {

namespace {

bool WriteFully(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = ::write(fd, text.data(), text.size());
    if (n <= 0) return false;
    text.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

std::string FolderKey(std::string_view name) {
  std::string key(name);
  for (char& c : key)
    c = c == '/' ? '\\' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  while (key.size() > 1 && key.back() == '\\') key.pop_back();
  return key;
}

}  // namespace

std::string Files::Native(std::string_view name) const {
  if (name.empty() || (name[0] != '/' && name[0] != '\\')) return {};
  return NativePath(name);
}

bool Files::FolderExists(std::string_view name) const {
  const std::string path = Native(name);
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool Files::MakeFolder(std::string_view name) {
  const std::string path = Native(name);
  return !path.empty() && ::mkdir(path.c_str(), 0755) == 0;
}

bool Files::Append(std::string_view name, std::string_view text, bool create) {
  const std::string path = Native(name);
  if (path.empty()) return false;
  const int fd =
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | (create ? O_CREAT : 0), 0644);
  if (fd < 0) return false;
  const bool ok = WriteFully(fd, text);
  ::close(fd);
  return ok;
}

bool Files::WriteAll(std::string_view name, std::string_view text) {
  const std::string path = Native(name);
  if (path.empty()) return false;
  const std::string temp = path + ".tmp" + std::to_string(::getpid());
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  const bool ok = WriteFully(fd, text);
  ::close(fd);
  if (!ok || std::rename(temp.c_str(), path.c_str()) != 0) {
    ::unlink(temp.c_str());
    return false;
  }
  return true;
}

std::optional<CivilTime> Files::Modified(std::string_view name) const {
  const std::string path = Native(name);
  struct stat st {};
  if (path.empty() || ::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  struct tm local {};
  const time_t seconds = st.st_mtim.tv_sec;
  if (::localtime_r(&seconds, &local) == nullptr) return std::nullopt;
  CivilTime t;
  t.year = local.tm_year + 1900;
  t.month = local.tm_mon + 1;
  t.day = local.tm_mday;
  t.hour = local.tm_hour;
  t.minute = local.tm_min;
  t.second = local.tm_sec;
  return t;
}

void SimFiles::DeclareFolder(std::string_view name) {
  folders_.insert(FolderKey(name));
}

bool SimFiles::FolderExists(std::string_view name) const {
  return folders_.count(FolderKey(name)) != 0 || Files::FolderExists(name);
}

}  // namespace tarnex
