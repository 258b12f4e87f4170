// The steps of an analysis with signals that only they themselves can be given, beside the plain model.
#include "detector/analysis.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "detector/recursions.hpp"
#include "plain/detector.hpp"
#include "zeto/tables.h"

namespace {

// Two high-passes, the product and the low-pass, against the plain filters one after the other, over two calls. The
// first input nearly cancels what the memory holds, so that the order of the sum shows in the output. Signals end, one
// or both, long enough for the filters to ring in denormal numbers, and begin again amid a chunk. Every fourth trial
// takes coefficients whose sums are often halfway between two floats, and samples of all sizes, some of which overflow.
TEST(FilterAndMix, IsThePlainModelToTheBit) {
  constexpr size_t kCall = 4 * zeto::kFilterMost;
  constexpr double kCoarseB[11] = {1.5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1.5}, kCoarseA[11] = {1, 0.5};
  std::mt19937 random(3);
  std::uniform_real_distribution<float> full_scale(-1, 1);
  for (int trial = 0; trial < 135; ++trial) {
    const bool coarse = trial % 4 == 3;
    const zeto::FilterTables high = {coarse ? kCoarseB : b_Hp_Ultra, coarse ? kCoarseA : a_Hp_Ultra};
    const zeto::FilterTables low = {b_Lp_Ultra, coarse ? kCoarseA : a_Lp_Ultra};
    plain::Filter model[3] = {{high.b, high.a}, {high.b, high.a}, {low.b, low.a}};
    zeto::FilterMemory memory[3];
    for (int f = 0; f < 3; ++f) {
      for (int i = 0; i < 10; ++i) model[f].in[i] = memory[f].inputs[i] = full_scale(random);
      for (int i = 0; i < 10; ++i) model[f].out[i] = memory[f].outputs[i] = full_scale(random);
    }
    std::vector<float> a(2 * kCall), b(a.size()), mixed(a.size());
    const float loudness = std::pow(10.0f, float(trial % 45) * -1.0f);  // down to where products are denormal
    for (float& v : a) v = full_scale(random) * loudness;
    for (float& v : b) v = full_scale(random);
    if (trial % 4 == 0 || trial % 4 == 2) std::fill(b.begin() + 300, b.begin() + 3210, 0.0f);
    if (trial % 4 == 1 || trial % 4 == 2) std::fill(a.begin() + 200, a.begin() + 3000, 0.0f);
    if (coarse)
      for (float& v : b) v = std::ldexp(v, int(random() % unsigned(128 + trial)) - trial + 1);
    a[0] = -plain::Filter(model[0]).step(0) / float(high.b[0]);
    auto want_a = a, want_b = b, want = mixed;
    const float gain = full_scale(random) * 3;
    for (size_t n = 0; n < want.size(); ++n) {
      want_a[n] = model[0].step(a[n]);
      want_b[n] = model[1].step(b[n]);
      const float product = want_a[n] * want_b[n];
      want[n] = model[2].step(product * gain);
    }
    const zeto::FilterBank bank = {high, low, memory[0], memory[1], memory[2]};
    zeto::filter_and_mix(bank, gain, nullptr, nullptr, nullptr, 0);
    for (size_t at : {size_t{0}, kCall}) zeto::filter_and_mix(bank, gain, &a[at], &b[at], &mixed[at], kCall);
    for (const auto& [got, wanted] : {std::pair{a, want_a}, {b, want_b}, {mixed, want}}) {
      for (size_t n = 0; n < want.size(); ++n) {
        const bool same = std::bit_cast<uint32_t>(got[n]) == std::bit_cast<uint32_t>(wanted[n]);
        ASSERT_TRUE(same || (std::isnan(got[n]) && std::isnan(wanted[n]))) << trial << " " << n;
      }
    }
  }
}

// Values on, halfway between and next to halfway between floats, on a side each of all powers of two.
TEST(Rounding, IsTheConversion) {
  using enum zeto::Rounding;
  std::mt19937 random(9);
  const auto expect = [](zeto::Rounded got, double v, const char* way) {
    const float want = static_cast<float>(v);
    ASSERT_EQ(got.wide[0], double(want)) << way << " of " << v;
    ASSERT_EQ(std::bit_cast<uint32_t>(got.narrow[1]), std::bit_cast<uint32_t>(want)) << way << " of " << v;
  };
  for (int exponent = -152; exponent < 128; ++exponent) {
    for (int trial = 0; trial < 400; ++trial) {
      const double mantissa = trial % 2 ? double(random() % 8 + (1 << 24) - 4) : double(random() >> 8);
      const double v =
          std::ldexp(mantissa + (int(random() % 5) - 2) * 0.25 + (int(random() % 3) - 1) * 0x1p-28, exponent - 24) *
          (trial % 3 == 0 ? -1 : 1);
      const zeto::f64x2 both = {v, v};
      expect(zeto::rounded<kConverted>(both), v, "conversion");
      expect(zeto::rounded<kEither>(both), v, "either");
      const bool denormal = zeto::are_denormal(zeto::rounded<kDenormal>(both).evidence);
      ASSERT_EQ(denormal, std::fabs(static_cast<float>(v)) < 0x1p-126f) << v;
      if (denormal) expect(zeto::rounded<kDenormal>(both), v, "denormal");
    }
  }
}

// The coefficients that products with are said to be exact, and sums in any order.
TEST(HighPass, HasFloatsForCoefficients) {
  double sum = 0;
  for (int k = 0; k <= 10; ++k) {
    EXPECT_EQ(double(float(a_Hp_Ultra[k])), a_Hp_Ultra[k]) << k;
    EXPECT_EQ(std::fmod(b_Hp_Ultra[k], 0x1p-40), 0) << k;
    EXPECT_EQ(b_Hp_Ultra[k], b_Hp_Ultra[10 - k]) << k;
    sum += std::fabs(b_Hp_Ultra[k]);
  }
  EXPECT_LT(sum, 0x1p-40 * 0x1p-15 * 0x1p53);  // of inputs up to 1.0 in steps of 2^-15
  EXPECT_GT(b_Hp_Ultra[0], 0);
}

// In double, where each order of the terms shows; but not if samples are 16 bits wide.
TEST(FilterInputs, SumTheOldestFirst) {
  constexpr size_t kOrder = zeto::kFilterOrder, kBlock = zeto::kFilterMost;
  std::mt19937 random(5);
  std::vector<float> a(kOrder + kBlock), b(a.size());
  const auto sum = [](const double* table, const float* newest) {
    double s = table[10] * double(newest[-10]);
    for (int lag = 9; lag >= 0; --lag) s += table[lag] * double(newest[-lag]);
    return s;
  };
  for (const bool narrow : {false, true}) {
    for (std::vector<float>* samples : {&a, &b})
      for (float& v : *samples) v = narrow ? float(int16_t(random())) * 0x1p-15f : float(int32_t(random()));
    zeto::FilterMemory memory[3] = {};
    std::copy_n(a.data(), kOrder, memory[0].inputs);
    std::copy_n(b.data(), kOrder, memory[1].inputs);
    const zeto::FilterTables high = {b_Hp_Ultra, a_Hp_Ultra}, low = {b_Lp_Ultra, a_Lp_Ultra};
    const zeto::FilterBank bank = {high, low, memory[0], memory[1], memory[2]};
    zeto::f64x2 sums[kBlock + kOrder];
    const auto sum_all = narrow ? zeto::sum_inputs_of_16_bits : zeto::sum_inputs;
    sum_all(bank, &a[kOrder], &b[kOrder], kBlock, sums);
    zeto::PairInputs pairs(b_Lp_Ultra, a.data());
    for (size_t n = 0; n < kBlock; ++n) {
      ASSERT_EQ(sums[n][0], sum(b_Hp_Ultra, &a[kOrder + n])) << n;
      ASSERT_EQ(sums[n][1], sum(b_Hp_Ultra, &b[kOrder + n])) << n;
      if (n % 2 != 0) continue;
      const zeto::f64x2 pair = pairs.step(zeto::f64x2{double(a[kOrder + n]), double(a[kOrder + n + 1])});
      ASSERT_EQ(pair[0], sum(b_Lp_Ultra, &a[kOrder + n])) << n;
      ASSERT_EQ(pair[1], sum(b_Lp_Ultra, &a[kOrder + n + 1])) << n;
    }
  }
}

// From denormal numbers to such as make bins infinite or none, in some segments or all.
TEST(FindPeaks, TakesAnyNumbersAsThePlainModel) {
  zeto_drft_lookup lookup = {};
  zeto_fft_init(&lookup, 512);
  plain::Transform transform(512);
  std::mt19937 random(7);
  for (int scale = -149; scale < 128; scale += 3) {
    std::vector<float> mixed(9600);
    for (float& v : mixed) v = std::ldexp(float(int32_t(random())), scale - 31);
    if (scale % 4 == 1) std::fill(mixed.begin(), mixed.end() - 1, 0.0f);
    if (scale % 2 == 0) mixed[size_t(384 + random() % 9216)] = INFINITY;
    zeto::detector::Peak peaks[18];
    zeto::detector::find_peaks(lookup, mixed.data(), peaks);
    for (size_t segment = 0; segment < 18; ++segment) {
      float spectrum[514];
      for (size_t t = 0; t < 512; ++t) spectrum[t] = mixed[384 + segment / 6 * 3072 + segment % 6 + 6 * t] * 6.0f;
      transform.forward(spectrum);
      const plain::Peak want = plain::peak_of(spectrum);
      ASSERT_EQ(int(peaks[segment].bin), want.bin) << scale;
      ASSERT_TRUE(peaks[segment].level == want.level || (std::isnan(peaks[segment].level) && std::isnan(want.level)))
          << scale << ": " << peaks[segment].level << ", not " << want.level;
    }
  }
}

// Whatever moves up loses its fraction, and 31 is not near 41: the order of the segments decides how many agree.
TEST(Agree, TruncatesWhatMovesUp) {
  const auto level_hits = [](float first, float second, float third) {
    std::vector<float> positions(18, 9), levels(18, second);
    std::fill_n(levels.begin(), 6, first);
    std::fill_n(levels.begin() + 12, 6, third);
    return zeto::detector::agree(positions.data(), levels.data(), 18).level_hits;
  };
  EXPECT_EQ(level_hits(10, 31.95f, 41.05f), 12);
  EXPECT_EQ(level_hits(41.05f, 31.95f, 10), 6);
  EXPECT_EQ(level_hits(31, 41, 21), 6);  // ten apart
  EXPECT_EQ(level_hits(40.75f, 31.25f, 31.25f), 18);
}

}  // namespace
