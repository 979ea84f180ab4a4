// The status frame built from any figures and texts: it never fails, it
// always starts with the processor block, and when no text holds a "|" or a
// "^" its six blocks have their fields, 8, 12, 12, 8, 8 and 6.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/legacy.h"
#include "monitorlink/link.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Texts are the input's pieces between 0 bytes; the numbers are read from
  // the input's bytes, eight at a time.
  const std::string all(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> texts;
  size_t at = 0;
  while (texts.size() < 16) {
    const size_t end = all.find('\0', at);
    texts.push_back(all.substr(at, end == std::string::npos ? end : end - at));
    if (end == std::string::npos) break;
    at = end + 1;
  }
  texts.resize(16);
  size_t next = 0;
  const auto number = [&]() {
    double v = 0;
    if (next + sizeof v <= size) std::memcpy(&v, data + next, sizeof v);
    next += sizeof v;
    return v;
  };
  tarnex::ServerModel m;
  std::string* text_fields[] = {&m.CPUUsage,    &m.CPULastMin, &m.CPULastHR,  &m.CPULast24,
                                &m.Interrupts,  &m.DPCQueued,  &m.DPCPercent, &m.CPUMHZ,
                                &m.SystemDrive, &m.DailySent,  &m.tsstart,    &m.Label8a,
                                &m.UpTimeText,  &m.Label21,    &m.Label20,    &m.ttstart};
  for (size_t i = 0; i < 16; ++i) *text_fields[i] = texts[i];
  double* numbers[] = {&m.ProcessCount, &m.ThreadCount, &m.MemCommitted, &m.MemAvailable,
                       &m.CacheBytes,   &m.CachePeak,   &m.PageReads,    &m.DiskReadBps,
                       &m.DiskFreeMB,   &m.CurSent,     &m.CurRec,       &m.SwapPeak};
  for (double* n : numbers) *n = number();
  const std::string frame =
      tarnex::BuildStatusFrame(m, tarnex::CivilTime{2012, 11, 14, 15, 4, 5, 0});
  if (frame.rfind("C^", 0) != 0) __builtin_trap();
  bool plain = true;
  for (const auto& t : texts) plain = plain && t.find_first_of("|^") == std::string::npos;
  if (!plain) return 0;
  const char* prefixes[] = {"C^", "M^", "H^", "S^", "R^", "X^"};
  const size_t counts[] = {8, 12, 12, 8, 8, 6};
  size_t from = 0;
  for (int b = 0; b < 6; ++b) {
    if (frame.compare(from, 2, prefixes[b]) != 0) __builtin_trap();
    const size_t end = b < 5 ? frame.find(prefixes[b + 1], from + 2) : frame.size();
    if (end == std::string::npos) __builtin_trap();
    const auto fields = tarnex::legacy::Split(frame.substr(from + 2, end - from - 2), "|");
    if (fields.size() != counts[b]) __builtin_trap();
    from = end;
  }
  return 0;
}
