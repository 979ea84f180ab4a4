// Private-profile files: parsing, lookups, in-place edits and atomic replacement.
//
// A file is parsed once into its raw bytes plus a table of lines; names and
// values are views into the raw bytes. Edits are made by splicing the raw
// bytes, so every line that is not written keeps its bytes (its line end
// included). The parsed form is cached per path and checked against the
// file's stat() at every access; see Entry for the rules.
#include "core/profile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tarnex {
namespace {

constexpr std::uint32_t kNone = 0xffffffffu;
// Offsets into a file are 32-bit; larger files are refused (read as missing
// content, never written).
constexpr std::size_t kMaxFileSize = std::size_t{1} << 30;

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

char Fold(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// Names compare without regard to ASCII case; other bytes compare exactly.
bool EqualsFolded(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Fold(a[i]) != Fold(b[i])) return false;
  }
  return true;
}

std::size_t HashFolded(std::string_view s, std::size_t h = 14695981039346656037ull) {
  for (char c : s) {
    h ^= static_cast<unsigned char>(Fold(c));
    h *= 1099511628211ull;
  }
  return h;
}

enum class LineKind : std::uint8_t { kOther, kSection, kKey };

struct Line {
  std::uint32_t begin;  // first byte of the line
  std::uint32_t end;    // one past the last byte before the line end
  std::uint32_t next;   // first byte after the line end (== end on a last line without one)
  LineKind kind;
  std::uint32_t section;     // block the line belongs to, or kNone before the first header
  std::uint32_t name_begin;  // key or section name, trimmed
  std::uint32_t name_len;
  std::uint32_t value_begin;  // key value as read: trimmed, one pair of quotes removed
  std::uint32_t value_len;
};

// A run of lines from a section header up to the next header.
struct Section {
  std::string_view name;
  std::uint32_t header;    // line index of "[name]"
  std::uint32_t end;       // line index of the next header, or the line count
  std::uint32_t last_key;  // line index of the last key line, or kNone
  bool first;              // the first block of that name; later ones are not seen
};

// Open addressing over indices into Parsed::sections or Parsed::lines; the
// table is built once per parse and only looked up afterwards.
struct Slots {
  std::vector<std::uint32_t> slot;
  std::size_t mask = 0;

  void Reset(std::size_t count) {
    std::size_t size = 16;
    while (size < count * 2) size *= 2;
    slot.assign(size, kNone);
    mask = size - 1;
  }
  // Visits the slots of `hash` in probe order until `stop` returns true for an
  // occupied one, or an empty one is reached; returns that slot's position.
  template <typename Stop>
  std::size_t Probe(std::size_t hash, Stop stop) const {
    std::size_t i = hash & mask;
    while (slot[i] != kNone && !stop(slot[i])) i = (i + 1) & mask;
    return i;
  }
};

struct Parsed {
  std::string raw;
  std::vector<Line> lines;
  std::vector<Section> sections;
  Slots section_slots;  // first block of each section name
  Slots key_slots;      // first line of each key name within a first block

  std::string_view Name(const Line& l) const { return {raw.data() + l.name_begin, l.name_len}; }
  std::string_view Value(const Line& l) const { return {raw.data() + l.value_begin, l.value_len}; }

  static std::size_t KeyHash(std::uint32_t section, std::string_view name) {
    return HashFolded(name, 14695981039346656037ull ^ (section * 0x9e3779b97f4a7c15ull));
  }

  std::uint32_t FindSection(std::string_view name) const {
    if (sections.empty()) return kNone;
    const std::size_t at = section_slots.Probe(
        HashFolded(name), [&](std::uint32_t s) { return EqualsFolded(sections[s].name, name); });
    return section_slots.slot[at];
  }
  std::uint32_t FindKey(std::uint32_t section, std::string_view name) const {
    if (key_slots.slot.empty()) return kNone;
    const std::size_t at = key_slots.Probe(KeyHash(section, name), [&](std::uint32_t l) {
      return lines[l].section == section && EqualsFolded(Name(lines[l]), name);
    });
    return key_slots.slot[at];
  }

