// Files and folders. The logic names files the way the program always has
// (AppPath & "\Logs\..."); Native() maps such a name to a path on this host.
// A provider implements the primitive operations on host paths, each close to
// one system call; the helpers below compose them, so a wrapper that makes one
// primitive fail (a fault test) exercises what the helpers do about it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/civil_time.h"

namespace tarnex {

// What stat(2) tells of a file, in the terms the logic uses.
struct FileInfo {
  bool regular = false;
  bool folder = false;
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t size = 0;
  int64_t modified_ns = 0;  // since 1970, on the file system's clock
  int64_t changed_ns = 0;
  uint32_t mode = 0;  // permission bits

  bool SameFile(const FileInfo& o) const { return device == o.device && inode == o.inode; }
  // The same file, unchanged as far as its size and times can tell.
  bool SameState(const FileInfo& o) const {
    return SameFile(o) && size == o.size && modified_ns == o.modified_ns &&
           changed_ns == o.changed_ns;
  }
};

// How a file is opened. Whatever the way, only a regular file opens: a
// folder, a named pipe, a device or a socket where a file is expected fails
// at once, and nothing waits on it. Except with kReadThroughLinks, a symbolic
// link in the last component of the path fails too, so that a link planted in
// the installation folder never leads a read or a write elsewhere.
enum class OpenFor {
  kRead,              // an existing file, to read
  kReadThroughLinks,  // an existing file the operator named, to read, links followed
  kAppend,            // to append, created when missing
  kAppendExisting,    // to append, only when it exists
  kWriteNew,          // a new file that must not exist yet (a temporary file)
};

class Files {
 public:
  virtual ~Files() = default;

  // The host path of a program name, or "" when the name leads nowhere on
  // this host (a drive-letter name of a simulated machine).
  virtual std::string Native(std::string_view name) const = 0;

  // Primitives, on host paths. A file handle is a small non-negative number;
  // -1 means the file could not be opened.
  virtual bool Stat(const std::string& path, FileInfo& info) const = 0;
  virtual int Open(const std::string& path, OpenFor how) = 0;
  virtual bool Info(int file, FileInfo& info) = 0;
  // Bytes read (0 at the end), or -1 on failure.
  virtual int64_t Read(int file, char* buffer, size_t size) = 0;
  // Writes all of `data`; false when any of it could not be written.
  virtual bool Write(int file, std::string_view data) = 0;
  virtual bool SetMode(int file, uint32_t mode) = 0;
  // Cuts an open file back to `size` bytes.
  virtual bool Truncate(int file, int64_t size) = 0;
  virtual bool Close(int file) = 0;
  // Puts `from` in the place of `to` in one step: a reader sees the old file
  // or the new one, never neither.
  virtual bool Rename(const std::string& from, const std::string& to) = 0;
  virtual bool Remove(const std::string& path) = 0;
  virtual bool MakeDir(const std::string& path) = 0;
  // The names of the entries of a folder ("." and ".." left out).
  virtual bool List(const std::string& path, std::vector<std::string>& names) const = 0;
  // The name of this process's temporary file for `path`, in the same folder.
  virtual std::string TempPath(const std::string& path) const = 0;
  // The clock file times are taken from, in nanoseconds since 1970.
  virtual int64_t ClockNs() const = 0;
  // Seconds since 1970 as local time.
  virtual std::optional<CivilTime> LocalTime(int64_t epoch_seconds) const = 0;

  // Helpers by program name.
  virtual bool FolderExists(std::string_view name) const;
  // Makes one folder; fails when it exists already or its parent does not.
  bool MakeFolder(std::string_view name);
  // Appends to a file, creating it when `create` is set. The text goes in
  // whole or not at all: a write that fails part-way (a full disk) is cut
  // back, so the file ends as it did before.
  bool Append(std::string_view name, std::string_view text, bool create = true);
  // Replaces a file's content atomically (see Replace).
  bool WriteAll(std::string_view name, std::string_view text);
  // The whole content of a file; false when it cannot be read.
  bool ReadAll(std::string_view name, std::string& text);
  // When a file was last modified, in local time; nothing when it does not exist.
  std::optional<CivilTime> Modified(std::string_view name) const;
  // Removes every file of a folder ("\Events\SnapShot\*.*"), passing over
  // those that cannot be removed.
  void RemoveFilesOf(std::string_view folder);
  // The size of a file in bytes; nothing when it is not a file that can be seen.
  std::optional<int64_t> Size(std::string_view name) const;

  // Helpers by host path.
  // The content of a file with what stat(2) said of it when it was opened.
  // `limit` bounds the size read; a larger file fails.
  bool ReadFile(const std::string& path, std::string& content, FileInfo& info,
                size_t limit = SIZE_MAX, OpenFor how = OpenFor::kRead);
  // The atomic replacement: the whole content goes to a temporary file beside
  // `path`, which then takes the place of `path`. A failure at any step
  // leaves the old file as it was and no temporary file. `mode`, when given,
  // becomes the new file's permission bits; `written` receives what stat(2)
  // says of the new file.
  bool Replace(const std::string& path, std::string_view content,
               std::optional<uint32_t> mode = std::nullopt, FileInfo* written = nullptr);
};

}  // namespace tarnex
