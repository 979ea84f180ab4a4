#include "core/texts.h"

#include "base/legacy.h"

namespace tarnex {

using legacy::FN;
using legacy::Format;
using legacy::IntDiv;
using legacy::Mod;
using legacy::Str;

std::string MinSecText(double seconds) {
  return Str(static_cast<double>(Mod(static_cast<double>(IntDiv(seconds, 60)), 60))) + " Min " +
         ":" + Format(static_cast<double>(Mod(seconds, 60)), "00") + " Sec";
}

std::string UpTimeText(double x) {
  std::string text;
  if (x >= 86400)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 86400)), 60))) + " Days - ";
  if (x >= 3600)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 3600)), 60))) + " Hrs - ";
  if (x >= 60)
    text += Str(static_cast<double>(Mod(static_cast<double>(IntDiv(x, 60)), 60))) + " Min - ";
  return text + Format(static_cast<double>(Mod(x, 60)), "00") + " Sec";
}

bool SizeText(double x, std::string& text) {
  if (x < 100000000) {
    text = FN(x / 1000000) + " MB";
  } else if (x < 100000000000) {
    text = FN(x / 1000000000) + " GB";
  } else if (x < 100000000000000) {
    text = FN(x / 1000000000000) + " TB";
  } else {
    return false;
  }
  return true;
}

}  // namespace tarnex
