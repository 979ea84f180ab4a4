// tarnex-ram: the memory and cache tool. With -i it prints one line per cache
// kind and per instruction-set feature of this host's processor, with CR LF
// line ends. The server runs it as "\Bin\ram.exe -i" under its installation
// folder, where scripts/run.sh puts it.
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/linux/host_facts.h"

int main(int argc, char** argv) {
  if (argc != 2 || std::strcmp(argv[1], "-i") != 0) {
    std::fputs("usage: ram.exe -i\r\n", stderr);
    return 2;
  }
  const std::string text = tarnex::host::RamText(tarnex::host::GatherRamFacts({}));
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}
