// The monitor's side of the link: what the server sends, cut into its parts.
// The stream has no framing: a status frame is known by its leading "C^" and
// ends where the next one begins; the banner ("XP"), the welcome ("W^") and a
// refused logon ("FAILED") come before the first frame, and a server message
// ("XM") follows a frame within the same second.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace tarnex::monitor {

struct Frame {
  // The six blocks' fields: C, M, H, S, R, X.
  std::vector<std::string> blocks[6];
  std::string finding;  // the text behind "@", when there is one
  std::string message;  // a server message that followed the frame
  bool complete() const {
    static const size_t kCounts[6] = {8, 12, 12, 8, 8, 6};
    for (int b = 0; b < 6; ++b) {
      if (blocks[b].size() != kCounts[b]) return false;
    }
    return true;
  }
};

inline std::vector<std::string> SplitFields(const std::string& text) {
  std::vector<std::string> out;
  size_t at = 0;
  for (;;) {
    const size_t bar = text.find('|', at);
    out.push_back(text.substr(at, bar == std::string::npos ? bar : bar - at));
    if (bar == std::string::npos) return out;
    at = bar + 1;
  }
}

// One frame's text, from its "C^" up to (not including) the next "C^".
inline Frame ParseFrame(const std::string& text) {
  Frame f;
  static const char* kPrefixes[6] = {"C^", "M^", "H^", "S^", "R^", "X^"};
  size_t at = 0;
  for (int b = 0; b < 6; ++b) {
    if (text.compare(at, 2, kPrefixes[b]) != 0) return f;
    const size_t start = at + 2;
    size_t end;
    if (b < 5) {
      end = text.find(kPrefixes[b + 1], start);
      if (end == std::string::npos) return f;
      f.blocks[b] = SplitFields(text.substr(start, end - start));
      at = end;
      continue;
    }
    // The last block: five fields, then the clock ("hh:mm:ss AM", eleven
    // characters), then what may follow it.
    size_t bar = start;
    for (int n = 0; n < 5 && bar != std::string::npos; ++n) bar = text.find('|', bar) + 1;
    if (bar == 0 || bar > text.size()) return f;
    const size_t clock_end = std::min(text.size(), bar + 11);
    f.blocks[5] = SplitFields(text.substr(start, clock_end - start));
    std::string rest = text.substr(clock_end);
    const size_t xm = rest.find("XM");
    if (xm != std::string::npos) {
      f.message = rest.substr(xm);
      rest.erase(xm);
    }
    if (!rest.empty() && rest[0] == '@') f.finding = rest.substr(1);
  }
  return f;
}

// What has arrived so far, taken apart as far as it can be.
class Stream {
 public:
  void Add(const std::string& bytes) { buffer_ += bytes; }

  // The text before the first frame: banner, welcome, refusal.
  std::string Banner() const { return Between("XP", {"W^", "FAILED"}); }
  // The system facts may hold any text, "XP" among it.
  std::string Welcome() const { return Between("W^", {"FAILED"}); }
  // The refusal's text without its line end; "" when none came.
  std::string Refusal() const {
    const size_t at = buffer_.find("FAILED");
    const size_t first = buffer_.find("C^");
    if (at == std::string::npos || (first != std::string::npos && first < at)) return {};
    const size_t end = buffer_.find("\r\n", at);
    return buffer_.substr(at, end == std::string::npos ? end : end - at);
  }
  // Every whole frame (one that another has followed), oldest first, and
  // forgets them.
  std::vector<Frame> TakeFrames() {
    std::vector<Frame> out;
    for (;;) {
      const size_t first = buffer_.find("C^");
      if (first == std::string::npos) return out;
      const size_t next = buffer_.find("C^", first + 2);
      if (next == std::string::npos) return out;
      if (first > 0) head_ += buffer_.substr(0, first);
      out.push_back(ParseFrame(buffer_.substr(first, next - first)));
      buffer_.erase(0, next);
    }
  }
  // The latest frame not yet followed by another; it may still grow.
  Frame Latest() const {
    const size_t first = buffer_.find("C^");
    if (first == std::string::npos) return {};
    return ParseFrame(buffer_.substr(first));
  }
  void Clear() {
    buffer_.clear();
    head_.clear();
  }

 private:
  // The part of the text before the first frame that starts with `prefix`,
  // up to the next known start.
  std::string Between(const char* prefix, std::initializer_list<const char*> ends) const {
    const std::string all = head_ + buffer_;
    const size_t first = all.find("C^");
    const std::string before = all.substr(0, first);
    const size_t at = before.find(prefix);
    if (at == std::string::npos) return {};
    size_t end = before.size();
    for (const char* other : ends) {
      const size_t o = before.find(other, at + 2);
      if (o != std::string::npos && o < end) end = o;
    }
    return before.substr(at + 2, end - at - 2);
  }

  std::string buffer_;
  std::string head_;
};

}  // namespace tarnex::monitor
