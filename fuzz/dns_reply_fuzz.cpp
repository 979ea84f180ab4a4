// The reading of DNS replies that the direct sender gets from the network:
// names with their pointers, and the walk over the answers for the
// exchanger. The answer count is taken from the reply, as the sender does.
#include <cstddef>
#include <cstdint>
#include <string>

#include "mail/direct.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string reply(reinterpret_cast<const char*>(data), size);
  using namespace tarnex;
  const int count = size >= 8 ? data[6] * 256 + data[7] : 0;
  ParseMX(reply, 12, count);
  for (size_t start = 0; start < size && start < 64; ++start) {
    size_t position = start;
    std::string text;
    ReadName(reply, position, text);
  }
  EncodeName(reply);
  return 0;
}
