#include "platform/sim/scenario.h"

#include <cctype>

namespace tarnex {

const std::map<std::string, ScenarioReader>& ScenarioReaders() {
  static const std::map<std::string, ScenarioReader> readers = {
      {"start", ReadStart},
      {"env", ReadEnv},
      {"screen", ReadScreen},
      {"dirs", ReadDirs},
      {"processor", ReadProcessor},
      {"disks", ReadDisks},
      {"counters", ReadCounters},
      {"objects", ReadObjects},
      {"processes", ReadProcesses},
      {"programs", ReadPrograms},
      {"services", ReadServices},
      {"commands", ReadCommands},
      {"wmi", ReadWmi},
      {"interfaces", ReadInterfaces},
      {"operator", ReadOperator},
      {"dns_server", ReadDnsServer},
      {"dns_error", ReadDnsError},
  };
  return readers;
}

std::string LowerText(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string UpperText(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace tarnex
