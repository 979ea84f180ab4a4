#include "platform/fault_platform.h"

namespace tarnex {

class FaultPlatform::FaultFiles : public Files {
 public:
  FaultFiles(FaultPlatform& owner, Files& inner) : owner_(owner), inner_(inner) {}

  std::string Native(std::string_view name) const override { return inner_.Native(name); }
  bool FolderExists(std::string_view name) const override { return inner_.FolderExists(name); }
  bool Stat(const std::string& path, FileInfo& info) const override {
    return !owner_.Trip("stat", path) && inner_.Stat(path, info);
  }
  int Open(const std::string& path, OpenFor how) override {
    if (owner_.Trip("open", path)) return -1;
    const int file = inner_.Open(path, how);
    if (file >= 0) paths_[file] = path;
    return file;
  }
  bool Info(int file, FileInfo& info) override { return inner_.Info(file, info); }
  int64_t Read(int file, char* buffer, size_t size) override {
    return owner_.Trip("read", paths_[file]) ? -1 : inner_.Read(file, buffer, size);
  }
  bool Write(int file, std::string_view data) override {
    if (const Fault* f = owner_.Trip("write", paths_[file])) {
      if (f->partial > 0) {
        inner_.Write(file, data.substr(0, static_cast<size_t>(f->partial)));
      }
      return false;
    }
    return inner_.Write(file, data);
  }
  bool SetMode(int file, uint32_t mode) override {
    return !owner_.Trip("chmod", paths_[file]) && inner_.SetMode(file, mode);
  }
  bool Close(int file) override {
    const std::string path = paths_[file];
    paths_.erase(file);
    const bool ok = inner_.Close(file);
    return !owner_.Trip("close", path) && ok;
  }
  bool Rename(const std::string& from, const std::string& to) override {
    return !owner_.Trip("rename", to) && inner_.Rename(from, to);
  }
  bool Remove(const std::string& path) override {
    return !owner_.Trip("remove", path) && inner_.Remove(path);
  }
  bool MakeDir(const std::string& path) override {
    return !owner_.Trip("mkdir", path) && inner_.MakeDir(path);
  }
  std::string TempPath(const std::string& path) const override { return inner_.TempPath(path); }
  int64_t ClockNs() const override { return inner_.ClockNs(); }
  std::optional<CivilTime> LocalTime(int64_t epoch_seconds) const override {
    return inner_.LocalTime(epoch_seconds);
  }

 private:
  FaultPlatform& owner_;
  Files& inner_;
  std::map<int, std::string> paths_;  // what each open handle names
};

class FaultPlatform::FaultNetwork : public Network {
 public:
  FaultNetwork(FaultPlatform& owner, Network& inner) : owner_(owner), inner_(inner) {}

  int Listen(int port, int& bound_port) override {
    return owner_.Trip("listen", std::to_string(port)) ? -1 : inner_.Listen(port, bound_port);
  }
  int Accept(int listener) override {
    return owner_.Trip("accept", "") ? -1 : inner_.Accept(listener);
  }
  std::string PeerAddress(int fd, int& port) override { return inner_.PeerAddress(fd, port); }
  bool Resolve(const std::string& host, std::string& address) override {
    return !owner_.Trip("resolve", host) && inner_.Resolve(host, address);
  }
  int Connect(const std::string& address, int port) override {
    return owner_.Trip("connect", address + ":" + std::to_string(port))
               ? -1
               : inner_.Connect(address, port);
  }
  bool ConnectSucceeded(int fd) override { return inner_.ConnectSucceeded(fd); }
  int64_t Send(int fd, const char* data, size_t size) override {
    return owner_.Trip("send", "") ? kFailed : inner_.Send(fd, data, size);
  }
  int64_t Receive(int fd, char* data, size_t size) override {
    return owner_.Trip("receive", "") ? kFailed : inner_.Receive(fd, data, size);
  }
  void Close(int fd) override { inner_.Close(fd); }

 private:
  FaultPlatform& owner_;
  Network& inner_;
};

FaultPlatform::FaultPlatform(Platform& inner)
    : ForwardingPlatform(inner),
      files_(std::make_unique<FaultFiles>(*this, inner.Fs())),
      net_(std::make_unique<FaultNetwork>(*this, inner.Net())) {}

FaultPlatform::~FaultPlatform() = default;

void FaultPlatform::Inject(Fault fault) {
  faults_.push_back(std::move(fault));
}

int FaultPlatform::Failed(const std::string& op) const {
  auto it = failed_.find(op);
  return it == failed_.end() ? 0 : it->second;
}

const Fault* FaultPlatform::Trip(const std::string& op, const std::string& subject) {
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

Files& FaultPlatform::Fs() {
  return *files_;
}

Network& FaultPlatform::Net() {
  return *net_;
}

bool FaultPlatform::ShellOpen(const std::string& file, const std::string& parameters,
                              const std::string& folder) {
  return !Trip("shell-open", file) && ForwardingPlatform::ShellOpen(file, parameters, folder);
}

CommandStart FaultPlatform::StartCommand(const std::string& command_line,
                                         std::unique_ptr<CommandPipe>& pipe) {
  if (Trip("start-command", command_line)) return CommandStart::kNotFound;
  return ForwardingPlatform::StartCommand(command_line, pipe);
}

}  // namespace tarnex
