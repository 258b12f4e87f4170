#include "text/progress.hpp"

#include <unistd.h>

#include <cstdio>

#include "text/terminal.hpp"
#include "text/text.hpp"

namespace zeto::tool {

Progress::Progress() : is_terminal_(isatty(STDERR_FILENO) == 1) {}

void Progress::show(const std::string& line) {
  const auto now = std::chrono::steady_clock::now();
  if (!is_terminal_ || now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  const size_t columns = columns_of(STDERR_FILENO);
  const size_t fits = columns > 1 ? columns - 1 : line.size();  // a full line would wrap
  std::fprintf(stderr, "\r\033[K%s", line.substr(0, fits).c_str());
  std::fflush(stderr);
  shown_ = true;
}

void Progress::show_files(double read, size_t done, size_t all, const std::string& more) {
  const double files = std::max(read, static_cast<double>(done));  // one at fault is not read to its end
  const auto percent = static_cast<int>(100.0 * files / static_cast<double>(all));
  show(text("%d %%", percent) + (all > 1 ? text(", %zu of %zu files", done, all) : "") + more);
}

void Progress::clear() {
  if (shown_) std::fputs("\r\033[K", stderr);
  shown_ = false;
}

}  // namespace zeto::tool
