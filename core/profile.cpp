// Private-profile files: parsing, lookups, in-place edits and atomic replacement.
//
// A file is parsed once into its raw bytes plus a table of lines; names and
// values are views into the raw bytes. Edits are made by splicing the raw
// bytes, so every line that is not written keeps its bytes (its line end
// included). The parsed form is cached per path and checked against the
// file's stat() at every access; see Entry for the rules.
#include "core/profile.h"

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
  std::size_t used = 0;

  void Reset(std::size_t count) {
    std::size_t size = 16;
    while (size < count * 2) size *= 2;
    slot.assign(size, kNone);
    mask = size - 1;
    used = 0;
  }
  // Whether `more` entries fit while the table stays at most half full.
  bool Fits(std::size_t more) const { return (used + more) * 2 <= slot.size(); }
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

  // Enters section block `s` in the index if it is the first of its name.
  void IndexSection(std::uint32_t s) {
    const std::size_t at = section_slots.Probe(HashFolded(sections[s].name), [&](std::uint32_t o) {
      return EqualsFolded(sections[o].name, sections[s].name);
    });
    sections[s].first = section_slots.slot[at] == kNone;
    if (!sections[s].first) return;
    section_slots.slot[at] = s;
    ++section_slots.used;
  }

  // Enters line `i` in the index if it is the first line of its key in the
  // first block of its section.
  void IndexKey(std::uint32_t i) {
    const Line& l = lines[i];
    if (l.kind != LineKind::kKey || l.section == kNone || !sections[l.section].first) return;
    const std::string_view name = Name(l);
    const std::size_t at = key_slots.Probe(KeyHash(l.section, name), [&](std::uint32_t o) {
      return lines[o].section == l.section && EqualsFolded(Name(lines[o]), name);
    });
    if (key_slots.slot[at] != kNone) return;
    key_slots.slot[at] = i;
    ++key_slots.used;
  }

  void BuildIndexes(std::size_t key_lines) {
    section_slots.Reset(sections.size());
    for (std::uint32_t s = 0; s < sections.size(); ++s) IndexSection(s);
    key_slots.Reset(key_lines);
    for (std::uint32_t i = 0; i < lines.size(); ++i) IndexKey(i);
  }

  // Section names are views into `raw`; after `raw` has moved they are taken
  // again from their header lines.
  void RepointSectionNames() {
    for (Section& sec : sections) sec.name = Name(lines[sec.header]);
  }
};

// Parses the lines from byte `pos` to the end, the last section so far
// continuing into them; returns how many key lines it found. The indexes are
// left to the caller.
std::size_t ParseLines(Parsed& p, std::uint32_t pos) {
  const std::string& raw = p.raw;
  const std::uint32_t size = static_cast<std::uint32_t>(raw.size());
  const char* data = raw.data();
  std::uint32_t current =
      p.sections.empty() ? kNone : static_cast<std::uint32_t>(p.sections.size() - 1);
  std::size_t key_lines = 0;
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
  return key_lines;
}

// Splits `raw` into lines (CRLF, CR and LF all end a line) and indexes the
// first block of each section and the first line of each key within it.
void Parse(Parsed& p) {
  p.lines.reserve(p.raw.size() / 16 + 4);
  p.BuildIndexes(ParseLines(p, 0));
}

