// The same work on many things, on several threads.
#pragma once
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace zeto::tool {

/// One per processor, unless there is a choice.
inline size_t jobs_of(int chosen) {
  return chosen > 0 ? static_cast<size_t>(chosen) : std::max(1u, std::thread::hardware_concurrency());
}

/// Calls work(i) for i below n on up to `jobs` threads, and use(i, its result) on this one, in order and as soon as
/// may be; while it waits, idle() five times a second. Results that wait for their turn are bounded: work goes ahead
/// by 16 things a thread. What work throws is thrown here when its turn comes, after the work under way has ended.
template <class Work, class Use, class Idle>
void in_order(size_t n, size_t jobs, Work work, Use use, Idle idle) {
  struct Slot {
    std::optional<decltype(work(size_t{0}))> result;
    std::exception_ptr thrown;
    bool done = false;
  };
  constexpr std::chrono::milliseconds kPatience(200);
  jobs = std::min(jobs, n);
  const size_t ahead = 16 * jobs;
  std::vector<Slot> slots(ahead);
  std::mutex guard;
  std::condition_variable done;
  std::condition_variable room;
  size_t next = 0;
  size_t used = 0;
  bool stopped = false;
  const auto run = [&] {
    for (std::unique_lock lock(guard);;) {
      room.wait(lock, [&] { return stopped || next >= n || next < used + ahead; });
      if (stopped || next >= n) return;
      const size_t i = next++;
      lock.unlock();
      Slot slot;
      try {
        slot.result = work(i);
      } catch (...) {
        slot.thrown = std::current_exception();
      }
      slot.done = true;
      lock.lock();
      slots[i % ahead] = std::move(slot);
      done.notify_one();
    }
  };
  std::vector<std::jthread> threads;
  struct Stop {
    std::mutex& guard;
    std::condition_variable& room;
    bool& stopped;
    ~Stop() {  // before the threads are joined
      const std::lock_guard lock(guard);
      stopped = true;
      room.notify_all();
    }
  } const stop{guard, room, stopped};
  for (size_t i = 0; i < jobs; ++i) threads.emplace_back(run);
  for (size_t i = 0; i < n; ++i) {
    Slot slot;
    {
      std::unique_lock lock(guard);
      while (!done.wait_for(lock, kPatience, [&] { return slots[i % ahead].done; })) {
        lock.unlock();
        idle();
        lock.lock();
      }
      slot = std::move(slots[i % ahead]);
      slots[i % ahead] = Slot();
      used = i + 1;
      room.notify_all();
    }
    if (slot.thrown) std::rethrow_exception(slot.thrown);
    use(i, *slot.result);
  }
}

}  // namespace zeto::tool
