#include "zeto/tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <ostream>
#include <string>

namespace {

constexpr auto by_name = [](const auto& test) { return std::string(test.param.name); };

constexpr double kRounding = 6e-8;  // half a unit in the last place of a float just below 1

struct Shape {
  const char* name;
  const float* table;
  int length;
  double sum;  // 0: not known in closed form
};
void PrintTo(const Shape& s, std::ostream* os) {
  *os << s.name;
}
class Symmetric : public testing::TestWithParam<Shape> {};
TEST_P(Symmetric, MirrorsRisesAndAddsUp) {
  const auto& s = GetParam();
  for (int i = 0; i < s.length / 2; ++i) {
    ASSERT_EQ(s.table[i], s.table[s.length - 1 - i]) << i;
    ASSERT_LE(s.table[i], s.table[i + 1]) << i;
  }
  if (s.sum > 0) {
    EXPECT_NEAR(std::accumulate(s.table, s.table + s.length, 0.0), s.sum, 1e-5);
  }
}
INSTANTIATE_TEST_SUITE_P(
    Tables, Symmetric,
    testing::Values(Shape{"Hann512", KT_Hann512, 512, 256.5}, Shape{"Hann256", KT_Hann256, 256, 128.5},
                    Shape{"Kaiser512", Kaiser470_A_512_160, 512, 0}, Shape{"Kaiser256", Kaiser470_A_256_80, 256, 0},
                    Shape{"Sqrt512", symetric_sqrt_w512 + 1, 511, 0}, Shape{"Sqrt256", symetric_sqrt_w256 + 1, 255, 0}),
    by_name);

struct OverlapCase {
  const char* name;
  const float *analysis, *synthesis;
  int length, hop;
};
void PrintTo(const OverlapCase& c, std::ostream* os) {
  *os << c.name;
}
class OverlapAdd : public testing::TestWithParam<OverlapCase> {};
TEST_P(OverlapAdd, IsOneEverywhere) {
  const auto& c = GetParam();
  for (int n = 0; n < c.hop; ++n) {
    double sum = 0;
    for (int i = n; i < c.length; i += c.hop) sum += double(c.analysis[i]) * double(c.synthesis[i]);
    ASSERT_NEAR(sum, 1.0, 4 * kRounding) << n;
  }
}
INSTANTIATE_TEST_SUITE_P(Tables, OverlapAdd,
                         testing::Values(OverlapCase{"Kaiser512", Kaiser470_A_512_160, Kaiser470_S_512_160, 512, 160},
                                         OverlapCase{"Kaiser256", Kaiser470_A_256_80, Kaiser470_S_256_80, 256, 80},
                                         OverlapCase{"Sqrt512", symetric_sqrt_w512, symetric_sqrt_w512, 512, 160},
                                         OverlapCase{"Sqrt256", symetric_sqrt_w256, symetric_sqrt_w256, 256, 80}),
                         by_name);

TEST(Tables, FixFactorsFlattenHannOverlap) {
  for (int n = 0; n < 80; ++n) {
    double sum = 0;
    for (int i = n; i < 256; i += 80) sum += double(KT_Hann256[i]);
    ASSERT_NEAR(sum * double(KT_FixFactorHann256_80[n]), 1.0, 2 * kRounding) << n;
  }
  for (int n = 0; n < 160; ++n) {
    double sum = 0;
    for (int j = n + 16; j < 512; j += 160) sum += std::pow(std::sin(std::numbers::pi * j / 511), 2);
    ASSERT_NEAR(sum * double(KT_FixFactorHann512_160[n]), 1.0, 2 * kRounding) << n;
  }
}

TEST(Tables, ShortWindowsAreHalvesOrPaddedWithZeros) {
  for (int i = 0; i < 256; ++i) {
    ASSERT_EQ(symetric_sqrt_w256[i], symetric_sqrt_w512[2 * i]);
    ASSERT_EQ(Kaiser470_A_256_80[256 + i], 0.0f);
    ASSERT_EQ(Kaiser470_S_256_80[256 + i], 0.0f);
  }
  EXPECT_EQ(symetric_sqrt_w512[0], 0.0f);
  EXPECT_EQ(Kaiser470_S_512_160[0], 0.0f);
  EXPECT_EQ(Kaiser470_S_256_80[0], 0.0f);
}

// Figures from outside the generator, to the digits known: they pin what the properties leave open.
TEST(Tables, MeetKnownValues) {
  const struct {
    const float* value;
    double known, digit;
  } kKnown[] = {
      {&KT_Hann512[0], 3.750245e-5, 1e-11},           {&KT_Hann512[255], 0.99999064, 1e-8},
      {&KT_Hann256[0], 1.4942107e-4, 1e-11},          {&KT_Hann256[127], 0.99996263, 1e-8},
      {&KT_FixFactorHann256_80[0], 0.63000315, 1e-8}, {&KT_FixFactorHann512_160[0], 0.63609737, 1e-8},
      {&Kaiser470_A_512_160[0], 0.04794219, 1e-8},    {&Kaiser470_A_512_160[255], 0.99999201, 1e-8},
      {&Kaiser470_A_256_80[0], 0.04794219, 1e-8},     {&Kaiser470_A_256_80[127], 0.99996799, 1e-8},
      {&Kaiser470_S_512_160[1], 3.9801e-4, 1e-8},     {&Kaiser470_S_512_160[511], 4.1537e-4, 1e-8},
      {&Kaiser470_S_512_160[258], 0.65488696, 1e-8},  {&Kaiser470_S_256_80[130], 0.65496755, 1e-8},
      {&symetric_sqrt_w512[1], 0.00446247, 1e-8},     {&symetric_sqrt_w512[256], 0.80923468, 1e-8},
  };
  for (const auto& k : kKnown) EXPECT_NEAR(double(*k.value), k.known, 0.5 * k.digit) << k.known;
}

// |H|^2 = 1 / (1 + r^20), r being the ratio of the warped frequencies (inverse for a high-pass).
TEST(Tables, FiltersAreButterworthOfOrderTen) {
  const auto gain = [](const double* b, const double* a, double hz) {
    const auto z = std::polar(1.0, -2 * std::numbers::pi * hz / 48000);
    std::complex<double> above = 0, below = 0;
    for (int k = 10; k >= 0; --k) {
      above = above * z + b[k];
      below = below * z + a[k];
    }
    return std::abs(above / below);
  };
  const auto warped = [](double hz) { return std::tan(std::numbers::pi * hz / 48000); };
  for (const double hz : {500.0, 2000.0, 3500.0, 4000.0, 5000.0, 7000.0}) {
    const double r = warped(hz) / warped(4000);
    EXPECT_NEAR(gain(b_Lp_Ultra, a_Lp_Ultra, hz), 1 / std::sqrt(1 + std::pow(r, 20)), 1e-8) << hz;
  }
  for (const double hz : {14000.0, 17000.0, 18000.0, 19000.0, 21000.0, 23000.0}) {
    const double r = warped(18000) / warped(hz);
    EXPECT_NEAR(gain(b_Hp_Ultra, a_Hp_Ultra, hz), 1 / std::sqrt(1 + std::pow(r, 20)), 1e-4) << hz;
  }
  double binomial = 1;
  for (int k = 0; k <= 10; ++k) {
    EXPECT_NEAR(b_Lp_Ultra[k] / b_Lp_Ultra[0] / binomial, 1.0, 1e-15);
    EXPECT_NEAR(b_Hp_Ultra[k] / b_Hp_Ultra[0] / binomial, k % 2 ? -1.0 : 1.0, 2 * kRounding);
    EXPECT_EQ(b_Hp_Ultra[k], double(float(b_Hp_Ultra[k])));
    EXPECT_EQ(a_Hp_Ultra[k], double(float(a_Hp_Ultra[k])));
    binomial = binomial * (10 - k) / (k + 1);
  }
}

TEST(Tables, BandEdgesHaveTheirWidths) {
  EXPECT_EQ(KT_band48b[0], 0);
  int band = 0;
  const auto expect = [&band](int count, int width) {
    for (; count > 0; --count, ++band) EXPECT_EQ(KT_band48b[band + 1] - KT_band48b[band], width) << band;
  };
  expect(1, 1);
  expect(9, 2);
  for (int width = 3; width <= 9; ++width) expect(5, width);
  expect(2, 10);
  expect(1, 7);
  EXPECT_EQ(band, 48);
  EXPECT_EQ(KT_band48b[48], 256);
  for (int i = 0; i < 33; ++i) EXPECT_EQ(KT_band33b[i], KT_band48b[i]);
  EXPECT_EQ(KT_band33b[33], 128);
  const int32_t four[] = {0, 63, 127, 195, 256}, two[] = {0, 63, 128, 0, 0};
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(band4b[i] == four[i] && band2b[i] == two[i]) << i;
}

}  // namespace
