// The mail settings as the main screen keeps them for the clock cycle:
// section "Email" of the settings, the recipients and the message text.
#pragma once

#include "core/context.h"

namespace tarnex {

// Start-up, step 13: the sender, subject, server and port ("25" when
// empty), the recipients of "\Bin\Emailto.txt", the text of
// "\Bin\EmailBody.txt", and the seven switches.
void LoadMailSettings(Context& ctx);

}  // namespace tarnex
