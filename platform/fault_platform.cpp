#include "platform/fault_platform.h"

namespace tarnex {

int FaultInjector::Failed(const std::string& op) const {
  auto it = failed_.find(op);
  return it == failed_.end() ? 0 : it->second;
}

const Fault* FaultInjector::Trip(const std::string& op, const std::string& subject) {
  for (Fault& f : faults_) {
    if (f.op != op || f.times == 0) continue;
    if (!f.subject.empty() && subject.find(f.subject) == std::string::npos) continue;
    if (f.skip > 0) {
      --f.skip;
      continue;
    }
    if (f.times > 0) --f.times;
    ++failed_[op];
    return &f;
  }
  return nullptr;
}

bool FaultFiles::Stat(const std::string& path, FileInfo& info) const {
  return !faults_.Trip("stat", path) && inner_.Stat(path, info);
}

int FaultFiles::Open(const std::string& path, OpenFor how) {
  if (faults_.Trip("open", path)) return -1;
  const int file = inner_.Open(path, how);
  if (file >= 0) paths_[file] = path;
  return file;
}

int64_t FaultFiles::Read(int file, char* buffer, size_t size) {
  return faults_.Trip("read", paths_[file]) ? -1 : inner_.Read(file, buffer, size);
}

bool FaultFiles::Write(int file, std::string_view data) {
  if (const Fault* f = faults_.Trip("write", paths_[file])) {
    // A disk that fills in the middle of the data takes its first bytes.
    if (f->partial > 0) inner_.Write(file, data.substr(0, static_cast<size_t>(f->partial)));
    return false;
  }
  return inner_.Write(file, data);
}

bool FaultFiles::SetMode(int file, uint32_t mode) {
  return !faults_.Trip("chmod", paths_[file]) && inner_.SetMode(file, mode);
}

bool FaultFiles::Truncate(int file, int64_t size) {
  return !faults_.Trip("truncate", paths_[file]) && inner_.Truncate(file, size);
}

bool FaultFiles::Close(int file) {
  const std::string path = paths_[file];
  paths_.erase(file);
  const bool ok = inner_.Close(file);
  return !faults_.Trip("close", path) && ok;
}

bool FaultFiles::Rename(const std::string& from, const std::string& to) {
  return !faults_.Trip("rename", to) && inner_.Rename(from, to);
}

bool FaultFiles::Remove(const std::string& path) {
  return !faults_.Trip("remove", path) && inner_.Remove(path);
}

bool FaultFiles::MakeDir(const std::string& path) {
  return !faults_.Trip("mkdir", path) && inner_.MakeDir(path);
}

int FaultNetwork::Listen(int port, int& bound_port) {
  return faults_.Trip("listen", std::to_string(port)) ? -1 : inner_.Listen(port, bound_port);
}

int FaultNetwork::Accept(int listener) {
  return faults_.Trip("accept", "") ? -1 : inner_.Accept(listener);
}

bool FaultNetwork::Resolve(const std::string& host, std::string& address) {
  return !faults_.Trip("resolve", host) && inner_.Resolve(host, address);
}

int FaultNetwork::Connect(const std::string& address, int port) {
  if (faults_.Trip("connect", address + ":" + std::to_string(port))) return -1;
  return inner_.Connect(address, port);
}

int64_t FaultNetwork::Send(int fd, const char* data, size_t size) {
  return faults_.Trip("send", "") ? kFailed : inner_.Send(fd, data, size);
}

int64_t FaultNetwork::Receive(int fd, char* data, size_t size) {
  return faults_.Trip("receive", "") ? kFailed : inner_.Receive(fd, data, size);
}

bool FaultPlatform::ShellOpen(const std::string& file, const std::string& parameters,
                              const std::string& folder) {
  return !faults_.Trip("shell-open", file) &&
         ForwardingPlatform::ShellOpen(file, parameters, folder);
}

bool FaultPlatform::ProcessFileName(int64_t pid, std::string& path) {
  return !faults_.Trip("open-process", std::to_string(pid)) &&
         ForwardingPlatform::ProcessFileName(pid, path);
}

bool FaultPlatform::CloseWindow(int64_t window) {
  return !faults_.Trip("close-window", std::to_string(window)) &&
         ForwardingPlatform::CloseWindow(window);
}

CommandStart FaultPlatform::StartCommand(const std::string& command_line,
                                         std::unique_ptr<CommandPipe>& pipe) {
  if (faults_.Trip("start-command", command_line)) return CommandStart::kNotFound;
  return ForwardingPlatform::StartCommand(command_line, pipe);
}

}  // namespace tarnex
