// What the library itself says. Its cores print information lines on standard output, where a verb's results belong,
// and its wrappers write to the Android log. Neither is of interest to most users: both are dropped, or shown on
// standard error where --verbose is given. Errors in the log are always shown.
#pragma once

namespace zeto::tool {

extern bool verbose;

/// While it lives, standard output goes elsewhere. Meant for calls that print: init, set_parameters, deinit.
class LibrarySpeaks {
 public:
  LibrarySpeaks();
  ~LibrarySpeaks();
  LibrarySpeaks(const LibrarySpeaks&) = delete;
  LibrarySpeaks& operator=(const LibrarySpeaks&) = delete;

 private:
  int kept_;  // the real standard output, -1 where there is none
};

}  // namespace zeto::tool
