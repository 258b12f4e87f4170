// How far long work has come, on standard error if that is a terminal.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

namespace zeto::tool {

/// One line that is written over again and again, five times a second at most and not in the first second.
class Progress {
 public:
  Progress();
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const std::string& line);
  /// "37 %"
  void show_share(int64_t done, int64_t all) { show(std::to_string(100 * done / std::max<int64_t>(1, all)) + " %"); }
  /// "37 %, 7 of 20 files" and more; of one file the percentage and more.
  /// @param read  files that were read, with the parts of those under way.
  void show_files(double read, size_t done, size_t all, const std::string& more = "");
  /// To be called before anything else is printed.
  void clear();

 private:
  bool is_terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

}  // namespace zeto::tool
