// An array between two unmapped pages, flush with one of them: reading or writing one element past it crashes.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>

namespace zeto_test {

enum class Fence { kBehind, kBefore };

template <typename T>
class Fenced {
 public:
  explicit Fenced(size_t count, Fence fence = Fence::kBehind) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = count * sizeof(T);
    const size_t room = (bytes + page - 1) / page * page;
    mapped_ = room + 2 * page;
    void* const base = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) abort();
    base_ = static_cast<std::byte*>(base);
    if (room && mprotect(base_ + page, room, PROT_READ | PROT_WRITE)) abort();
    data_ = reinterpret_cast<T*>(base_ + page + (fence == Fence::kBehind ? room - bytes : 0));
  }
  ~Fenced() { munmap(base_, mapped_); }
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;

  T* get() const { return data_; }
  T& operator[](size_t i) const { return data_[i]; }

 private:
  std::byte* base_;
  size_t mapped_;
  T* data_;
};

}  // namespace zeto_test
