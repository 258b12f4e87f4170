// How far long work has come, on standard error where that is a terminal.
#pragma once
#include <chrono>
#include <string>

namespace zeto::tool {

/// One line that is written over again and again. It shows only when the work has lasted for a second.
class Progress {
 public:
  Progress();
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const std::string& line);
  /// To be called before anything else is printed.
  void clear();

 private:
  bool is_terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace zeto::tool
