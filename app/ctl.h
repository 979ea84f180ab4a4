// tarnex-server ctl: the shell's way to the operator console of a running
// server on this machine.
#pragma once

namespace tarnex {

// `args` are the words after "ctl". Returns the process's exit code.
int RunCtl(int argc, char** argv);

}  // namespace tarnex
