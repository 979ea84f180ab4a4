// tarnex-sbackup: the back-up companion, put in place as TarnexSBackup.exe in
// the installation folder, where the server starts it. With -S it backs up
// every entry of "\Bin\ServerBackup.Tnx" into the back-up location "BU Path"
// as one dated archive (tar with gzip); with -F it also closes the programs
// of "Close Prog 1" to "Close Prog 4" first and starts them again after. It
// writes "BU File Total Size" and "BU File Total Cnt", appends a line to
// "\Events\BackUp.txt" (-S) or "\Events\FBackUp.txt" (-F), and ends with 1 and
// the reason in that line when the run fails. See docs/backup.md.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "backup/backup_settings.h"
#include "backup/programs.h"
#include "base/legacy.h"
#include "core/lists.h"
#include "tools/companion.h"

namespace {

namespace fs = std::filesystem;
using tarnex::companion::Server;

// How long the closed programs have to end before the archive is made anyway.
constexpr int kCloseWaitSeconds = 60;

struct Failure {
  std::string reason;
};

// Whether `path` is `folder` or lies under it.
bool Under(const fs::path& path, const fs::path& folder) {
  const auto rel = path.lexically_relative(folder);
  return !rel.empty() && *rel.begin() != "..";
}

// The files of the back-up list's entries, as host paths: a folder with its
// sub-folders ("FOLDER\|Subs"), a folder's own files ("FOLDER\|None"), one
// file ("FOLDER\FILE|File"). Nothing under `skip`, the back-up location.
std::vector<std::string> FilesOf(Server& server, const std::vector<std::string>& entries,
                                 const fs::path& skip) {
  std::vector<std::string> files;
  for (const std::string& entry : entries) {
    const size_t bar = entry.rfind('|');
    const std::string kind = bar == std::string::npos ? "" : entry.substr(bar + 1);
    std::string name = bar == std::string::npos ? entry : entry.substr(0, bar);
    if (kind != "Subs" && kind != "None" && kind != "File") {
      throw Failure{"the entry \"" + entry + "\" is not a folder or a file of the list"};
    }
    if (kind != "File" && name.size() > 1 && name.back() == '\\') name.pop_back();
    const std::string path = server.host().Fs().Native(name);
    std::error_code error;
    if (path.empty()) throw Failure{"\"" + name + "\" names nothing on this host"};
    if (kind == "File") {
      if (!fs::is_regular_file(path, error)) throw Failure{"cannot read the file " + path};
      files.push_back(path);
      continue;
    }
    if (!fs::is_directory(path, error)) throw Failure{"cannot read the folder " + path};
    const auto take = [&](const fs::directory_entry& e) {
      std::error_code ignored;
      if (e.is_regular_file(ignored) && !e.is_symlink(ignored) && !Under(e.path(), skip)) {
        files.push_back(e.path().string());
      }
    };
    if (kind == "Subs") {
      for (fs::recursive_directory_iterator it(path, error), end; !error && it != end;
           it.increment(error)) {
        if (Under(it->path(), skip)) {
          it.disable_recursion_pending();
          continue;
        }
        take(*it);
      }
    } else {
      for (fs::directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
        take(*it);
      }
    }
    if (error) throw Failure{"cannot read the folder " + path + ": " + error.message()};
  }
  return files;
}

// Writes the archive of `files` to `archive`, through a partial file beside
// it; the names inside are the host paths less their leading "/".
void MakeArchive(const std::vector<std::string>& files, const std::string& archive) {
  const std::string partial = archive + ".partial";
  const std::string list = archive + ".list";
  {
    std::string names;
    for (const std::string& f : files) names += f.substr(1) + '\0';
    std::FILE* out = std::fopen(list.c_str(), "wb");
    if (out == nullptr) throw Failure{"cannot write in the back-up location: " + list};
    const bool written = std::fwrite(names.data(), 1, names.size(), out) == names.size();
    if (std::fclose(out) != 0 || !written) {
      std::remove(list.c_str());
      throw Failure{"cannot write in the back-up location: " + list};
    }
  }
  std::string output;
  const int code = tarnex::companion::Run(
      {"tar", "-czf", partial, "-C", "/", "--null", "--no-recursion", "-T", list}, output);
  std::remove(list.c_str());
  std::error_code error;
  if (code != 0) {
    fs::remove(partial, error);
    throw Failure{"tar ended with " + std::to_string(code) + ": " +
                  tarnex::companion::LastLine(output)};
  }
  fs::rename(partial, archive, error);
  if (error) {
    fs::remove(partial, error);
    throw Failure{"cannot name the archive " + archive};
  }
}

int Usage() {
  std::fputs("usage: TarnexSBackup.exe -S | -F\n", stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || (std::strcmp(argv[1], "-S") != 0 && std::strcmp(argv[1], "-F") != 0)) {
    return Usage();
  }
  const bool full = std::strcmp(argv[1], "-F") == 0;
  const std::string journal = full ? "FBackUp.txt" : "BackUp.txt";
  const std::string what = full ? "Full back-up" : "File back-up";
  const std::string app = tarnex::companion::InstallationFolder();
  if (app.empty()) return Usage();
  Server server(app);
  tarnex::Context& ctx = server.ctx();
  std::string closed_text;
  bool closed_any = false;  // and not started again yet
  try {
    const std::string target = server.BackupFolder();
    std::error_code error;
    if (target.empty() || !fs::is_directory(target, error)) {
      throw Failure{"the back-up location \"" + server.Setting("BU Path") + "\" is not a folder"};
    }
    const std::vector<std::string> entries =
        tarnex::ListEntries(ctx, "\\Bin\\ServerBackup.Tnx", false, true);
    if (entries.empty()) throw Failure{"the back-up list is empty"};
    const std::vector<std::string> files =
        FilesOf(server, entries, fs::weakly_canonical(target, error));
    const std::string stamp =
        tarnex::legacy::FormatDate(server.host().Loop().Now(), "yyyymmdd-hhnnss");
    std::string archive = target + "/" + tarnex::companion::kArchivePrefix + (full ? "F-" : "S-") +
                          stamp + tarnex::companion::kArchiveSuffix;
    for (int n = 2; fs::exists(archive, error); ++n) {
      archive = target + "/" + tarnex::companion::kArchivePrefix + (full ? "F-" : "S-") + stamp +
                "-" + std::to_string(n) + tarnex::companion::kArchiveSuffix;
    }
    if (full) {
      // The programs to close, asked by SIGTERM; each has a while to end.
      tarnex::LoadClosePrograms(ctx);
      tarnex::CloseALL(ctx);
      auto& m = ctx.model();
      for (size_t i = 0; i < 4; ++i) {
        if (m.ClosedHandle[i] == 0) continue;
        closed_any = true;
        closed_text += (closed_text.empty() ? "" : ", ") + m.CloseME[i];
        for (int tenths = 0; tenths < kCloseWaitSeconds * 10; ++tenths) {
          if (tarnex::IsRunning(ctx, m.CloseME[i]) == 0) break;
          std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
      }
    }
    MakeArchive(files, archive);
    if (closed_any) tarnex::StartP(ctx);
    const bool restarted = closed_any;
    closed_any = false;
    const auto archives = tarnex::companion::ArchivesIn(target);
    const auto size = fs::file_size(archive, error);
    if (!server.WriteFigures({{"BU File Total Size", std::to_string(archives.bytes)},
                              {"BU File Total Cnt", std::to_string(archives.names.size())}})) {
      throw Failure{"cannot write the back-up figures to \\Bin\\Tarnex.Tnx"};
    }
    std::string line = what + " complete: " + std::to_string(files.size()) + " files in " +
                       archive + " (" + std::to_string(size) + " bytes)";
    if (restarted) line += "; closed and started again: " + closed_text;
    server.Journal(journal, line);
    return 0;
  } catch (const Failure& failure) {
    if (closed_any) tarnex::StartP(ctx);
    server.Journal(journal, what + " failed: " + failure.reason);
    std::fprintf(stderr, "TarnexSBackup.exe: %s\n", failure.reason.c_str());
    return 1;
  }
}
