// Private-profile files ("[section]" and "key=value" lines) with the behaviour
// of the Windows profile API, ANSI flavour. Used for "\Bin\Tarnex.Tnx" and the
// other profile-format files of the system.
//
// Contract:
//  - a read sees what is in the file now, including what another program wrote;
//  - every write reaches the disk before it returns, so the file is current
//    whenever the event loop waits or yields;
//  - a write replaces the file through a temporary file and a rename, so a crash
//    at any moment leaves the old or the new file, never a torn one;
//  - parsed files are cached and the cache is checked against the file's
//    identity, size and modification time at every access.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnex {

class ProfileStore {
 public:
  ProfileStore();
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
  // removes the key's line. Returns false when the file could not be written.
  bool Write(const std::string& native_path, std::string_view section,
             std::optional<std::string_view> key, std::optional<std::string_view> value);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnex
