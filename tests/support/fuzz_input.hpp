// What a fuzz target reads its bytes through: a script, front to back, and zeros past its end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Where a target has it, looks back on a whole seed corpus: it must have come through everything worth coming through.
[[gnu::weak]] void look_back();

namespace support {

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : at_(data), left_(size) {}
  bool empty() const { return left_ == 0; }
  void take(void* to, size_t bytes) {
    if (bytes == 0) return;
    const size_t n = std::min(bytes, left_);
    std::memset(to, 0, bytes);
    if (n == 0) return;
    std::memcpy(to, at_, n);
    at_ += n;
    left_ -= n;
  }
  template <typename T>
  T take() {
    T value;
    take(&value, sizeof value);
    return value;
  }
  // 0 to n - 1.
  uint32_t below(uint32_t n) { return (n > 256 ? take<uint32_t>() : take<uint8_t>()) % n; }
  bool one_in(uint32_t n) { return below(n) == 0; }
  template <typename T>
  T pick(std::initializer_list<T> list) {
    return list.begin()[below(static_cast<uint32_t>(list.size()))];
  }

 private:
  const uint8_t* at_;
  size_t left_;
};

// Ends the program if the oracle is contradicted: that is a find.
inline void require(bool held, const char* what) {
  if (held) return;
  std::fprintf(stderr, "fuzz: contradicted: %s\n", what);
  std::abort();
}

// The next of a row of 32-bit numbers, for audio that would be too long to spell out.
inline uint32_t next_random(uint32_t& state) {
  state = state * 1664525u + 1013904223u;
  return state ^ state >> 15;
}

}  // namespace support
