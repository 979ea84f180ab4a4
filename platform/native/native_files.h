// The host's files: the file layer over POSIX calls, with the program's names
// mapped case-blind onto existing paths (NativePath).
#pragma once

#include "platform/files.h"

namespace tarnex {

class NativeFiles : public Files {
 public:
  std::string Native(std::string_view name) const override;
  bool Stat(const std::string& path, FileInfo& info) const override;
  int Open(const std::string& path, OpenFor how) override;
  bool Info(int file, FileInfo& info) override;
  int64_t Read(int file, char* buffer, size_t size) override;
  bool Write(int file, std::string_view data) override;
  bool SetMode(int file, uint32_t mode) override;
  bool Truncate(int file, int64_t size) override;
  bool Close(int file) override;
  bool Rename(const std::string& from, const std::string& to) override;
  bool Remove(const std::string& path) override;
  bool MakeDir(const std::string& path) override;
  bool List(const std::string& path, std::vector<std::string>& names) const override;
  std::string TempPath(const std::string& path) const override;
  int64_t ClockNs() const override;
  std::optional<CivilTime> LocalTime(int64_t epoch_seconds) const override;
};

}  // namespace tarnex
