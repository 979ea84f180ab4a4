// The size and free space of one drive in words, as the server summary and
// the inventory report show them.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tarnex {

// "Total Size: 80 GB   Available: 20 GB" for the drive whose root is `root`
// ("C:\\"), scaled by the size of the drive; "No Information Available at
// this time" when the drive tells no size above 10 bytes.
std::string DriveText(Platform& platform, const std::string& root);

}  // namespace tarnex
