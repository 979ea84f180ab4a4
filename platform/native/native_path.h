// Turning the program's file names into paths on this host.
//
// The logic composes names the way the original platform spells them
// (AppPath & "\Bin\Tarnex.Tnx"); there both spellings of a name lead to one
// file. Here each component is looked up without regard to case among the
// entries that exist; a component that does not exist keeps the spelling given.
#pragma once

#include <string>
#include <string_view>

namespace tarnex {

// Backslashes become slashes, repeated separators collapse, and every existing
// component is matched case-blind (an exact match wins over a case-blind one).
std::string NativePath(std::string_view name);

}  // namespace tarnex
