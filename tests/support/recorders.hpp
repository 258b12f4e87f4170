// What the library does to its surroundings: its log lines and its heap calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace support {

// "priority tag: text" of every line logged since the last call. The test program has its own __android_log_print.
std::vector<std::string> take_log();

// Watches the heap calls of everything linked into the test program (the linker wraps them), while one exists.
struct HeapRecorder {
  // Bit n of `failing` makes the n-th allocation (from 1) fail.
  explicit HeapRecorder(uint32_t failing = 0);
  ~HeapRecorder();
  HeapRecorder(const HeapRecorder&) = delete;

  std::vector<size_t> sizes() const;  // bytes asked for, in order, failed requests included
  std::vector<size_t> freed() const;  // numbers (from 1) of the allocations freed, in order; 0: not one of ours
};

}  // namespace support
