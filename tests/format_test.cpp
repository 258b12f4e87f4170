#include "wrapper/format.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "tests/plain/stream.hpp"
#include "wrapper/stream.hpp"

namespace {

template <typename T>
constexpr int32_t kWidth = std::is_same_v<T, float> ? 48 : 32;

template <typename T>
std::vector<int16_t> narrow(std::vector<T> host) {
  std::vector<int16_t> block(zeto::kBlockLen);
  host.resize(zeto::kBlockLen);
  zeto::narrow_block(kWidth<T>, host.data(), block.data());
  return block;
}

template <typename T>
std::vector<T> widen(const std::vector<int16_t>& block) {
  std::vector<T> host(zeto::kBlockLen);
  zeto::widen_block(kWidth<T>, block.data(), host.data());
  return host;
}

TEST(Format, ConvertsTheEdges) {
  const int32_t ints[][2] = {{8388607, 32767},
                             {8388480, 32767},
                             {8388479, 32767},
                             {127, 0},
                             {128, 1},
                             {-128, 0},
                             {-129, -1},
                             {-8388608, -32768},
                             {2147483519, 32767},
                             {2147483520, -32768},
                             {INT32_MAX, -32768},
                             {INT32_MIN, -32768}};
  for (auto [x, want] : ints) EXPECT_EQ(narrow<int32_t>({x})[0], want) << x;
  const float floats[][2] = {{1.0f, 32767}, {-1.0f, -32767},     {2.0f, 32767}, {-2.0f, -32768}, {1e30f, 32767},
                             {NAN, 0},      {-INFINITY, -32768}, {0.5f, 16383}, {-0.5f, -16383}, {-1.00004f, -32768}};
  for (auto [x, want] : floats) EXPECT_EQ(narrow<float>({x})[0], want) << x;
  int32_t before[][2] = {{INT32_MAX, 8388607},
                         {2147483520, 8388607},
                         {2147483263, 8388606},
                         {INT32_MIN, -8388608},
                         {127, 0},
                         {128, 1},
                         {-128, 0},
                         {-129, -1}};
  for (auto [x, want] : before) {
    zeto::pcm32_to_pcm24(&x, 1);
    EXPECT_EQ(x, want);
  }
  int32_t after[][2] = {{8388607, 2147483392}, {8388608, INT32_MAX}, {-8388608, INT32_MIN}, {-8388609, INT32_MIN}};
  for (auto [x, want] : after) {
    zeto::pcm24_to_pcm32(&x, 1);
    EXPECT_EQ(x, want);
  }
}

TEST(Format, CarriesAll16BitValuesThereAndBack) {
  for (int32_t first = -32768; first < 32768; first += 256) {
    std::vector<int16_t> block(zeto::kBlockLen);
    for (size_t i = 0; i < 256; ++i) block[i] = int16_t(first + int32_t(i));
    const auto ints = widen<int32_t>(block);
    const auto floats = widen<float>(block);
    EXPECT_EQ(narrow(ints), block);
    const auto from_floats = narrow(floats);
    for (size_t i = 0; i < block.size(); ++i) {
      ASSERT_EQ(ints[i], block[i] * 256);
      ASSERT_EQ(floats[i] * 32768.0f, float(block[i]));
      ASSERT_EQ(from_floats[i], block[i] - (block[i] > 0) + (block[i] < 0));  // 32767 in, 32768 out, truncated
    }
  }
}

TEST(Format, ConvertsAnyBitPatternAsThePlainModel) {
  std::mt19937 random(2);
  for (int turn = 0; turn < 500; ++turn) {
    std::vector<int32_t> host(zeto::kBlockLen);
    std::vector<float> floats(zeto::kBlockLen);
    for (size_t i = 0; i < host.size(); ++i) {
      host[i] = int32_t(random()) >> (random() % 12);
      floats[i] = i % 2 == 0 ? std::bit_cast<float>(host[i]) : float(host[i]) / 1.9e9f;
    }
    const auto from_ints = narrow(host);
    const auto from_floats = narrow(floats);
    std::vector<int32_t> in = host, out = host;
    zeto::pcm32_to_pcm24(in.data(), in.size() - 1);
    zeto::pcm24_to_pcm32(out.data(), out.size() - 1);
    for (size_t i = 0; i < host.size(); ++i) {
      const bool last = i + 1 == host.size();
      ASSERT_EQ(from_ints[i], plain::block_from_24(host[i])) << host[i];
      ASSERT_EQ(from_floats[i], plain::block_from_float(floats[i])) << floats[i];
      ASSERT_EQ(in[i], last ? host[i] : plain::before_call(host[i])) << host[i];
      ASSERT_EQ(out[i], last ? host[i] : plain::after_call(host[i])) << host[i];
    }
  }
}

// A 32-bit count that runs down by a sample at a time until it is exactly 0.
TEST(Format, CountsSamplesIn32Bits) {
  constexpr uint64_t kRange = uint64_t{1} << 32;
  using zeto::samples_in;
  for (uint64_t whole : {uint64_t{960}, kRange + 960, 5 * kRange + 960}) {
    EXPECT_EQ(samples_in(whole, 2), 480u);
    EXPECT_EQ(samples_in(whole, 4), 240u);
    for (uint64_t more : {1u, 2u, 3u}) EXPECT_GT(samples_in(whole + more, 4), kRange);  // never ends
    EXPECT_GT(samples_in(whole + 1, 2), kRange);
  }
  EXPECT_EQ(samples_in(0, 2), kRange / 2);
  EXPECT_EQ(samples_in(kRange, 4), kRange / 4);
}

}  // namespace
