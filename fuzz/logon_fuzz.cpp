// The logon check on any text from a monitor, with any password and server
// code: it never fails, passes only the one text it should, and every refusal
// has its journal line and a reply that ends the line.
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/legacy.h"
#include "monitorlink/link.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The input is the password, a 0 byte, the server code, a 0 byte and what
  // the monitor sent; missing parts are empty.
  const std::string all(reinterpret_cast<const char*>(data), size);
  const size_t a = all.find('\0');
  const size_t b = a == std::string::npos ? a : all.find('\0', a + 1);
  const std::string password = all.substr(0, a);
  const std::string code = a == std::string::npos ? "" : all.substr(a + 1, b - a - 1);
  const std::string sent = b == std::string::npos ? "" : all.substr(b + 1);
  const tarnex::LogonOutcome out = tarnex::CheckLogon(sent, password, code, 2);
  using tarnex::legacy::LCase;
  const bool is_logon = sent.rfind("CHK", 0) == 0;
  if ((out.kind == tarnex::LogonOutcome::kIgnored) == is_logon) __builtin_trap();
  if (out.kind == tarnex::LogonOutcome::kPassed &&
      LCase(sent.substr(3)) != LCase(password + code)) {
    __builtin_trap();
  }
  if (out.kind == tarnex::LogonOutcome::kFailed) {
    if (out.reply.size() < 2 || out.reply.compare(out.reply.size() - 2, 2, "\r\n") != 0) {
      __builtin_trap();
    }
    if (out.journal.rfind("Log on Failed for Monitoring Remote 3  ", 0) != 0) __builtin_trap();
  }
  return 0;
}