  void BuildIndexes(std::size_t key_lines) {
    section_slots.Reset(sections.size());
    for (std::uint32_t s = 0; s < sections.size(); ++s) {
      const std::size_t at = section_slots.Probe(
          HashFolded(sections[s].name),
          [&](std::uint32_t o) { return EqualsFolded(sections[o].name, sections[s].name); });
      sections[s].first = section_slots.slot[at] == kNone;
      if (sections[s].first) section_slots.slot[at] = s;
    }
    key_slots.Reset(key_lines);
    for (std::uint32_t i = 0; i < lines.size(); ++i) {
      const Line& l = lines[i];
      if (l.kind != LineKind::kKey || l.section == kNone || !sections[l.section].first) continue;
      const std::string_view name = Name(l);
      const std::size_t at = key_slots.Probe(KeyHash(l.section, name), [&](std::uint32_t o) {
        return lines[o].section == l.section && EqualsFolded(Name(lines[o]), name);
      });
      if (key_slots.slot[at] == kNone) key_slots.slot[at] = i;
    }
  }
};

// Splits `raw` into lines (CRLF, CR and LF all end a line) and indexes the
// first block of each section and the first line of each key within it.
void Parse(Parsed& p) {
  const std::string& raw = p.raw;
  const std::uint32_t size = static_cast<std::uint32_t>(raw.size());
  const char* data = raw.data();
  p.lines.reserve(size / 16 + 4);
  std::uint32_t current = kNone;
  std::size_t key_lines = 0;
  std::uint32_t pos = 0;
  while (pos < size) {
    Line line{};
    line.begin = pos;
    std::uint32_t e = pos;
    while (e < size && data[e] != '\r' && data[e] != '\n') ++e;
    line.end = e;
    if (e < size && data[e] == '\r' && e + 1 < size && data[e + 1] == '\n') {
      line.next = e + 2;
    } else {
      line.next = e < size ? e + 1 : e;
    }
    pos = line.next;
    line.kind = LineKind::kOther;
    line.section = current;

    std::uint32_t s = line.begin;
    while (s < e && IsBlank(data[s])) ++s;
    const std::uint32_t index = static_cast<std::uint32_t>(p.lines.size());
    if (s < e && data[s] == '[') {
      // The name runs to the last ']' on the line, or to the line end if
      // there is none; blanks inside the brackets do not count.
      std::uint32_t close = e;
      for (std::uint32_t i = e; i > s + 1; --i) {
        if (data[i - 1] == ']') {
          close = i - 1;
          break;
        }
      }
      const std::string_view name = Trim(std::string_view(data + s + 1, close - (s + 1)));
      if (current != kNone) p.sections[current].end = index;
      current = static_cast<std::uint32_t>(p.sections.size());
      line.kind = LineKind::kSection;
      line.section = current;
      line.name_begin = static_cast<std::uint32_t>(name.data() - data);
      line.name_len = static_cast<std::uint32_t>(name.size());
      p.sections.push_back(Section{name, index, kNone, kNone, false});
    } else if (s < e && data[s] != ';') {
      const void* eq = std::memchr(data + s, '=', e - s);
      if (eq != nullptr) {
        const std::uint32_t at = static_cast<std::uint32_t>(static_cast<const char*>(eq) - data);
        const std::string_view name = Trim(std::string_view(data + s, at - s));
        std::string_view value = Trim(std::string_view(data + at + 1, e - (at + 1)));
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front()) {
          value = value.substr(1, value.size() - 2);
        }
        line.kind = LineKind::kKey;
        line.name_begin = static_cast<std::uint32_t>(name.data() - data);
        line.name_len = static_cast<std::uint32_t>(name.size());
        line.value_begin = static_cast<std::uint32_t>(value.data() - data);
        line.value_len = static_cast<std::uint32_t>(value.size());
        if (current != kNone) p.sections[current].last_key = index;
        ++key_lines;
      }
    }
    p.lines.push_back(line);
  }
  if (current != kNone) p.sections[current].end = static_cast<std::uint32_t>(p.lines.size());
  p.BuildIndexes(key_lines);
}

struct Identity {
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  timespec mtim{};
  timespec ctim{};

