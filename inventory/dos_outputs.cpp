#include "inventory/dos_outputs.h"

#include <memory>

#include "core/context.h"

namespace tarnex {

std::string DOSOutputs::ExecuteCommand(const std::string& command) {
  if (!command.empty()) command_line_ = command;
  if (command_line_.empty()) {
    ctx_.ShowMessage("Command Line empty");
    return {};
  }
  std::unique_ptr<CommandPipe> pipe;
  switch (ctx_.platform().StartCommand(command_line_, pipe)) {
    case CommandStart::kNoPipe:
      return {};
    case CommandStart::kNotFound:
      ctx_.ShowMessage("File or command not found");
      return {};
    case CommandStart::kStarted:
      break;
  }
  output_text_.clear();
  // Every read passes its bytes on, the last one too: it fails at the end of
  // the output with nothing read, so one empty event ends the run.
  char buffer[kBlock];
  bool more = true;
  while (more) {
    size_t count = 0;
    more = pipe->Read(buffer, kBlock, count);
    const std::string block(buffer, count);
    output_text_ += block;
    if (ReceiveOutputs) ReceiveOutputs(block);
  }
  pipe.reset();  // closes the read end; the program is done with
  return output_text_;
}

}  // namespace tarnex
