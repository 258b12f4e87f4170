// The same work on many things, on several threads.
#pragma once
#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <thread>
#include <vector>

namespace zeto::tool {

/// Calls work(i) for i below n on up to `jobs` threads, and use(i, its result) on this one, in order and as soon as
/// may be; while it waits, idle() five times a second. What work throws is thrown here when its turn comes, after the
/// work under way has ended.
template <class Work, class Use, class Idle>
void in_order(size_t n, size_t jobs, Work work, Use use, Idle idle) {
  using Result = decltype(work(size_t{0}));
  constexpr std::chrono::milliseconds kPatience(200);
  std::vector<std::promise<Result>> results(n);
  std::atomic<size_t> next = 0;
  const auto run = [&] {
    for (size_t i = next++; i < n; i = next++) {
      try {
        results[i].set_value(work(i));
      } catch (...) {
        results[i].set_exception(std::current_exception());
      }
    }
  };
  std::vector<std::jthread> threads;
  const struct Stop {
    std::atomic<size_t>& next;
    size_t n;
    ~Stop() { next = n; }  // before the threads are joined
  } stop{next, n};
  for (size_t i = 0; i < jobs && i < n; ++i) threads.emplace_back(run);
  for (size_t i = 0; i < n; ++i) {
    auto result = results[i].get_future();
    while (result.wait_for(kPatience) != std::future_status::ready) idle();
    use(i, result.get());
  }
}

}  // namespace zeto::tool
