// What the tables are for; scripts/make-tables --check pins every digit of them.
#include "zeto/tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr double kRounding = 6e-8;  // half a unit in the last place of a float just below 1

// Frames through the analysis and the synthesis window add up to what went in.
TEST(Tables, WindowsOverlapToOne) {
  const struct {
    const float *analysis, *synthesis;
    int length, hop;
  } kPairs[] = {{Kaiser470_A_512_160, Kaiser470_S_512_160, 512, 160},
                {Kaiser470_A_256_80, Kaiser470_S_256_80, 256, 80},
                {symetric_sqrt_w512, symetric_sqrt_w512, 512, 160},
                {symetric_sqrt_w256, symetric_sqrt_w256, 256, 80}};
  for (const auto& pair : kPairs)
    for (int n = 0; n < pair.hop; ++n) {
      double sum = 0;
      for (int i = n; i < pair.length; i += pair.hop) sum += double(pair.analysis[i]) * double(pair.synthesis[i]);
      ASSERT_NEAR(sum, 1.0, 4 * kRounding) << pair.length << ", hop " << pair.hop << ", sample " << n;
    }
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

}  // namespace
