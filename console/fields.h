// Fields of the server model owned by the consoles: the performance
// console's rows and place, and whether the CPU graph window is open.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_CONSOLE_FIELDS(X)                                        \
  /* the performance console (frmServer): captions and values, 17 rows   \
     on the left and 16 on the right, its place and its timer */         \
  X(Texts<17>, LeftCap, {})                                             \
  X(Texts<17>, LeftVal, {})                                             \
  X(Texts<16>, RightCap, {})                                            \
  X(Texts<16>, RightVal, {})                                            \
  X(double, ServerConsoleTop, 0)                                        \
  X(double, ServerConsoleLeft, 0)                                       \
  X(int32_t, ServerConsoleTimer, 0)
