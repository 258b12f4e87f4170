#include "progress.hpp"

#include <unistd.h>

#include <cstdio>

namespace zeto::tool {

Progress::Progress() : is_terminal_(isatty(STDERR_FILENO) == 1) {}

void Progress::show(const std::string& line) {
  if (!is_terminal_ || std::chrono::steady_clock::now() - begin_ < std::chrono::seconds(1)) return;
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  std::fflush(stderr);
  shown_ = true;
}

void Progress::clear() {
  if (shown_) std::fputs("\r\033[K", stderr);
  shown_ = false;
}

}  // namespace zeto::tool
