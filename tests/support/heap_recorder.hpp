// Watches the heap calls of everything that is linked into the test program (the linker wraps them), while one exists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace support {

class HeapRecorder {
 public:
  // Bit n of `failing` makes the n-th allocation (from 1) fail.
  explicit HeapRecorder(uint32_t failing = 0);
  ~HeapRecorder();
  HeapRecorder(const HeapRecorder&) = delete;

  std::vector<size_t> sizes() const;  // bytes asked for, in order, failed requests included
  std::vector<size_t> freed() const;  // numbers (from 1) of the allocations freed, in order; 0: not one of ours
};

}  // namespace support
