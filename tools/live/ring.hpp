// A queue from one thread to another, without locks: what the audio thread hands on.
#pragma once
#include <atomic>
#include <bit>
#include <cstddef>
#include <vector>

namespace zeto::tool {

/// One thread pushes, one pops. Nothing is allocated but by the constructor.
template <class T>
class Ring {
 public:
  /// Room for so many at least.
  explicit Ring(size_t room) : slots_(std::bit_ceil(room)), mask_(slots_.size() - 1) {}

  /// For the thread that pushes: it then does.
  bool has_room(size_t n) const noexcept {
    const size_t end = pushed_.load(std::memory_order_relaxed);
    return n <= slots_.size() - (end - popped_.load(std::memory_order_acquire));
  }

  /// Adds make(0) to make(n - 1), or nothing if there is no room for all.
  template <class Make>
  bool push(size_t n, Make make) noexcept {
    const size_t end = pushed_.load(std::memory_order_relaxed);
    if (!has_room(n)) return false;
    for (size_t i = 0; i < n; ++i) slots_[(end + i) & mask_] = make(i);
    pushed_.store(end + n, std::memory_order_release);
    return true;
  }

  /// How many can be popped: what was pushed before them, here or elsewhere, is there as well.
  size_t size() const noexcept {
    return pushed_.load(std::memory_order_acquire) - popped_.load(std::memory_order_relaxed);
  }

  /// Takes up to n, the oldest first. Returns how many.
  size_t pop(T* to, size_t n) noexcept {
    const size_t begin = popped_.load(std::memory_order_relaxed);
    if (const size_t there = size(); n > there) n = there;
    for (size_t i = 0; i < n; ++i) to[i] = slots_[(begin + i) & mask_];
    popped_.store(begin + n, std::memory_order_release);
    return n;
  }

 private:
  static constexpr size_t kLine = 64;  // bytes of a cache line: each thread's counter has its own

  std::vector<T> slots_;
  size_t mask_;
  alignas(kLine) std::atomic<size_t> pushed_ = 0;  // both count for ever and wrap together
  alignas(kLine) std::atomic<size_t> popped_ = 0;
};

}  // namespace zeto::tool
