#include "tools/companion.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "base/legacy.h"

extern char** environ;

namespace tarnex::companion {

namespace fs = std::filesystem;

bool IsArchiveName(const std::string& name) {
  const std::string prefix = kArchivePrefix, suffix = kArchiveSuffix;
  return name.size() > prefix.size() + suffix.size() &&
         name.compare(0, prefix.size(), prefix) == 0 &&
         name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string InstallationFolder() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  return error ? std::string() : self.parent_path().string();
}

namespace {

LinuxOptions Options(const std::string& app_path) {
  LinuxOptions options;
  options.app_path = app_path;
  return options;
}

}  // namespace

Server::Server(const std::string& app_path)
    : host_(Options(app_path)), profiles_(host_.Fs()), ctx_(host_, model_, profiles_) {
  model_.AppPath = app_path;
}

std::string Server::Setting(const std::string& section, const std::string& key) {
  return ctx_.INIRead(Context::kSettingsFile, section, key);
}

bool Server::WriteFigures(const std::vector<std::pair<std::string, std::string>>& keys) {
  for (const auto& [key, value] : keys) ctx_.INIWrite(Context::kSettingsFile, "Server", key, value);
  return profiles_.Flush();
}

std::string Server::BackupFolder() {
  return host_.Fs().Native(legacy::Trim(Setting("BU Path")));
}

void Server::Journal(const std::string& name, const std::string& text) {
  Files& files = host_.Fs();
  if (!files.FolderExists(ctx_.Path("\\Events"))) files.MakeFolder(ctx_.Path("\\Events"));
  const std::string stamp = legacy::FormatDate(host_.Loop().Now(), "dd mmm yyyy hh:mm:ssampm");
  files.Append(ctx_.Path("\\Events\\" + name), stamp + "  " + text + "\r\n");
}

Archives ArchivesIn(const std::string& folder) {
  Archives out;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    std::error_code size_error;
    if (!IsArchiveName(name) || !it->is_regular_file(size_error)) continue;
    const auto size = fs::file_size(it->path(), size_error);
    if (size_error) continue;
    out.names.push_back(name);
    out.bytes += static_cast<int64_t>(size);
  }
  std::sort(out.names.begin(), out.names.end());
  return out;
}

int Run(const std::vector<std::string>& args, std::string& output) {
  output.clear();
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
  std::vector<std::string> copy = args;
  std::vector<char*> argv;
  for (auto& a : copy) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int started = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(fds[1]);
  if (started != 0) {
    ::close(fds[0]);
    output = args[0] + ": " + std::strerror(started);
    return -1;
  }
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
    if (n > 0) {
      output.append(buffer, static_cast<size_t>(n));
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      break;
    }
  }
  ::close(fds[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
}

std::string LastLine(const std::string& output) {
  size_t end = output.find_last_not_of("\r\n ");
  if (end == std::string::npos) return {};
  const size_t start = output.find_last_of("\r\n", end);
  return output.substr(start == std::string::npos ? 0 : start + 1,
                       end - (start == std::string::npos ? 0 : start + 1) + 1);
}

}  // namespace tarnex::companion
