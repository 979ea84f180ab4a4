// Fields of the server model owned by the update check: the two address
// lines of the main window.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_UPDATE_FIELDS(X) \
  X(Text, Label6, "")           \
  X(Text, Label8, "")
