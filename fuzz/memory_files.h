// A file layer held in memory, for the fuzz targets: the settings store runs
// on it without touching the disk, so each input costs only the store's work.
// File times come from a clock that moves a second at every reading, so the
// store always trusts what it cached.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/files.h"

namespace tarnex::fuzz {

class MemoryFiles : public Files {
 public:
  // Puts a file in place, as another program would.
  void Put(const std::string& path, std::string content) {
    Node& n = files_[path];
    n.content = std::move(content);
    n.inode = ++inodes_;
    n.changed_ns = Tick();
  }
  const std::string* Content(const std::string& path) const {
    auto it = files_.find(path);
    return it == files_.end() ? nullptr : &it->second.content;
  }

  std::string Native(std::string_view name) const override { return std::string(name); }
  bool FolderExists(std::string_view name) const override { return name == "/"; }
  bool Stat(const std::string& path, FileInfo& info) const override {
    if (path == "/") {
      info = FileInfo{};
      info.folder = true;
      return true;
    }
    auto it = files_.find(path);
    if (it == files_.end()) return false;
    Fill(it->second, info);
    return true;
  }
  int Open(const std::string& path, OpenFor how) override {
    auto it = files_.find(path);
    switch (how) {
      case OpenFor::kRead:
      case OpenFor::kReadThroughLinks:
      case OpenFor::kAppendExisting:
        if (it == files_.end()) return -1;
        break;
      case OpenFor::kAppend:
        if (it == files_.end()) Put(path, {});
        break;
      case OpenFor::kWriteNew:
        if (it != files_.end()) return -1;
        Put(path, {});
        break;
    }
    open_[++handles_] = Handle{path, 0};
    return handles_;
  }
  bool Info(int file, FileInfo& info) override {
    Node* n = NodeOf(file);
    if (n == nullptr) return false;
    Fill(*n, info);
    return true;
  }
  int64_t Read(int file, char* buffer, size_t size) override {
    Node* n = NodeOf(file);
    if (n == nullptr) return -1;
    size_t& at = open_[file].at;
    const size_t count = std::min(size, n->content.size() - std::min(at, n->content.size()));
    if (count > 0) std::memcpy(buffer, n->content.data() + at, count);
    at += count;
    return static_cast<int64_t>(count);
  }
  bool Write(int file, std::string_view data) override {
    Node* n = NodeOf(file);
    if (n == nullptr) return false;
    n->content.append(data);
    n->changed_ns = Tick();
    return true;
  }
  bool SetMode(int file, uint32_t mode) override { return NodeOf(file) != nullptr; }
  bool Truncate(int file, int64_t size) override {
    Node* n = NodeOf(file);
    if (n == nullptr || size < 0) return false;
    n->content.resize(static_cast<size_t>(size));
    return true;
  }
  bool Close(int file) override { return open_.erase(file) == 1; }
  bool Rename(const std::string& from, const std::string& to) override {
    auto it = files_.find(from);
    if (it == files_.end()) return false;
    Node moved = std::move(it->second);
    files_.erase(it);
    moved.changed_ns = Tick();
    files_[to] = std::move(moved);
    return true;
  }
  bool Remove(const std::string& path) override { return files_.erase(path) == 1; }
  bool MakeDir(const std::string& path) override { return false; }
  // The names of the files directly in a folder ("/dir" or "/dir/").
  bool List(const std::string& path, std::vector<std::string>& names) const override {
    const std::string prefix = path.ends_with("/") ? path : path + "/";
    names.clear();
    for (const auto& [name, node] : files_) {
      if (name.rfind(prefix, 0) == 0 && name.find('/', prefix.size()) == std::string::npos) {
        names.push_back(name.substr(prefix.size()));
      }
    }
    return true;
  }
  std::string TempPath(const std::string& path) const override { return path + ".tmp1"; }
  int64_t ClockNs() const override { return Tick(); }
  std::optional<CivilTime> LocalTime(int64_t epoch_seconds) const override {
    return FromEpochMillis(epoch_seconds * 1000);
  }

 private:
  struct Node {
    std::string content;
    uint64_t inode = 0;
    int64_t changed_ns = 0;
  };
  struct Handle {
    std::string path;
    size_t at = 0;
  };

  int64_t Tick() const { return clock_ns_ += 1'000'000'000; }
  static void Fill(const Node& n, FileInfo& info) {
    info = FileInfo{};
    info.regular = true;
    info.inode = n.inode;
    info.size = static_cast<int64_t>(n.content.size());
    info.modified_ns = info.changed_ns = n.changed_ns;
    info.mode = 0644;
  }
  Node* NodeOf(int file) {
    auto h = open_.find(file);
    if (h == open_.end()) return nullptr;
    auto it = files_.find(h->second.path);
    return it == files_.end() ? nullptr : &it->second;
  }

  std::map<std::string, Node> files_;
  std::map<int, Handle> open_;
  uint64_t inodes_ = 0;
  int handles_ = 0;
  mutable int64_t clock_ns_ = 0;
};

}  // namespace tarnex::fuzz
