#include "wrapper/format.hpp"

#include "kernels/lanes.hpp"

namespace zeto {
namespace {

constexpr int32_t kMin24 = -8388608;
constexpr int32_t kMax24 = 8388607;

// To nearest, ties up. The rounding term wraps: the topmost 128 inputs come out at the bottom.
int16_t narrow(int32_t x) noexcept {
  const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(x) + 128u);
  return static_cast<int16_t>((t < kMin24 ? kMin24 : t > kMax24 ? kMax24 : t) >> 8);
}

int32_t to_pcm24(int32_t x) noexcept {
  const int64_t t = (int64_t{x} + 128) >> 8;
  return t > kMax24 ? kMax24 : static_cast<int32_t>(t);
}

int32_t to_pcm32(int32_t x) noexcept {
  if (x < kMin24) return INT32_MIN;
  if (x > kMax24) return INT32_MAX;
  return x * 256;
}

// Host memory holds samples, but no objects that we may name: they are copied in and out.
template <int32_t (*kConvert)(int32_t)>
void convert_in_place(void* samples, uint64_t n) noexcept {
  char* const bytes = static_cast<char*>(samples);
  for (uint64_t at = 0; at < n * sizeof(int32_t); at += sizeof(int32_t)) {
    store(kConvert(load<int32_t>(bytes + at)), bytes + at);
  }
}

}  // namespace

Format format_of(int32_t format_type) noexcept {
  switch (format_type) {
    case 1:
      return {1, kWidthPcm16, 2};
    case 2:
      return {2, kWidthInt32, 4};
    case kFormatPcm32:
      return {kFormatPcm32, kWidthInt32, 4};
    case 4:
      return {4, kWidthFloat, 4};
    default:
      return {0, 0, 0};
  }
}

// The way in scales floats by 32767 and truncates, the way out by 1/32768 and is exact; the asymmetry is intended.
void narrow_block(int32_t bit_width, const void* wide, int16_t* pcm16) noexcept {
  if (bit_width == kWidthFloat) {
    const float* const from = static_cast<const float*>(wide);
    for (size_t i = 0; i < kBlockLen; i += 4) store(saturate_int16(load<f32x4>(from + i) * 32767.0f), pcm16 + i);
  } else {
    const int32_t* const from = static_cast<const int32_t*>(wide);
    for (size_t i = 0; i < kBlockLen; ++i) pcm16[i] = narrow(from[i]);
  }
}

void widen_block(int32_t bit_width, const int16_t* pcm16, void* wide) noexcept {
  if (bit_width == kWidthFloat) {
    float* const to = static_cast<float*>(wide);
    for (size_t i = 0; i < kBlockLen; ++i) to[i] = static_cast<float>(pcm16[i]) * (1.0f / 32768.0f);
  } else {
    int32_t* const to = static_cast<int32_t*>(wide);
    for (size_t i = 0; i < kBlockLen; ++i) to[i] = int32_t{pcm16[i]} * 256;
  }
}

void pcm32_to_pcm24(void* samples, uint64_t n) noexcept {
  convert_in_place<to_pcm24>(samples, n);
}

void pcm24_to_pcm32(void* samples, uint64_t n) noexcept {
  convert_in_place<to_pcm32>(samples, n);
}

}  // namespace zeto
