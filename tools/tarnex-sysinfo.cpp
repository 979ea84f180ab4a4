// tarnex-sysinfo: prints this host's system facts as labelled lines, each
// label padded to 27 characters and its value from column 28, with CR LF line
// ends. The server runs it where its logic asks for Systeminfo.exe.
#include <cstdio>
#include <string>

#include "platform/linux/host_facts.h"

int main() {
  const std::string text = tarnex::host::SystemInfoText(tarnex::host::GatherSystemFacts({}));
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}
