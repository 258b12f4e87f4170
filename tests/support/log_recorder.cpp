#include "tests/support/log_recorder.hpp"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {
std::vector<std::string> lines;
}

extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int priority, const char* tag,
                                                                         const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  lines.push_back(std::to_string(priority) + " " + tag + ": " + text);
  return 1;
}

std::vector<std::string> support::take_log() {
  return std::exchange(lines, {});
}
