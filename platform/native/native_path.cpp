// Mapping the program's file names onto this host's file system.
//
// The common case is a name whose every component exists with the case given:
// one stat() of the whole path settles it. Otherwise the longest prefix that
// exists as spelled is found with a stat() per prefix, walking back from the
// full path, and the components after it are looked up by reading their
// directories. A component with no match ends the lookup: it and everything
// after it keep the spelling given, so a file about to be created gets exactly
// the name the program asked for, in the folder that does exist.
#include "platform/native/native_path.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tarnex {
namespace {

char FoldAscii(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsFolded(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

bool Exists(const char* path) {
  struct stat st;
  return ::stat(path, &st) == 0;
}

// One component of the normalised name: [begin, end) in the output text.
struct Component {
  std::size_t begin;
  std::size_t end;
};

// Reads `dir` and returns the entry that matches `want` without regard to
// case: the exact spelling if present, else the smallest name in byte order,
// so the choice does not depend on the order the file system lists entries.
// Returns false when the folder cannot be read or nothing matches.
bool FindCaseBlind(const char* dir, std::string_view want, std::string* found) {
  DIR* d = ::opendir(dir);
  if (d == nullptr) return false;
  bool have = false;
  while (const dirent* e = ::readdir(d)) {
    const std::string_view name(e->d_name);
    if (!EqualsFolded(name, want)) continue;
    if (name == want) {
      found->assign(name);
      have = true;
      break;
    }
    if (!have || name < std::string_view(*found)) {
      found->assign(name);
      have = true;
    }
  }
  ::closedir(d);
  return have;
}

}  // namespace

std::string NativePath(std::string_view name) {
  // Normalise: backslashes become slashes and runs of separators collapse.
  std::string out;
  out.reserve(name.size());
  for (char c : name) {
    if (c == '\\') c = '/';
    if (c == '/' && !out.empty() && out.back() == '/') continue;
    out.push_back(c);
  }
  if (out.empty()) return out;

  // The common case: the name exists exactly as spelled.
  if (Exists(out.c_str())) return out;

  // Split into components; a leading '/' makes the name absolute and a
  // trailing '/' is kept as it was given.
  const bool absolute = out.front() == '/';
  std::vector<Component> parts;
  {
    std::size_t i = absolute ? 1 : 0;
    while (i < out.size()) {
      std::size_t j = out.find('/', i);
      if (j == std::string::npos) j = out.size();
      parts.push_back({i, j});
      i = j + 1;
    }
  }
  if (parts.empty()) return out;  // "/" alone, which should have existed

  // Find how many leading components exist exactly as spelled. The whole name
  // does not, so at most parts.size() - 1 do. Each prefix is tested in place
  // by ending the text at the component's end for the duration of the stat().
  std::size_t known = parts.size() - 1;
  for (; known > 0; --known) {
    const std::size_t cut = parts[known - 1].end;
    const char saved = out[cut];
    out[cut] = '\0';
    const bool exists = Exists(out.c_str());
    out[cut] = saved;
    if (exists) break;
  }

  // Resolve the remaining components one by one by reading their folder.
  std::string found;
  std::string dir;
  for (std::size_t k = known; k < parts.size(); ++k) {
    const Component part = parts[k];
    const std::string_view want(out.data() + part.begin, part.end - part.begin);
    if (want == "." || want == "..") continue;

    static const std::string kHere = ".";
    static const std::string kRoot = "/";
    if (part.begin == 0) {
      dir = kHere;
    } else if (part.begin == 1 && absolute) {
      dir = kRoot;
    } else {
      dir.assign(out, 0, part.begin - 1);
    }
    if (!FindCaseBlind(dir.c_str(), want, &found)) break;  // the rest stays as given
    // A case-blind match has the same length as the name asked for, since
    // folding only changes ASCII letters; the text can be patched in place.
    out.replace(part.begin, part.end - part.begin, found);

    // Once a component is resolved, the rest may well exist as spelled.
    if (k + 1 < parts.size() && Exists(out.c_str())) break;
  }
  return out;
}

}  // namespace tarnex