  static Identity Of(const struct stat& st) {
    Identity id;
    id.dev = st.st_dev;
    id.ino = st.st_ino;
    id.size = st.st_size;
    id.mtim = st.st_mtim;
    id.ctim = st.st_ctim;
    return id;
  }
  bool operator==(const Identity& o) const {
    return dev == o.dev && ino == o.ino && size == o.size && mtim.tv_sec == o.mtim.tv_sec &&
           mtim.tv_nsec == o.mtim.tv_nsec && ctim.tv_sec == o.ctim.tv_sec &&
           ctim.tv_nsec == o.ctim.tv_nsec;
  }
};

timespec Now() {
  timespec t;
  ::clock_gettime(CLOCK_REALTIME, &t);
  return t;
}

// File times come from a clock that advances in ticks, so a change made in the
// same tick as the one we last saw may leave size and times as they were. A
// cached entry is trusted on its stat() alone only if its content was taken
// comfortably after its change time; until then the content is compared at
// each access. One-second times (nanoseconds all zero) get a wider margin.
bool Unsettled(const Identity& id, const timespec& taken) {
  const bool coarse = id.ctim.tv_nsec == 0 && id.mtim.tv_nsec == 0;
  const long long margin_ns = coarse ? 2'000'000'000LL : 20'000'000LL;
  const long long changed = id.ctim.tv_sec * 1'000'000'000LL + id.ctim.tv_nsec;
  const long long seen = taken.tv_sec * 1'000'000'000LL + taken.tv_nsec;
  return seen - changed < margin_ns;
}

// A cached file: its parsed content, the stat() it was parsed from, and
// whether that stat() alone can vouch for the content yet (see Unsettled).
struct Entry {
  Parsed parsed;
  Identity id;
  mode_t mode = 0;
  bool unsettled = true;
};

bool ReadAll(int fd, std::string* out, std::size_t hint) {
  out->clear();
  out->resize(hint + 1);
  std::size_t got = 0;
  for (;;) {
    if (got == out->size()) out->resize(out->size() * 2 + 64);
    const ssize_t n = ::read(fd, out->data() + got, out->size() - got);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) break;
    got += static_cast<std::size_t>(n);
    if (got > kMaxFileSize) return false;
    // The size fstat() gave has been read. Anything written since has changed
    // the file's size or times, which the next access will notice.
    if (got == hint && hint != 0) break;
  }
  out->resize(got);
  return true;
}

bool WriteAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

// Opens and reads the file. The identity comes from fstat() before the read
// and the time from before the open, so any change after them is noticed.
std::unique_ptr<Entry> Load(const std::string& path) {
  const timespec taken = Now();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat st;
  auto entry = std::make_unique<Entry>();
  bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
            static_cast<std::size_t>(st.st_size) <= kMaxFileSize &&
            ReadAll(fd, &entry->parsed.raw, static_cast<std::size_t>(st.st_size));
  ::close(fd);
  if (!ok) return nullptr;
  entry->id = Identity::Of(st);
  entry->mode = st.st_mode;
  entry->unsettled = Unsettled(entry->id, taken);
  return entry;
}

// The length of the text left in a buffer of `buffer_size` characters.
std::size_t Cut(std::size_t length, std::size_t buffer_size) {
  if (buffer_size == 0) return 0;
  return length < buffer_size - 1 ? length : buffer_size - 1;
}

// A change to the raw bytes: replace [begin, end) with `text`.
struct Splice {
  std::uint32_t begin;
  std::uint32_t end;
  std::string text;
};

std::string Apply(const std::string& raw, const std::vector<Splice>& splices) {
  std::string out;
  std::size_t extra = 0;
  for (const Splice& s : splices) extra += s.text.size();
  out.reserve(raw.size() + extra);
  std::size_t at = 0;
  for (const Splice& s : splices) {  // in increasing order, not overlapping
    out.append(raw, at, s.begin - at);
    out.append(s.text);
    at = s.end;
  }
  out.append(raw, at, std::string::npos);
  return out;
}

std::string KeyLine(std::string_view name, std::string_view value) {
  std::string line;
  line.reserve(name.size() + value.size() + 3);
  line.append(name);
  line.push_back('=');
  line.append(value);
  line.append("\r\n");
  return line;
}

