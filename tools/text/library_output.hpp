// What the library itself says. Its cores print information lines on standard output, where a verb's results belong,
// and its wrappers write to the Android log. Neither is of interest to most users: both are dropped, or shown on
// standard error if --verbose is given. Errors in the log are always shown.
#pragma once
#include <mutex>
#include <string>

namespace zeto::tool {

extern bool verbose;

/// Writes to standard output while no LibrarySpeaks lives: if several threads work, results are written by it.
void print(const std::string& text);

/// While it lives, standard output goes elsewhere. Meant for calls that print: init, set_parameters, deinit. Only one
/// lives at a time, others wait: the same calls of several handles write to the library's one arena registry.
class LibrarySpeaks {
 public:
  LibrarySpeaks();
  ~LibrarySpeaks();
  LibrarySpeaks(const LibrarySpeaks&) = delete;
  LibrarySpeaks& operator=(const LibrarySpeaks&) = delete;

 private:
  std::lock_guard<std::mutex> alone_;
  int kept_;  // the real standard output, -1 if there is none
};

}  // namespace zeto::tool