// Adds `text` at the end of the file and parses only what it adds: the lines
// before it keep their offsets, so a file that grows key by key at its end
// (a new section filled in) costs the new lines only, however large it is.
void AppendText(Parsed& p, std::string_view text) {
  const std::uint32_t old_size = static_cast<std::uint32_t>(p.raw.size());
  const std::uint32_t first_line = static_cast<std::uint32_t>(p.lines.size());
  const std::uint32_t first_section = static_cast<std::uint32_t>(p.sections.size());
  p.raw.append(text);
  std::uint32_t from = old_size;
  if (!p.lines.empty() && p.lines.back().next == p.lines.back().end && text.starts_with("\r\n")) {
    // The last line had no line end; the text starts by giving it one.
    p.lines.back().next += 2;
    from += 2;
  }
  const std::size_t key_lines = ParseLines(p, from);
  p.RepointSectionNames();
  const std::size_t new_sections = p.sections.size() - first_section;
  if (!p.section_slots.Fits(new_sections) || !p.key_slots.Fits(key_lines)) {
    // Twice the room needed, so that growing one key at a time rebuilds
    // the indexes a logarithmic number of times.
    p.BuildIndexes((p.key_slots.used + key_lines) * 2);
    return;
  }
  for (std::uint32_t s = first_section; s < p.sections.size(); ++s) p.IndexSection(s);
  for (std::uint32_t i = first_line; i < p.lines.size(); ++i) p.IndexKey(i);
}

// File times come from a clock that advances in ticks, so a change made in the
// same tick as the one we last saw may leave size and times as they were. A
// cached entry is trusted on its stat() alone only if its content was taken
// comfortably after its change time; until then the content is compared at
// each access. One-second times (nanoseconds all zero) get a wider margin.
bool Unsettled(const FileInfo& id, int64_t taken_ns) {
  const bool coarse = id.changed_ns % 1000000000 == 0 && id.modified_ns % 1000000000 == 0;
  const int64_t margin_ns = coarse ? 2'000'000'000LL : 20'000'000LL;
  return taken_ns - id.changed_ns < margin_ns;
}

// One write not yet on disk, kept so that it can be made again on the file as
// another program left it.
struct PendingWrite {
  std::string section;
  std::optional<std::string> key;
  std::optional<std::string> value;
};

// A cached file: its parsed content, what stat() said of the file it was
// parsed from (nothing when there was no file), whether that stat() alone can
// vouch for the content yet (see Unsettled), and the writes made since the
// content was last on disk.
struct Entry {
  Parsed parsed;
  std::optional<FileInfo> id;
  bool unsettled = true;
  std::uint64_t checked_turn = 0;  // the turn of the last look at the file on disk
  std::vector<PendingWrite> pending;

  bool dirty() const { return !pending.empty(); }
};

// Opens and reads the file. The identity comes from fstat() before the read
// and the time from before the open, so any change after them is noticed.
std::unique_ptr<Entry> Load(Files& files, const std::string& path) {
  const int64_t taken = files.ClockNs();
  auto entry = std::make_unique<Entry>();
  FileInfo info;
  if (!files.ReadFile(path, entry->parsed.raw, info, kMaxFileSize)) return nullptr;
  entry->id = info;
  entry->unsettled = Unsettled(info, taken);
  return entry;
}

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

