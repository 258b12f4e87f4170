// The plain model of the host side: one sample at a time, straight from the definitions, sharing no code with the
// library. It is the truth that the library's bulk forms are compared with bit for bit, and what benchmarks divide by.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace plain {

inline constexpr int32_t kBlock = 480;

// Toward zero, saturating; not a number is 0.
int32_t saturated(double x);

// A ring of `capacity` samples of 2 bytes (width 16) or 4 bytes (widths 32 and 48); any other width ignores all
// traffic, and so does a ring without capacity.
struct Ring {
  int32_t bit_width = 0, capacity = 0, count = 0, read_pos = 0, write_pos = 0;
  std::vector<unsigned char> data;

  explicit Ring(int32_t width, int32_t samples = kBlock);
  void write(const void* source, int32_t n);
  void read(void* destination, int32_t n);

 private:
  bool takes_part() const { return capacity > 0 && (bit_width == 16 || bit_width == 32 || bit_width == 48); }
  size_t bytes() const { return bit_width == 16 ? 2 : 4; }
};

// Host sample to block sample and back. Formats 2 and 3 share the 24-bit form.
int16_t block_from_24(int32_t x);
int32_t host_24(int16_t s);
int16_t block_from_float(float x);
float host_float(int16_t s);
// Format 3 becomes format 2 for the length of a call.
int32_t before_call(int32_t x);
int32_t after_call(int32_t x);

// One stream (downlink) or several (uplink) that fill and empty together; the first one triggers.
class Streams {
 public:
  // Gets one 480-sample block per stream, in stream order.
  using Core = std::function<void(int16_t* const* blocks)>;
  struct Stream {
    Ring in, out;
    std::array<int16_t, kBlock> pcm16 = {};
    std::array<uint32_t, kBlock> wide = {};
  };
  std::vector<Stream> streams;

  Streams(int32_t format_type, size_t count, Core core);
  // Buffers in stream order, in place, apart or one and the same. The byte count is a multiple of the sample size.
  void process(void* const* buffers, uint64_t byte_count);

 private:
  void block_step();

  int32_t format_type_, sample_bytes_;
  Core core_;
};

}  // namespace plain
