// Standard output on a thread of its own: who reads along slowly, or not at all, holds up no recording.
#pragma once
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace zeto::tool {

class Printer {
 public:
  Printer();
  /// Waits until all is written.
  ~Printer();
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;

  /// Never waits. Nothing is written any more once writing has failed.
  void print(const std::string& text);
  bool has_failed() const noexcept { return has_failed_; }

 private:
  void run();

  std::mutex guard_;
  std::condition_variable changed_;
  std::string waiting_;
  bool is_over_ = false;
  std::atomic<bool> has_failed_ = false;
  std::thread thread_;  // last: it uses the others
};

}  // namespace zeto::tool
