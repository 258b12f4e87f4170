// Test data that are the same everywhere, and sums over what comes of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace support {

// FNV-1a, 64 bits.
class Sum {
 public:
  void add(const void* data, size_t bytes) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < bytes; ++i) value_ = (value_ ^ p[i]) * 0x100000001b3u;
  }
  template <typename T, size_t n>
  void add(const T (&values)[n]) {
    add(values, sizeof values);
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325u;
};

// A linear congruential generator: integers only, so that no library's arithmetic comes in.
class Seeded {
 public:
  explicit Seeded(uint32_t seed) : state_(seed) {}
  uint32_t bits() { return (state_ = state_ * 1664525u + 1013904223u) >> 8; }  // 24 bits, the better ones
  int32_t sample16() { return static_cast<int32_t>(bits() >> 8) - 32768; }
  float unit() { return static_cast<float>(sample16()) / 32768.0f; }

  // Finite, of both signs: 1 in 16 a zero or denormal, the rest from 2^-20 to 2^20.
  float wide() {
    const uint32_t fraction = bits() >> 1;
    const uint32_t choice = bits();
    const uint32_t exponent = choice % 16 == 0 ? 0 : 107 + (choice >> 4) % 40;
    return std::bit_cast<float>((choice >> 12) % 2 << 31 | exponent << 23 | (choice % 32 == 0 ? 0 : fraction));
  }

 private:
  uint32_t state_;
};

}  // namespace support
