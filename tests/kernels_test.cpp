#include "zeto/kernels.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <ostream>
#include <utility>
#include <vector>

#include "tests/support/by_name.hpp"
#include "tests/support/fenced.hpp"

namespace {

using zeto_test::by_name;
using zeto_test::Fence;
using zeto_test::Fenced;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr uint32_t kLengths[] = {0, 1, 3, 4, 5, 15, 16, 17, 31, 480, 509, 512};

uint32_t bits(float x) {
  return std::isnan(x) ? 0x7fc00000u : std::bit_cast<uint32_t>(x);
}

// ---- every kernel against checksums of an independent rendering, tests/support/kernel_golden.py ----

class Noise {
 public:
  explicit Noise(uint32_t seed) : word_(seed) {}
  float tame() { return static_cast<float>(static_cast<int32_t>(next() >> 8) - (1 << 23)) * 0x1p-23f; }
  float wild(uint32_t i) {
    constexpr uint32_t kSpecial[] = {0,          0x80000000, 0x7f800000, 0xff800000, 0x7fc00000,
                                     0x00000001, 0x80000001, 0x7f7fffff, 0x3f800000};
    const uint32_t word = next();
    return std::bit_cast<float>(i % 3 == 2 ? kSpecial[word % 9] : word);
  }

 private:
  uint32_t next() {
    word_ ^= word_ << 13;
    word_ ^= word_ >> 17;
    return word_ ^= word_ << 5;
  }
  uint32_t word_;
};

// Writes its results to out and gives their number; reductions ignore which array that is.
using Kernel = uint32_t (*)(const float* a, const float* b, uint32_t n, float* out);

struct GoldenCase {
  const char* name;
  uint64_t checksum;
  bool reduces;
  Kernel run;
};
void PrintTo(const GoldenCase& c, std::ostream* os) {
  *os << c.name;
}

enum class Place { kApart, kOnFirst, kOnSecond };

uint64_t checksum_of(const GoldenCase& c, Fence fence, Place place) {
  uint64_t sum = 0xcbf29ce484222325u;
  for (const bool wild : {false, true}) {
    for (const uint32_t n : kLengths) {
      const Fenced<float> a(n, fence), b(n, fence), apart(c.reduces ? 2 : n, fence);
      Noise noise_a(n + 1), noise_b(n + 1000);
      for (uint32_t i = 0; i < n; ++i) {
        a[i] = wild ? noise_a.wild(i) : noise_a.tame();
        b[i] = wild ? noise_b.wild(i) : noise_b.tame();
      }
      float* const out = place == Place::kApart ? apart.get() : place == Place::kOnFirst ? a.get() : b.get();
      const uint32_t results = c.run(a.get(), b.get(), n, out);
      for (uint32_t i = 0; i < results; ++i) sum = (sum ^ bits(out[i])) * 0x100000001b3u;
    }
  }
  return sum;
}

class Golden : public testing::TestWithParam<GoldenCase> {};
TEST_P(Golden, SameBitsAtEitherFenceAndInPlace) {
  const auto& c = GetParam();
  for (const Fence fence : {Fence::kBehind, Fence::kBefore}) {
    EXPECT_EQ(checksum_of(c, fence, Place::kApart), c.checksum);
    if (c.reduces) continue;
    EXPECT_EQ(checksum_of(c, fence, Place::kOnFirst), c.checksum);
    EXPECT_EQ(checksum_of(c, fence, Place::kOnSecond), c.checksum);
  }
}

#define MAP(call) [](const float* a, const float* b, uint32_t n, float* out) { return (void)b, call, n; }
#define REDUCE(call) [](const float* a, const float* b, uint32_t n, float* out) { return (void)b, out[0] = call, 1u; }
#define SEARCH(function) \
  [](const float* a, const float*, uint32_t n, float* out) { return n ? out[1] = float(function(a, n, out)), 2u : 0u; }
uint32_t smooth(const float* x, const float* y, uint32_t n, float* out) {
  if (out != y) zeto_vf_copy(y, n, out);  // it works on y in place
  zeto_vf_smooth(x, int32_t(n), out, 0.3f);
  return n;
}
INSTANTIATE_TEST_SUITE_P(
    Kernels, Golden,
    testing::Values(GoldenCase{"add_vf", 0x7cf16b653581c912, false, MAP(zeto_vf_add_vf(a, b, n, out))},
                    GoldenCase{"sub_vf", 0xf245ffd8d2cdba0b, false, MAP(zeto_vf_sub_vf(a, b, n, out))},
                    GoldenCase{"dot_mult_vf", 0x42a7a86ed127b671, false,
                               MAP(zeto_vf_dot_mult_vf(a, b, int32_t(n), out))},
                    GoldenCase{"dot_div", 0x67212d04a3603ea7, false, MAP(zeto_vf_dot_div(a, b, n, out, 1e-6f))},
                    GoldenCase{"add_scalar", 0xa6792479254eaa4a, false, MAP(zeto_vf_add_scalar(a, n, out, 0.7f))},
                    GoldenCase{"mult_scalar", 0x9e9cac8d458b26c5, false, MAP(zeto_vf_mult_scalar(a, n, out, 0.7f))},
                    GoldenCase{"maxim_limit", 0xaaf5e2b5c561a7f6, false, MAP(zeto_vf_maxim_limit(a, n, out, -0.0f))},
                    GoldenCase{"minim_limit", 0xcf579fd08e109115, false, MAP(zeto_vf_minim_limit(a, n, out, 0.0f))},
                    GoldenCase{"dot_mult_get_sum", 0xa4a91762d932f6fa, true, REDUCE(zeto_vf_dot_mult_get_sum(a, b, n))},
                    GoldenCase{"dot_power_get_sum", 0x9f5cb30b283a7eb8, true, REDUCE(zeto_vf_dot_power_get_sum(a, n))},
                    GoldenCase{"get_sum", 0x7f2f82eebef5af69, true, REDUCE(zeto_vf_get_sum(a, n))},
                    GoldenCase{"get_mean", 0x76989fb8f98b0762, true, REDUCE(zeto_vf_get_mean(a, n))},
                    GoldenCase{"get_max", 0x22fc245193e0dfe1, true, SEARCH(zeto_vf_get_max)},
                    GoldenCase{"get_min", 0x374b633701fd790b, true, SEARCH(zeto_vf_get_min)}),
    by_name);

TEST(Smooth, MatchesItsGoldenBitsAndItsFormulaAtTheEnds) {
  const GoldenCase c{"smooth", 0x62519b58151a42f0, false, smooth};
  EXPECT_EQ(checksum_of(c, Fence::kBehind, Place::kApart), c.checksum);
  EXPECT_EQ(checksum_of(c, Fence::kBefore, Place::kOnSecond), c.checksum);
  // Alpha 1 would leave y alone, but for what the difference loses.
  const float x = 1e8f;
  float y = 1.0f;
  zeto_vf_smooth(&x, 1, &y, 1.0f);
  EXPECT_EQ(y, 0.0f);
}

// ---- what the checksums leave out ----

struct ScalarCase {
  const char* name;
  void (*run)(const float* x, float* out);
  float in, want;
};
void PrintTo(const ScalarCase& c, std::ostream* os) {
  *os << c.name;
}
class Scalar : public testing::TestWithParam<ScalarCase> {};
TEST_P(Scalar, GivesTheseBits) {
  float out;
  GetParam().run(&GetParam().in, &out);
  EXPECT_EQ(bits(out), bits(GetParam().want)) << out;
}
#define ONE(call) [](const float* x, float* out) { call; }
INSTANTIATE_TEST_SUITE_P(
    SpecialValues, Scalar,
    testing::Values(ScalarCase{"min_of_zeros", ONE(zeto_vf_maxim_limit(x, 1, out, 0.0f)), -0.0f, -0.0f},
                    ScalarCase{"max_of_zeros", ONE(zeto_vf_minim_limit(x, 1, out, -0.0f)), 0.0f, 0.0f},
                    ScalarCase{"min_nan_limit", ONE(zeto_vf_maxim_limit(x, 1, out, kNan)), 0.9f, 0.9f},
                    ScalarCase{"max_nan_limit", ONE(zeto_vf_minim_limit(x, 1, out, kNan)), 0.9f, 0.9f},
                    ScalarCase{"db_floor", ONE(zeto_vf_10log10(x, 1, out, 1e-10f)), 0.0f, -100.0f},
                    ScalarCase{"db_nan", ONE(zeto_vf_10log10(x, 1, out, 1e-10f)), kNan, -100.0f},
                    ScalarCase{"db_100", ONE(zeto_vf_10log10(x, 1, out, 1e-10f)), 100.0f, 20.0f},
                    ScalarCase{"db_zero_floor", ONE(zeto_vf_10log10(x, 1, out, 0.0f)), -1.0f, -kInf},
                    ScalarCase{"db_negative_floor", ONE(zeto_vf_10log10(x, 1, out, -1.0f)), -2.0f, kNan},
                    ScalarCase{"pow_negative", ONE(zeto_vf_dot_pow(x, 1, out, 2.0f)), -2.0f, kNan},
                    ScalarCase{"pow_zero_up", ONE(zeto_vf_dot_pow(x, 1, out, 0.5f)), 0.0f, 0.0f},
                    ScalarCase{"pow_zero_down", ONE(zeto_vf_dot_pow(x, 1, out, -0.5f)), 0.0f, kInf},
                    ScalarCase{"pow_zero_zero", ONE(zeto_vf_dot_pow(x, 1, out, 0.0f)), 0.0f, kNan},
                    ScalarCase{"pow_any_zero", ONE(zeto_vf_dot_pow(x, 1, out, 0.0f)), 7.0f, 1.0f}),
    by_name);

TEST(PowerSum, AddsTheTailToTheEvenSum) {
  float x[18] = {};
  x[0] = 4096.0f;  // squared, too large to take in a one
  x[16] = x[17] = 1.0f;
  EXPECT_EQ(zeto_vf_dot_power_get_sum(x, 18), 0x1p24f);
  std::swap(x[0], x[1]);  // now in the odd sum, which meets the ones when they are two
  EXPECT_EQ(zeto_vf_dot_power_get_sum(x, 18), 0x1p24f + 2.0f);
}

TEST(DotPow, GoesThroughTheLogarithmInSinglePrecision) {
  const float x = 3.0f;
  float out;
  zeto_vf_dot_pow(&x, 1, &out, 40.0f);
  EXPECT_EQ(bits(out), bits(expf(logf(x) * 40.0f)));
  EXPECT_NE(bits(out), bits(powf(x, 40.0f)));
}

TEST(DotDiv, TakesTheSignOfZeroAndEpsForZeroOrNan) {
  const float a[] = {2, 2, 2, 2}, b[] = {-0.0f, 0.0f, -4, kNan};
  float out[4];
  zeto_vf_dot_div(a, b, 4, out, 1e-6f);
  EXPECT_FLOAT_EQ(out[0], -2e6f);
  EXPECT_FLOAT_EQ(out[1], 2e6f);
  EXPECT_EQ(out[2], -0.5f);
  EXPECT_FLOAT_EQ(std::fabs(out[3]), 2e6f);
}

TEST(Extremes, TakeTheFirstOfEqualsAndKeepALeadingNan) {
  const float ties[] = {1, 3, 3, 1}, led[] = {kNan, 3}, inner[] = {1, kNan, 2};
  float value;
  EXPECT_EQ(zeto_vf_get_max(ties, 4, &value), 1u);
  EXPECT_EQ(zeto_vf_get_min(ties, 4, &value), 0u);
  EXPECT_EQ(zeto_vf_get_max(led, 2, &value), 0u);
  EXPECT_TRUE(std::isnan(value));
  EXPECT_EQ(zeto_vf_get_max(inner, 3, &value), 2u);
  EXPECT_EQ(zeto_vf_get_max(ties + 1, 0, &value), 0u);
  EXPECT_EQ(value, 3.0f);
}

TEST(Overlap, AscendsElementByElementExceptWhereItMoves) {
  std::vector<float> x(100, 0.0f), ones(100, 1.0f);
  zeto_vf_add_scalar(x.data(), 99, x.data() + 1, 1.0f);
  for (size_t i = 0; i < 100; ++i) ASSERT_EQ(x[i], float(i));
  zeto_vf_sub_vf(x.data() + 1, ones.data(), 99, x.data());  // downward: nothing written is read again
  EXPECT_EQ(x[98], 98.0f);
  zeto_vf_add_vf(ones.data(), ones.data(), 99, ones.data() + 1);
  EXPECT_EQ(ones[99], 0x1p99f);
  zeto_vf_copy(x.data(), 99, x.data() + 1);
  for (size_t i = 1; i < 100; ++i) ASSERT_EQ(x[i], float(i - 1));
}

TEST(Shift, DropsAtOneEndAndInsertsAtTheOther) {
  const std::vector<float> news = {8, 9};
  std::vector<float> front = {1, 2, 3, 4, 5}, back = front;
  zeto_vf_shift_and_insert_start(front.data(), news.data(), 5, 2);
  EXPECT_EQ(front, (std::vector<float>{8, 9, 1, 2, 3}));
  zeto_vf_shift_and_insert_end(back.data(), news.data(), 5, 2);
  EXPECT_EQ(back, (std::vector<float>{3, 4, 5, 8, 9}));
  const Fenced<float> buf(512), in(160);
  zeto_vf_fill(buf.get(), 512, 1.0f);
  zeto_vf_shift_and_insert_start(buf.get(), in.get(), 512, 160);
  zeto_vf_shift_and_insert_end(buf.get(), in.get(), 512, 160);
  EXPECT_EQ(zeto_vf_get_sum(buf.get(), 512), 352.0f);
  zeto_vf_shift_and_insert_end(buf.get(), in.get() + 159, 1, 1);
  EXPECT_EQ(buf[0], 0.0f);
}

TEST(Returns, TheFirstArray) {
  float x[2] = {}, b[2] = {}, out[2];
  EXPECT_EQ(zeto_vf_dot_mult_vf(x, b, 2, out), x);
  EXPECT_EQ(zeto_vf_smooth(x, 2, b, 0.5f), x);
  EXPECT_EQ(zeto_vf_add_scalar(x, 2, out, 1), x);
  EXPECT_EQ(zeto_vf_mult_scalar(x, 2, out, 1), x);
  EXPECT_EQ(zeto_vf_maxim_limit(x, 2, out, 1), x);
  EXPECT_EQ(zeto_vf_minim_limit(x, 2, out, 1), x);
  EXPECT_EQ(zeto_vf_fill(x, 2, 1), x);
}

}  // namespace
