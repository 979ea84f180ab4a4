// Fields of the server model owned by the web-site tracking.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_TRACKING_FIELDS(X)                                                 \
  /* 1 once the tracking work of the night ran; set by the night's harvest test */\
  X(int32_t, DayTrackClosed, 0)                                                   \
  X(int32_t, HarvestDone, 0)
