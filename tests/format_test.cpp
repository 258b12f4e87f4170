#include "wrapper/format.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "tests/plain/stream.hpp"
#include "wrapper/stream.hpp"

namespace {

template <typename T>
std::vector<int16_t> narrow(std::vector<T> host) {
  std::vector<int16_t> block(zeto::kBlockLen);
  host.resize(zeto::kBlockLen);
  zeto::narrow_block(std::is_same_v<T, float> ? 48 : 32, host.data(), block.data());
  return block;
}

template <typename T>
std::vector<T> widen(const std::vector<int16_t>& block) {
  std::vector<T> host(zeto::kBlockLen);
  zeto::widen_block(std::is_same_v<T, float> ? 48 : 32, block.data(), host.data());
  return host;
}

template <typename T>
struct Conversion {
  T in;
  int32_t want;
};

TEST(Format, NarrowsAtTheEdges) {
  for (auto [in, want] : std::initializer_list<Conversion<int32_t>>{{8388607, 32767},
                                                                    {8388480, 32767},
                                                                    {8388479, 32767},
                                                                    {127, 0},
                                                                    {128, 1},
                                                                    {-128, 0},
                                                                    {-129, -1},
                                                                    {-8388608, -32768},
                                                                    {-8388737, -32768},
                                                                    {2147483519, 32767},
                                                                    {2147483520, -32768},
                                                                    {INT32_MAX, -32768},
                                                                    {INT32_MIN, -32768}})
    EXPECT_EQ(narrow<int32_t>({in})[0], want) << in;
  for (auto [in, want] : std::initializer_list<Conversion<float>>{{1.0f, 32767},
                                                                  {-1.0f, -32767},
                                                                  {2.0f, 32767},
                                                                  {-2.0f, -32768},
                                                                  {1e30f, 32767},
                                                                  {-INFINITY, -32768},
                                                                  {NAN, 0},
                                                                  {0.5f, 16383},
                                                                  {-0.5f, -16383},
                                                                  {-1.00004f, -32768},
                                                                  {1e-40f, 0}})
    EXPECT_EQ(narrow<float>({in})[0], want) << in;
}

TEST(Format, CarriesAll16BitValuesThereAndBack) {
  for (int32_t first = -32768; first < 32768; first += zeto::kBlockLen) {
    std::vector<int16_t> block(zeto::kBlockLen);
    for (int32_t i = 0; i < zeto::kBlockLen; ++i)
      block[static_cast<size_t>(i)] = static_cast<int16_t>(std::min(first + i, 32767));
    const auto ints = widen<int32_t>(block);
    const auto floats = widen<float>(block);
    const auto from_ints = narrow(ints);
    const auto from_floats = narrow(floats);
    for (size_t i = 0; i < block.size(); ++i) {
      const int32_t s = block[i];
      ASSERT_EQ(ints[i], s * 256);
      ASSERT_EQ(floats[i] * 32768.0f, static_cast<float>(s));
      ASSERT_EQ(from_ints[i], s);
      ASSERT_EQ(from_floats[i], s - (s > 0) + (s < 0));  // 32767 in, 32768 out, truncated
      ASSERT_EQ(ints[i], plain::host_24(block[i]));
      ASSERT_EQ(std::bit_cast<uint32_t>(floats[i]), std::bit_cast<uint32_t>(plain::host_float(block[i])));
    }
  }
}

TEST(Format, ConvertsAnyBitPatternAsThePlainModel) {
  std::mt19937 random(2);
  for (int turn = 0; turn < 500; ++turn) {
    std::vector<int32_t> host(zeto::kBlockLen);
    std::vector<float> floats(zeto::kBlockLen);
    for (size_t i = 0; i < host.size(); ++i) {
      host[i] = static_cast<int32_t>(random()) >> (random() % 12);
      floats[i] = i % 2 == 0 ? std::bit_cast<float>(host[i]) : static_cast<float>(host[i]) / 1.9e9f;
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

TEST(Format, PassesOf32BitPcmAtTheEdges) {
  for (auto [x, want] : std::initializer_list<Conversion<int32_t>>{{INT32_MAX, 8388607},
                                                                   {2147483519, 8388607},
                                                                   {2147483263, 8388606},
                                                                   {INT32_MIN, -8388608},
                                                                   {127, 0},
                                                                   {128, 1},
                                                                   {-128, 0},
                                                                   {-129, -1}}) {
    zeto::pcm32_to_pcm24(&x, 1);
    EXPECT_EQ(x, want);
  }
  for (auto [x, want] : std::initializer_list<Conversion<int32_t>>{
           {8388607, 2147483392}, {8388608, INT32_MAX}, {-8388608, INT32_MIN}, {-8388609, INT32_MIN}, {-1, -256}}) {
    zeto::pcm24_to_pcm32(&x, 1);
    EXPECT_EQ(x, want);
  }
}

// A 32-bit count that runs down by a sample at a time until it is exactly 0.
TEST(Format, CountsSamplesIn32Bits) {
  constexpr uint64_t kRange = uint64_t{1} << 32;
  struct {
    uint64_t byte_count;
    int32_t sample_bytes;
    uint64_t want;
  } const cases[] = {
      {960, 2, 480},      {960, 4, 240},           {kRange + 960, 2, 480},         {kRange * 5 + 4, 4, 1},
      {0, 2, kRange / 2}, {kRange, 4, kRange / 4}, {kRange - 4, 4, kRange / 4 - 1}};
  for (const auto& c : cases) EXPECT_EQ(zeto::samples_in(c.byte_count, c.sample_bytes), c.want) << c.byte_count;
  for (uint64_t count : {1u, 959u}) EXPECT_GT(zeto::samples_in(count, 2), kRange) << count;  // never ends
  for (uint64_t count : {2u, 963u, 961u}) EXPECT_GT(zeto::samples_in(count, 4), kRange) << count;
}

}  // namespace
