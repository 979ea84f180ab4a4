// Fields of the server model owned by mail and summaries.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_MAIL_FIELDS(X)         \
  /* 1 once the daily mail went out */\
  X(int32_t, MidnightArmed, 0)
