#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <ostream>
#include <vector>

#include "tests/support/by_name.hpp"
#include "tests/support/fenced.hpp"
#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace {

using zeto_test::by_name;
using zeto_test::Fence;
using zeto_test::Fenced;

struct BandCase {
  const char* name;
  void (*compress)(const float*, float*);
  void (*uncompress)(const float*, float*);
  const int32_t* edge;
  uint32_t bands, bins;
};
void PrintTo(const BandCase& c, std::ostream* os) {
  *os << c.name;
}
class Bands : public testing::TestWithParam<BandCase> {};

TEST_P(Bands, ExpandBitForBitAndStayInside) {
  const auto& c = GetParam();
  for (const Fence fence : {Fence::kBehind, Fence::kBefore}) {
    const Fenced<float> bands(c.bands, fence), spectrum(c.bins, fence);
    for (uint32_t i = 0; i < c.bands; ++i) bands[i] = std::bit_cast<float>(0x7fa00000u + i);  // signalling NaNs survive
    spectrum[0] = 5.0f;
    c.uncompress(bands.get(), spectrum.get());
    EXPECT_EQ(std::bit_cast<uint32_t>(spectrum[0]), 0u);
    uint32_t band = 0;
    for (uint32_t bin = 1; bin < c.bins; ++bin) {
      if (int32_t(bin) > c.edge[band + 1]) ++band;
      ASSERT_EQ(std::bit_cast<uint32_t>(spectrum[bin]), 0x7fa00000u + band) << bin;
    }
    EXPECT_EQ(band, c.bands - 1);
  }
}

TEST_P(Bands, CompressToTheMeansOfTheirBins) {
  const auto& c = GetParam();
  const Fenced<float> spectrum(c.bins), bands(c.bands);
  spectrum[0] = 1e9f;  // belongs to no band
  for (uint32_t bin = 1; bin < c.bins; ++bin) spectrum[bin] = float(bin);
  c.compress(spectrum.get(), bands.get());
  for (uint32_t i = 0; i < c.bands; ++i) EXPECT_EQ(bands[i], float(c.edge[i] + 1 + c.edge[i + 1]) / 2.0f) << i;
}
INSTANTIATE_TEST_SUITE_P(Sizes, Bands,
                         testing::Values(BandCase{"b48", compress48b, uncompress48b, KT_band48b, 48, 257},
                                         BandCase{"b33", compress33b, uncompress33b, KT_band33b, 33, 129},
                                         BandCase{"b4", compress4b, uncompress4b, band4b, 4, 257},
                                         BandCase{"b2", compress2b, uncompress2b, band2b, 2, 129}),
                         by_name);

TEST(Statistics, CopyAscendsOneByOne) {
  float x[20] = {4.0f};
  copyx2y(x, x + 1, 19);
  for (const float v : x) EXPECT_EQ(v, 4.0f);
  copyx2y(x, nullptr, 0);
  copyx2y(x, nullptr, -1);
}

TEST(Statistics, DeviationDividesByOneLess) {
  const float x[] = {1, 2, 3, 6};
  EXPECT_EQ(stdVec(x, 4, 3.0f), std::sqrt(14.0f / 3.0f));
  EXPECT_EQ(stdVec(x, 1, 4.0f), 3.0f);
  for (const int32_t n : {0, -1, INT32_MIN}) EXPECT_EQ(stdVec(x, n, 4.0f), 0.0f) << n;
}

TEST(Statistics, EnergyInDecibels) {
  const float x[] = {2.0f, 4.0f}, w[] = {0.5f, 10.0f};
  EXPECT_EQ(energy_db_cal(x, w, 2, 3.0f), 10.0f * std::log10(400.5f / 4.0f + 1e-15f) - 3.0f);
  EXPECT_EQ(energy_db_cal(x, w, 1, 3.0f), INFINITY);
  EXPECT_TRUE(std::isnan(energy_db_cal(x, w, 0, 0.0f)));
  const std::vector<float> ones(32769, 1.0f);  // 2 n (n - 1) just beyond 31 bits
  EXPECT_EQ(energy_db_cal(ones.data(), ones.data(), 32769, 0.0f),
            10.0f * std::log10(32769.0f / 2147549184.0f + 1e-15f));
  const float silent[2] = {};
  EXPECT_FLOAT_EQ(energy_db_cal(silent, w, 2, 0.0f), -150.0f);
}

}  // namespace
