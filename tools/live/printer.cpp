#include "live/printer.hpp"

#include <cstdio>
#include <utility>

#include "audio/new_file.hpp"
#include "text/library_output.hpp"

namespace zeto::tool {

Printer::Printer() {
  const NoEnd no_end;
  thread_ = std::thread([this] { run(); });
}

Printer::~Printer() {
  {
    const std::lock_guard lock(guard_);
    is_over_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Printer::print(const std::string& text) {
  {
    const std::lock_guard lock(guard_);
    if (!has_failed_) waiting_ += text;
  }
  changed_.notify_one();
}

void Printer::run() {
  std::unique_lock lock(guard_);
  for (;;) {
    changed_.wait(lock, [this] { return is_over_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const std::string text = std::exchange(waiting_, {});
    lock.unlock();
    tool::print(text);
    has_failed_ = std::ferror(stdout) != 0;
    lock.lock();
  }
}

}  // namespace zeto::tool
