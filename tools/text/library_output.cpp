#include "text/library_output.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace zeto::tool {

bool verbose = false;

namespace {
std::mutex library_or_results;
}  // namespace

void print(const std::string& text) {
  const std::lock_guard alone(library_or_results);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);  // first written to as /dev/null, it is not line-buffered on a terminal either
}

LibrarySpeaks::LibrarySpeaks() : alone_(library_or_results) {
  std::fflush(stdout);
  kept_ = dup(STDOUT_FILENO);
  if (kept_ < 0) return;
  const int elsewhere = verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (elsewhere < 0) return;
  dup2(elsewhere, STDOUT_FILENO);
  close(elsewhere);
}

LibrarySpeaks::~LibrarySpeaks() {
  if (kept_ < 0) return;
  std::fflush(stdout);
  dup2(kept_, STDOUT_FILENO);
  close(kept_);
}

}  // namespace zeto::tool

/// Stands in front of liblog's function of this name for the whole process.
extern "C" [[gnu::format(printf, 3, 4)]] int __android_log_print(int priority, const char* tag, const char* format,
                                                                 ...);

int __android_log_print(int priority, const char* tag, const char* format, ...) {
  constexpr int kError = 6;
  if (priority < kError && !zeto::tool::verbose) return 0;
  std::fprintf(stderr, "%s: ", tag);
  va_list args;
  va_start(args, format);
  const int written = std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  return written;
}