// The edits for one write; an empty list means the file stays as it is.
std::vector<Splice> Edits(const Parsed& p, std::string_view section,
                          std::optional<std::string_view> key,
                          std::optional<std::string_view> value) {
  std::vector<Splice> edits;
  const std::uint32_t raw_size = static_cast<std::uint32_t>(p.raw.size());
  const std::uint32_t sec = p.FindSection(section);

  if (!key) {  // remove every block of the section, header to next header
    for (const Section& s : p.sections) {
      if (!EqualsFolded(s.name, section)) continue;
      const std::uint32_t begin = p.lines[s.header].begin;
      const std::uint32_t end = s.end < p.lines.size() ? p.lines[s.end].begin : raw_size;
      edits.push_back(Splice{begin, end, {}});
    }
    return edits;
  }

  if (!value) {  // remove the key's lines from the section
    if (sec == kNone) return edits;
    const Section& s = p.sections[sec];
    for (std::uint32_t i = s.header + 1; i < s.end; ++i) {
      const Line& l = p.lines[i];
      if (l.kind == LineKind::kKey && EqualsFolded(p.Name(l), *key)) {
        edits.push_back(Splice{l.begin, l.next, {}});
      }
    }
    return edits;
  }

  if (sec == kNone) {  // a new section at the end of the file
    std::string text;
    const bool needs_line_end = !p.raw.empty() && p.raw.back() != '\n' && p.raw.back() != '\r';
    if (needs_line_end) text.append("\r\n");
    text.push_back('[');
    text.append(section);
    text.append("]\r\n");
    text.append(KeyLine(*key, *value));
    edits.push_back(Splice{raw_size, raw_size, std::move(text)});
    return edits;
  }

  const std::uint32_t found = p.FindKey(sec, *key);
  if (found != kNone) {  // in place, keeping the spelling of the name
    const Line& l = p.lines[found];
    edits.push_back(Splice{l.begin, l.next, KeyLine(p.Name(l), *value)});
    return edits;
  }

  // A new key, right after the last key line of the section, or right after
  // the header when the section has no keys yet.
  const Section& s = p.sections[sec];
  const Line& anchor = p.lines[s.last_key != kNone ? s.last_key : s.header];
  std::string text;
  if (anchor.next == anchor.end) text.append("\r\n");  // the file's last line, unterminated
  text.append(KeyLine(*key, *value));
  edits.push_back(Splice{anchor.next, anchor.next, std::move(text)});
  return edits;
}

}  // namespace

struct ProfileStore::Impl {
  std::unordered_map<std::string, std::unique_ptr<Entry>> cache;

  // The parsed content of the file as it is now, or nullptr when the file
  // cannot be read. *missing tells whether it simply does not exist.
  Entry* Current(const std::string& path, bool* missing) {
    *missing = false;
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
      *missing = errno == ENOENT || errno == ENOTDIR;
      cache.erase(path);
      return nullptr;
    }
    auto it = cache.find(path);
    if (it != cache.end() && it->second->id == Identity::Of(st)) {
      Entry& cached = *it->second;
      if (!cached.unsettled) return &cached;
      // Too close to the last change to trust the times: compare the bytes.
      std::unique_ptr<Entry> fresh = Load(path);
      if (!fresh) {
        cache.erase(it);
        return nullptr;
      }
      if (fresh->id == cached.id && fresh->parsed.raw == cached.parsed.raw) {
        cached.unsettled = fresh->unsettled;
        return &cached;
      }
      Parse(fresh->parsed);
      it->second = std::move(fresh);
      return it->second.get();
    }
    std::unique_ptr<Entry> fresh = Load(path);
    if (!fresh) {
      if (it != cache.end()) cache.erase(it);
      return nullptr;
    }
    Parse(fresh->parsed);
    Entry* result = fresh.get();
    if (it != cache.end()) {
      it->second = std::move(fresh);
    } else {
      cache.emplace(path, std::move(fresh));
    }
    return result;
  }

  // Writes `content` to a temporary file beside `path` and puts it in place
  // of `path`; then caches the new content under the new file's stat().
  bool Replace(const std::string& path, std::string content, mode_t mode, bool keep_mode) {
    const std::string temp = path + ".tmp" + std::to_string(::getpid());
    const timespec taken = Now();
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    bool ok = WriteAll(fd, content);
    if (ok && keep_mode) ok = ::fchmod(fd, mode & 07777) == 0;
    struct stat written;
    if (ok) ok = ::fstat(fd, &written) == 0;
    if (::close(fd) != 0) ok = false;
    if (ok) {
      // Swapping the two names is as atomic as a rename and spares the file
      // system the flush it starts when a file is renamed over another; the
      // old content, now under the temporary name, is removed after.
      if (::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0) {
        ::unlink(temp.c_str());
      } else {
        ok = ::rename(temp.c_str(), path.c_str()) == 0;
      }
    }
    if (!ok) {
      ::unlink(temp.c_str());
      return false;
    }
    // The rename changes the file's change time, so the identity to cache is
    // taken from the name; if the name already leads to another file (someone
    // replaced it in between), nothing is cached and the next access reads it.
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 || st.st_ino != written.st_ino ||
        st.st_dev != written.st_dev) {
      cache.erase(path);
      return true;
    }
    auto entry = std::make_unique<Entry>();
    entry->parsed.raw = std::move(content);
    Parse(entry->parsed);
    entry->id = Identity::Of(st);
    entry->mode = st.st_mode;
    entry->unsettled = Unsettled(entry->id, taken);
    cache.insert_or_assign(path, std::move(entry));
    return true;
  }
};

