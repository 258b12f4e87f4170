// The host's sample formats: their table, their conversion to and from 16-bit blocks, and the in-place passes of 32-bit
// PCM.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace zeto {

constexpr int32_t kBlockLen = 480;  // samples; 10 ms at 48000 Hz

// The width codes of a ring.
constexpr int32_t kWidthPcm16 = 16;
constexpr int32_t kWidthInt32 = 32;
constexpr int32_t kWidthFloat = 48;

constexpr int32_t kFormatPcm32 = 3;

struct Format {
  int32_t format_type;   // 1 to 4; 0: unknown
  int32_t bit_width;     // width code; 0: unknown
  int32_t sample_bytes;  // 0: unknown
};

// An unknown type is all zeros.
Format format_of(int32_t format_type) noexcept;

// A block between its host form (wide: 32-bit integers or floats, by width) and 16 bits. 16-bit hosts need neither.
void narrow_block(int32_t bit_width, const void* wide, int16_t* pcm16) noexcept;
void widen_block(int32_t bit_width, const int16_t* pcm16, void* wide) noexcept;

// 32-bit PCM becomes right-justified 24-bit for the duration of a call, in place; `n` samples.
void pcm32_to_pcm24(void* samples, uint64_t n) noexcept;
void pcm24_to_pcm32(void* samples, uint64_t n) noexcept;

}  // namespace zeto