// Rewrites key line `index` as "Name=value" where it stands, keeping the
// spelling of its name: the line's bytes are replaced and the lines after it
// move by the difference. The line table, the sections and the indexes stay
// valid (no line comes or goes, no name changes), so nothing is parsed again.
// `value` holds no line end. False, and nothing changed, when the line
// already reads so.
bool ReplaceKeyLine(Parsed& p, std::uint32_t index, std::string_view value) {
  Line& l = p.lines[index];
  const std::string text = KeyLine(p.Name(l), value);
  if (std::string_view(p.raw).substr(l.begin, l.next - l.begin) == text) return false;
  const std::int64_t delta =
      static_cast<std::int64_t>(text.size()) - static_cast<std::int64_t>(l.next - l.begin);
  p.raw.replace(l.begin, l.next - l.begin, text);
  const char* data = p.raw.data();
  l.name_begin = l.begin;
  l.next = l.begin + static_cast<std::uint32_t>(text.size());
  l.end = l.next - 2;
  std::string_view v = Trim(std::string_view(data + l.name_begin + l.name_len + 1,
                                             l.end - (l.name_begin + l.name_len + 1)));
  if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front()) {
    v = v.substr(1, v.size() - 2);
  }
  l.value_begin = static_cast<std::uint32_t>(v.data() - data);
  l.value_len = static_cast<std::uint32_t>(v.size());
  const auto move = [delta](std::uint32_t& at) {
    at = static_cast<std::uint32_t>(static_cast<std::int64_t>(at) + delta);
  };
  for (std::size_t i = index + 1; i < p.lines.size(); ++i) {
    Line& o = p.lines[i];
    move(o.begin);
    move(o.end);
    move(o.next);
    move(o.name_begin);
    move(o.value_begin);
  }
  p.RepointSectionNames();
  return true;
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
  explicit Impl(Files& f) : files(f) {}

  Files& files;
  std::unordered_map<std::string, std::unique_ptr<Entry>> cache;
  std::uint64_t turn = 0;  // 0: no turns are counted, every access compares

  // The parsed content of the file as this process sees it now, or nullptr
  // when the file cannot be read. *missing tells whether it simply does not
  // exist. A file with writes not yet on disk is taken from the cache.
  Entry* Current(const std::string& path, bool* missing) {
    *missing = false;
    auto it = cache.find(path);
    if (it != cache.end() && it->second->dirty()) return it->second.get();
    // Within a turn the file on disk is looked at once.
    if (it != cache.end() && turn != 0 && it->second->checked_turn == turn) return it->second.get();
    FileInfo st;
    if (!files.Stat(path, st)) {
      *missing = true;
      if (it != cache.end()) cache.erase(it);
      return nullptr;
    }
    if (it != cache.end() && it->second->id && it->second->id->SameState(st)) {
      Entry& cached = *it->second;
      cached.checked_turn = turn;
      if (!cached.unsettled) return &cached;
      // Too close to the last change to trust the times: compare the bytes.
      std::unique_ptr<Entry> fresh = Load(files, path);
      if (!fresh) {
        cache.erase(it);
        return nullptr;
      }
      if (fresh->id->SameState(*cached.id) && fresh->parsed.raw == cached.parsed.raw) {
        cached.unsettled = fresh->unsettled;
        return &cached;
      }
      Parse(fresh->parsed);
      fresh->checked_turn = turn;
      it->second = std::move(fresh);
      return it->second.get();
    }
    std::unique_ptr<Entry> fresh = Load(files, path);
    if (!fresh) {
      if (it != cache.end()) cache.erase(it);
      return nullptr;
    }
    Parse(fresh->parsed);
    fresh->checked_turn = turn;
    Entry* result = fresh.get();
    if (it != cache.end()) {
      it->second = std::move(fresh);
    } else {
      cache.emplace(path, std::move(fresh));
    }
    return result;
  }

  // Whether the folder a new file would go to exists.
  bool FolderOfExists(const std::string& path) const {
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return true;
    FileInfo st;
    return files.Stat(slash == 0 ? "/" : path.substr(0, slash), st) && st.folder;
  }

  // Writes one changed file: the content goes to a temporary file beside it,
  // which then takes its place. If another program changed the file since
  // the content was read, the writes are made again on its new content.
  bool Flush(const std::string& path, Entry& entry) {
    FileInfo st;
    const bool exists = files.Stat(path, st);
    if (exists != entry.id.has_value() || (exists && !st.SameState(*entry.id))) {
      std::unique_ptr<Entry> fresh;
      if (exists) {
        fresh = Load(files, path);
        if (!fresh) return false;
      } else {
        fresh = std::make_unique<Entry>();
      }
      Parse(fresh->parsed);
      bool changed = false;
      for (const PendingWrite& w : entry.pending) {
        const std::vector<Splice> edits = Edits(fresh->parsed, w.section, w.key, w.value);
        if (edits.empty()) continue;
        std::string content = Apply(fresh->parsed.raw, edits);
        if (content.size() > kMaxFileSize) return false;
        if (content == fresh->parsed.raw) continue;
        fresh->parsed = Parsed{};
        fresh->parsed.raw = std::move(content);
        Parse(fresh->parsed);
        changed = true;
      }
      entry = std::move(*fresh);
      if (!changed) return true;  // the file already says what was written
    }
    const int64_t taken = files.ClockNs();
    std::optional<uint32_t> mode;
    if (entry.id) mode = entry.id->mode;
    FileInfo written;
    if (!files.Replace(path, entry.parsed.raw, mode, &written)) return false;
    entry.pending.clear();
    // The rename changes the file's change time, so the identity to keep is
    // taken from the name; if the name already leads to another file
    // (someone replaced it in between), the next access reads it.
    if (!files.Stat(path, st) || !st.SameFile(written)) {
      entry.id.reset();
      return true;
    }
    entry.id = st;
    entry.unsettled = Unsettled(st, taken);
    // The flush runs as a turn begins and is that turn's look at the file.
    if (turn != 0) entry.checked_turn = turn + 1;
    return true;
  }
};

