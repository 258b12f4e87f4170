// The Android log of the test program: its own __android_log_print, in front of whichever liblog is linked, keeps
// lines.
#pragma once

#include <string>
#include <vector>

namespace support {

// "priority tag: text" of every line logged since the last call.
std::vector<std::string> take_log();

}  // namespace support
