// The expected line speeds of section Monitor ("UP BW", "DN BW") and the
// limits the network rules take from them.
#pragma once

#include "core/context.h"

namespace tarnex {

// Start-up, step 17: the choice lists, the two speeds and their limits.
void LoadLineSpeeds(Context& ctx);
// The Save operation, step 7.
void SaveLineSpeeds(Context& ctx);

}  // namespace tarnex
