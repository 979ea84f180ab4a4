// The simulated machine's interface table and DNS server.
#include "platform/sim/scenario.h"
#include "platform/sim/sim_platform.h"

namespace tarnex {

namespace {

// "00-0A-1B-00-00-FF" (or with ":") as bytes.
bool ParseAddress(const std::string& text, std::string& bytes) {
  bytes.clear();
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find_first_of("-:", at);
    if (end == std::string::npos) end = text.size();
    const std::string part = text.substr(at, end - at);
    if (part.empty() || part.size() > 2 ||
        part.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      return false;
    }
    bytes.push_back(static_cast<char>(std::stoi(part, nullptr, 16)));
    at = end + 1;
  }
  return true;
}

}  // namespace

bool ReadInterfaces(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (value.is_null()) {
    sim.interfaces.reset();
    return true;
  }
  if (!value.is_array()) {
    error = "\"interfaces\" must be an array of interfaces, or null";
    return false;
  }
  std::vector<InterfaceRow> rows;
  for (const auto& item : value) {
    if (!item.is_object()) {
      error = "an interface must be an object";
      return false;
    }
    InterfaceRow row;
    const std::pair<const char*, uint32_t InterfaceRow::*> counts[] = {
        {"index", &InterfaceRow::index},
        {"type", &InterfaceRow::type},
        {"mtu", &InterfaceRow::mtu},
        {"speed", &InterfaceRow::speed},
        {"admin_status", &InterfaceRow::admin_status},
        {"oper_status", &InterfaceRow::oper_status},
        {"last_change", &InterfaceRow::last_change},
        {"in_octets", &InterfaceRow::in_octets},
        {"in_ucast", &InterfaceRow::in_ucast},
        {"in_nucast", &InterfaceRow::in_nucast},
        {"in_discards", &InterfaceRow::in_discards},
        {"in_errors", &InterfaceRow::in_errors},
        {"in_unknown", &InterfaceRow::in_unknown},
        {"out_octets", &InterfaceRow::out_octets},
        {"out_ucast", &InterfaceRow::out_ucast},
        {"out_nucast", &InterfaceRow::out_nucast},
        {"out_discards", &InterfaceRow::out_discards},
        {"out_errors", &InterfaceRow::out_errors},
        {"out_qlen", &InterfaceRow::out_qlen},
    };
    for (const auto& [key, v] : item.items()) {
      bool known = false;
      for (const auto& [name, field] : counts) {
        if (key != name) continue;
        known = true;
        if (!v.is_number_unsigned() || v.get<uint64_t>() > 0xFFFFFFFFull) {
          error = "interface '" + key + "' must be a whole number from 0 to 4294967295";
          return false;
        }
        row.*field = static_cast<uint32_t>(v.get<uint64_t>());
      }
      if (known) continue;
      if ((key == "name" || key == "description" || key == "address") && !v.is_string()) {
        error = "interface '" + key + "' must be a text";
        return false;
      }
      if (key == "name") {
        const std::string name = v.get<std::string>();
        row.name.assign(name.begin(), name.end());
      } else if (key == "description") {
        row.description = v.get<std::string>();
      } else if (key == "address") {
        if (!ParseAddress(v.get<std::string>(), row.address)) {
          error = "interface 'address' must be bytes in hexadecimal, as 00-0A-1B-00-00-FF";
          return false;
        }
      } else {
        error = "unknown key '" + key + "' in an interface";
        return false;
      }
    }
    rows.push_back(std::move(row));
  }
  sim.interfaces = std::move(rows);
  return true;
}

// The machine's first DNS server, and the error of the network-parameters
// call.
bool ReadDnsServer(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_string()) {
    error = "\"dns_server\" must be a text";
    return false;
  }
  sim.dns_server = value.get<std::string>();
  return true;
}

bool ReadDnsError(SimPlatform& sim, const nlohmann::json& value, std::string& error) {
  if (!value.is_number_unsigned() || value.get<uint64_t>() > 0x7FFFFFFF) {
    error = "\"dns_error\" must be a whole number from 0 to 2147483647";
    return false;
  }
  sim.dns_error = static_cast<int>(value.get<uint64_t>());
  return true;
}

}  // namespace tarnex
