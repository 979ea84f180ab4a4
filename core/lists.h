// List files: plain text, one entry a line, CR LF between lines.
#pragma once

#include <string>
#include <vector>

#include "core/context.h"

namespace tarnex {

// The lines of a file of the installation folder ("\Bin\..."), split at
// CR LF, as they stand (the last one empty when the file ends with a line
// end). A missing or unreadable file has no lines; with `create`, a missing
// file is made, empty, as opening it for reading with the create flag does.
std::vector<std::string> ReadListFile(Context& ctx, const std::string& name, bool create);

// The entries of such a file: the lines that are not empty, each trimmed of
// its outer blanks first with `trim`, kept as they stand without.
std::vector<std::string> ListEntries(Context& ctx, const std::string& name, bool create, bool trim);

// The whole text of such a file ("" when it cannot be read), made empty when
// missing with `create`.
std::string ReadTextFile(Context& ctx, const std::string& name, bool create);

}  // namespace tarnex
