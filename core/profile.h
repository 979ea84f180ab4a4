// Private-profile files ("[section]" and "key=value" lines) with the behaviour
// of the Windows profile API, ANSI flavour. Used for "\Bin\Tarnex.Tnx" and the
// other profile-format files of the system. All file access goes through the
// platform's file layer.
//
// Contract (docs/settings-store.md):
//  - a read sees what is in the file now, including what another program
//    wrote, and what this process wrote, whether or not it is on disk yet;
//  - a write changes the store at once and the file at the next Flush; the
//    event loop flushes before it waits, yields or sleeps, and the program
//    flushes at exit, so the file is current whenever other code can run;
//  - a flush replaces each changed file once, through a temporary file and a
//    rename, so a crash at any moment leaves the old or the new file;
//  - parsed files are cached and the cache is checked against the file's
//    identity, size and modification time at every access.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace tarnex {

class ProfileStore {
 public:
  explicit ProfileStore(Files& files);
  ~ProfileStore();
  ProfileStore(const ProfileStore&) = delete;
  ProfileStore& operator=(const ProfileStore&) = delete;

  // GetPrivateProfileString with an empty default: the value cut to
  // buffer_size - 1 characters; "" for a missing file, section or key.
  std::string Read(const std::string& native_path, std::string_view section, std::string_view key,
                   std::size_t buffer_size = 1024);

  // GetPrivateProfileString with a null key: the key names of the section,
  // each followed by a NUL, packed and cut to the buffer as the platform does.
  std::string SectionKeys(const std::string& native_path, std::string_view section,
                          std::size_t buffer_size = 255);

  // WritePrivateProfileString. A null key removes the section, a null value
  // removes the key's line. The file changes at the next Flush. Returns false
  // when the file cannot be written: it exists and cannot be read, or it
  // does not exist and neither does its folder.
  bool Write(const std::string& native_path, std::string_view section,
             std::optional<std::string_view> key, std::optional<std::string_view> value);

  // Writes every file changed since the last flush, each once. A file that
  // cannot be written loses the changes, as a failed write would; false then.
  bool Flush();
  // Whether a file has changes not yet on disk.
  bool Dirty() const;

  // A new turn of the program's loop begins. Once turns are counted, the
  // store looks at a file on disk at its first access in a turn only; what
  // another program changes during a turn is seen from the next turn on, and
  // kept by the flush (see docs/settings-store.md).
  void NewTurn();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnex
