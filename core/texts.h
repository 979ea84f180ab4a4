// Text rules of the main screen, shared by the cycle and the subsystems.
#pragma once

#include <string>

namespace tarnex {

// (x \ 60) mod 60 & " Min " & ":" & x mod 60 in "00" & " Sec".
std::string MinSecText(double seconds);
// An up time: days (wrapping at 60), hours (not taken modulo 24), minutes and
// seconds, each part from the size it is needed.
std::string UpTimeText(double seconds);
// A byte figure as MB, GB or TB text; false (and no text) from 1e14 bytes up.
bool SizeText(double bytes, std::string& text);

}  // namespace tarnex
