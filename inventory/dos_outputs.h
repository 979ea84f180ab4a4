// DOSOutputs: runs a command line as a separate program and takes its
// output, standard output and standard error together, 256 bytes a read.
#pragma once

#include <functional>
#include <string>

namespace tarnex {

class Context;

class DOSOutputs {
 public:
  static constexpr size_t kBlock = 256;

  explicit DOSOutputs(Context& ctx) : ctx_(ctx) {}

  const std::string& CommandLine() const { return command_line_; }
  void SetCommandLine(const std::string& command) { command_line_ = command; }
  const std::string& OutputText() const { return output_text_; }

  // Raised for every block read, and once more with an empty text when the
  // output has ended.
  std::function<void(const std::string& text)> ReceiveOutputs;

  // Runs `command` (or, when it is empty, the command line set before) and
  // returns its whole output. Blocks until the program closes its output.
  // Returns an empty text, after telling the operator, when there is no
  // command line or the program cannot be started.
  std::string ExecuteCommand(const std::string& command = "");

 private:
  Context& ctx_;
  std::string command_line_;
  std::string output_text_;
};

}  // namespace tarnex