ProfileStore::ProfileStore() : impl_(std::make_unique<Impl>()) {}
ProfileStore::~ProfileStore() = default;

std::string ProfileStore::Read(const std::string& native_path, std::string_view section,
                               std::string_view key, std::size_t buffer_size) {
  bool missing = false;
  const Entry* entry = impl_->Current(native_path, &missing);
  if (entry == nullptr) return {};
  const Parsed& p = entry->parsed;
  const std::uint32_t sec = p.FindSection(Trim(section));
  if (sec == kNone) return {};
  const std::uint32_t line = p.FindKey(sec, Trim(key));
  if (line == kNone) return {};
  const std::string_view value = p.Value(p.lines[line]);
  return std::string(value.substr(0, Cut(value.size(), buffer_size)));
}

std::string ProfileStore::SectionKeys(const std::string& native_path, std::string_view section,
                                      std::size_t buffer_size) {
  bool missing = false;
  const Entry* entry = impl_->Current(native_path, &missing);
  if (entry == nullptr) return {};
  const Parsed& p = entry->parsed;
  const std::uint32_t sec = p.FindSection(Trim(section));
  if (sec == kNone) return {};
  const Section& s = p.sections[sec];
  std::string names;
  for (std::uint32_t i = s.header + 1; i < s.end; ++i) {
    const Line& l = p.lines[i];
    // Each name once, as spelled on its first line.
    if (l.kind != LineKind::kKey || p.FindKey(sec, p.Name(l)) != i) continue;
    names.append(p.Name(l));
    names.push_back('\0');
  }
  // The packed names and the NUL that closes the list must fit in the buffer;
  // otherwise the buffer keeps buffer_size - 2 characters followed by two NULs,
  // the last name cut short. The text returned is the part the call counts:
  // the names each followed by a NUL, or the buffer_size - 2 characters that
  // were kept; the closing NULs are not part of it.
  if (names.size() + 1 > buffer_size) names.resize(buffer_size >= 2 ? buffer_size - 2 : 0);
  return names;
}

bool ProfileStore::Write(const std::string& native_path, std::string_view section,
                         std::optional<std::string_view> key,
                         std::optional<std::string_view> value) {
  section = Trim(section);
  if (key) key = Trim(*key);
  bool missing = false;
  const Entry* entry = impl_->Current(native_path, &missing);
  if (entry == nullptr && !missing) return false;  // there but unreadable: leave it alone

  static const Parsed kEmpty{};
  const Parsed& p = entry != nullptr ? entry->parsed : kEmpty;
  const std::vector<Splice> edits = Edits(p, section, key, value);
  if (edits.empty()) return true;  // nothing to remove
  std::string content = Apply(p.raw, edits);
  if (content.size() > kMaxFileSize) return false;
  if (entry != nullptr && content == p.raw) return true;  // already on disk as it should be
  const mode_t mode = entry != nullptr ? entry->mode : 0;
  return impl_->Replace(native_path, std::move(content), mode, entry != nullptr);
}

}  // namespace tarnex