ProfileStore::ProfileStore(Files& files) : impl_(std::make_unique<Impl>(files)) {}
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
  Entry* entry = impl_->Current(native_path, &missing);
  if (entry == nullptr && !missing) return false;  // there but unreadable: leave it alone

  if (entry != nullptr && key && value && value->find_first_of("\r\n") == std::string_view::npos) {
    // The common write, a new value for a key that is there: made in place.
    Parsed& p = entry->parsed;
    const std::uint32_t sec = p.FindSection(section);
    const std::uint32_t line = sec == kNone ? kNone : p.FindKey(sec, *key);
    if (line != kNone) {
      if (p.raw.size() + p.lines[line].name_len + value->size() + 3 > kMaxFileSize) return false;
      if (ReplaceKeyLine(p, line, *value)) {
        entry->pending.push_back(
            PendingWrite{std::string(section), std::string(*key), std::string(*value)});
      }
      return true;
    }
  }

  static const Parsed kEmpty{};
  const Parsed& p = entry != nullptr ? entry->parsed : kEmpty;
  const std::vector<Splice> edits = Edits(p, section, key, value);
  if (edits.empty()) return true;  // nothing to remove
  if (entry != nullptr && edits.size() == 1 && edits[0].begin == p.raw.size() &&
      edits[0].end == p.raw.size()) {
    // A new section, or a new key of the last section: added at the end.
    if (p.raw.size() + edits[0].text.size() > kMaxFileSize) return false;
    AppendText(entry->parsed, edits[0].text);
  } else {
    std::string content = Apply(p.raw, edits);
    if (content.size() > kMaxFileSize) return false;
    if (entry != nullptr && content == p.raw) return true;  // already as it should be
    if (entry == nullptr) {
      // A new file: its folder must be there, as it must for the file to be made.
      if (!impl_->FolderOfExists(native_path)) return false;
      auto fresh = std::make_unique<Entry>();
      entry = fresh.get();
      impl_->cache.insert_or_assign(native_path, std::move(fresh));
    }
    entry->parsed = Parsed{};
    entry->parsed.raw = std::move(content);
    Parse(entry->parsed);
  }
  PendingWrite w;
  w.section = std::string(section);
  if (key) w.key = std::string(*key);
  if (value) w.value = std::string(*value);
  entry->pending.push_back(std::move(w));
  return true;
}

bool ProfileStore::Flush() {
  bool ok = true;
  for (auto it = impl_->cache.begin(); it != impl_->cache.end();) {
    if (!it->second->dirty()) {
      ++it;
      continue;
    }
    if (impl_->Flush(it->first, *it->second)) {
      ++it;
    } else {
      // The changes are lost, as a write that cannot be done is; the next
      // access reads the file as it is.
      ok = false;
      it = impl_->cache.erase(it);
    }
  }
  return ok;
}

void ProfileStore::NewTurn() {
  ++impl_->turn;
}

bool ProfileStore::Dirty() const {
  for (const auto& [path, entry] : impl_->cache) {
    if (entry->dirty()) return true;
  }
  return false;
}

}  // namespace tarnex
