#include "platform/files.h"

namespace tarnex {

bool Files::FolderExists(std::string_view name) const {
  const std::string path = Native(name);
  FileInfo info;
  return !path.empty() && Stat(path, info) && info.folder;
}

bool Files::MakeFolder(std::string_view name) {
  const std::string path = Native(name);
  return !path.empty() && MakeDir(path);
}

bool Files::Append(std::string_view name, std::string_view text, bool create) {
  const std::string path = Native(name);
  if (path.empty()) return false;
  const int file = Open(path, create ? OpenFor::kAppend : OpenFor::kAppendExisting);
  if (file < 0) return false;
  FileInfo before;
  bool ok = Info(file, before);
  if (ok && !Write(file, text)) {
    // Whatever part of the text got in goes again.
    Truncate(file, before.size);
    ok = false;
  }
  return Close(file) && ok;
}

bool Files::WriteAll(std::string_view name, std::string_view text) {
  const std::string path = Native(name);
  return !path.empty() && Replace(path, text);
}

bool Files::ReadAll(std::string_view name, std::string& text) {
  const std::string path = Native(name);
  FileInfo info;
  return !path.empty() && ReadFile(path, text, info);
}

std::optional<CivilTime> Files::Modified(std::string_view name) const {
  const std::string path = Native(name);
  FileInfo info;
  if (path.empty() || !Stat(path, info) || !info.regular) return std::nullopt;
  const int64_t ns = info.modified_ns;
  return LocalTime(ns >= 0 ? ns / 1000000000 : -((-ns + 999999999) / 1000000000));
}

void Files::RemoveFilesOf(std::string_view folder) {
  const std::string path = Native(folder);
  std::vector<std::string> names;
  if (path.empty() || !List(path, names)) return;
  for (const std::string& name : names) {
    FileInfo info;
    const std::string file = path + "/" + name;
    if (Stat(file, info) && info.regular) Remove(file);
  }
}

std::optional<int64_t> Files::Size(std::string_view name) const {
  const std::string path = Native(name);
  FileInfo info;
  if (path.empty() || !Stat(path, info) || !info.regular) return std::nullopt;
  return info.size;
}

bool Files::ReadFile(const std::string& path, std::string& content, FileInfo& info, size_t limit,
                     OpenFor how) {
  content.clear();
  const int file = Open(path, how);
  if (file < 0) return false;
  bool ok = Info(file, info) && info.regular && static_cast<uint64_t>(info.size) <= limit;
  if (ok) {
    // The size stat(2) gave is read, and whatever has grown since, up to the
    // limit; a later change shows in the file's size or times.
    const size_t size = static_cast<size_t>(info.size);
    content.resize(size + 1);
    size_t got = 0;
    for (;;) {
      if (got == content.size()) content.resize(content.size() * 2 + 64);
      const int64_t n = Read(file, content.data() + got, content.size() - got);
      if (n <= 0) {
        ok = n == 0;
        break;
      }
      got += static_cast<size_t>(n);
      if (got > limit) ok = false;
      if (!ok || (got == size && size != 0)) break;
    }
    content.resize(ok ? got : 0);
  }
  Close(file);
  return ok;
}

bool Files::Replace(const std::string& path, std::string_view content, std::optional<uint32_t> mode,
                    FileInfo* written) {
  const std::string temp = TempPath(path);
  int file = Open(temp, OpenFor::kWriteNew);
  if (file < 0) {
    // A temporary file left by an earlier process with this number goes.
    if (!Remove(temp)) return false;
    file = Open(temp, OpenFor::kWriteNew);
    if (file < 0) return false;
  }
  FileInfo info;
  bool ok = Write(file, content) && Info(file, info);
  if (ok && mode && (info.mode & 07777) != (*mode & 07777)) {
    ok = SetMode(file, *mode) && Info(file, info);
  }
  if (!Close(file)) ok = false;
  if (ok) ok = Rename(temp, path);
  if (!ok) {
    Remove(temp);
    return false;
  }
  if (written != nullptr) *written = info;
  return true;
}

}  // namespace tarnex
