#include "wrapper/format.hpp"

#include <algorithm>
#include <cstring>

#include "kernels/saturate.hpp"

namespace zeto {
namespace {

constexpr int32_t kMin24 = -8388608;
constexpr int32_t kMax24 = 8388607;

// To nearest, ties up. The rounding term wraps: the topmost 128 inputs come out at the bottom.
int16_t narrow(int32_t x) noexcept {
  const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(x) + 128u);
  return static_cast<int16_t>(std::clamp(t, kMin24, kMax24) >> 8);
}

// The way in scales by 32767 and truncates, the way out by 1/32768 and is exact; the asymmetry is intended.
int16_t narrow(float x) noexcept {
  return static_cast<int16_t>(std::clamp(saturate_int32(x * 32767.0f), -32768, 32767));
}

int32_t to_pcm24(int32_t x) noexcept {
  return static_cast<int32_t>(std::min((int64_t{x} + 128) >> 8, int64_t{kMax24}));
}

int32_t to_pcm32(int32_t x) noexcept {
  if (x < kMin24) return INT32_MIN;
  if (x > kMax24) return INT32_MAX;
  return x * 256;
}

// Host memory holds samples, but no objects that we may name: they are copied in and out.
template <typename T>
T load(const void* samples, size_t i) noexcept {
  T value;
  std::memcpy(&value, static_cast<const char*>(samples) + i * sizeof value, sizeof value);
  return value;
}

template <typename T>
void store(void* samples, size_t i, T value) noexcept {
  std::memcpy(static_cast<char*>(samples) + i * sizeof value, &value, sizeof value);
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

void narrow_block(int32_t bit_width, const void* wide, int16_t* pcm16) noexcept {
  if (bit_width == kWidthFloat) {
    for (size_t i = 0; i < kBlockLen; ++i) pcm16[i] = narrow(load<float>(wide, i));
  } else {
    for (size_t i = 0; i < kBlockLen; ++i) pcm16[i] = narrow(load<int32_t>(wide, i));
  }
}

void widen_block(int32_t bit_width, const int16_t* pcm16, void* wide) noexcept {
  if (bit_width == kWidthFloat) {
    for (size_t i = 0; i < kBlockLen; ++i) store(wide, i, static_cast<float>(pcm16[i] / 32768.0));
  } else {
    for (size_t i = 0; i < kBlockLen; ++i) store(wide, i, int32_t{pcm16[i]} * 256);
  }
}

void pcm32_to_pcm24(void* samples, uint64_t n) noexcept {
  for (size_t i = 0; i < n; ++i) store(samples, i, to_pcm24(load<int32_t>(samples, i)));
}

void pcm24_to_pcm32(void* samples, uint64_t n) noexcept {
  for (size_t i = 0; i < n; ++i) store(samples, i, to_pcm32(load<int32_t>(samples, i)));
}

}  // namespace zeto
