// The steps of an analysis, worked out by hand.
#include "detector/analysis.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "tests/plain/detector.hpp"
#include "zeto/tables.h"

namespace {

// Two high-passes, the product and the low-pass, against the plain filters one after the other, over two calls. The
// first input nearly cancels what the memory holds, so that the order of the sum shows in the output. Signals end, one or
// both, long enough for the filters to ring in denormal numbers, and begin again amid a chunk.
TEST(FilterAndMix, SumsInTheFixedOrder) {
  constexpr size_t kCall = 12 * zeto::kFilterChunk;
  std::mt19937 random(3);
  std::uniform_real_distribution<float> full_scale(-1, 1);
  for (int trial = 0; trial < 135; ++trial) {
    plain::Filter model[3] = {{b_Hp_Ultra, a_Hp_Ultra}, {b_Hp_Ultra, a_Hp_Ultra}, {b_Lp_Ultra, a_Lp_Ultra}};
    zeto::FilterMemory memory[3];
    for (int f = 0; f < 3; ++f) {
      for (int i = 0; i < 10; ++i) memory[f].inputs[9 - i] = model[f].in[i] = full_scale(random);
      for (int i = 0; i < 10; ++i) memory[f].outputs[9 - i] = model[f].out[i] = full_scale(random);
    }
    std::vector<float> a(2 * kCall), b(a.size()), mixed(a.size());
    const float loudness = std::pow(10.0f, float(trial % 45) * -1.0f);  // down to where products are denormal
    for (float& v : a) v = full_scale(random) * loudness;
    for (float& v : b) v = full_scale(random);
    if (trial % 3 != 0) std::fill(a.begin() + 200, a.begin() + 3000, 0.0f);
    if (trial % 3 != 1) std::fill(b.begin() + 300, b.begin() + 3210, 0.0f);
    a[0] = -plain::Filter(model[0]).step(0) / float(b_Hp_Ultra[0]);
    auto want_a = a, want_b = b, want = mixed;
    const float gain = full_scale(random) * 3;
    for (size_t n = 0; n < want.size(); ++n) {
      want_a[n] = model[0].step(a[n]);
      want_b[n] = model[1].step(b[n]);
      const float product = want_a[n] * want_b[n];
      want[n] = model[2].step(product * gain);
    }
    const zeto::FilterBank bank = {{b_Hp_Ultra, a_Hp_Ultra}, {b_Lp_Ultra, a_Lp_Ultra}, memory[0], memory[1], memory[2]};
    for (size_t at : {size_t{0}, kCall}) zeto::filter_and_mix(bank, gain, &a[at], &b[at], &mixed[at], kCall);
    const size_t bytes = a.size() * sizeof(float);
    ASSERT_EQ(0, std::memcmp(a.data(), want_a.data(), bytes)) << trial;
    ASSERT_EQ(0, std::memcmp(b.data(), want_b.data(), bytes)) << trial;
    ASSERT_EQ(0, std::memcmp(mixed.data(), want.data(), bytes)) << trial;
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
    if (scale % 2 == 0) mixed[size_t(384 + random() % 9216)] = INFINITY;
    zeto::detector::Peak peaks[18];
    zeto::detector::find_peaks(lookup, mixed.data(), peaks);
    for (size_t segment = 0; segment < 18; ++segment) {
      float spectrum[514];
      for (size_t t = 0; t < 512; ++t) spectrum[t] = mixed[384 + segment / 6 * 3072 + segment % 6 + 6 * t] * 6.0f;
      transform.forward(spectrum);
      const plain::Peak want = plain::peak_of(spectrum);
      ASSERT_EQ(int(peaks[segment].bin), want.bin) << scale;
      ASSERT_TRUE(peaks[segment].level == want.level || std::isnan(want.level)) << scale;
    }
  }
}

// Whatever moves up is truncated, which changes medians and counts; tolerances are open.
TEST(Agree, FindsMediansAndCounts) {
  struct Case {
    std::vector<float> positions, levels;
    float position, level;
    int hits, level_hits;
  } cases[] = {{{}, {}, 0, 0, 0, 0},
               {{500, 500}, {40.7f, 35.2f}, 500, 37.6f, 2, 2},
               {{500, 500}, {-20.25f, -20.75f}, 500, -20.375f, 2, 2},
               {{500, 500}, {40.75f, 40.75f}, 500, 40.75f, 2, 2},
               {{1, 1, 1}, {40.75f, 40.5f, 41.25f}, 1, 40.0f, 3, 3},
               {{314, 500, 686}, {10, 20, 30}, 500, 20, 1, 1},
               {{315, 500, 685}, {10.5f, 20, 29.5f}, 500, 20, 3, 3},
               {std::vector<float>(17, 500), {30, 50, 41.05f, 41.5f}, 500, 41, 17, 16}};
  for (Case& c : cases) {
    c.levels.resize(c.positions.size(), 41);
    const auto got = zeto::detector::agree(c.positions.data(), c.levels.data(), int(c.positions.size()));
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(got.position, c.position);
    EXPECT_EQ(got.level, c.level);
    EXPECT_EQ(got.hits, c.hits);
    EXPECT_EQ(got.level_hits, c.level_hits);
    EXPECT_EQ(got.hit_ratio, 0.0f);
    EXPECT_EQ(got.level_ratio, float(c.level_hits) / 18.0f);
  }
}

TEST(Measure, MapsPositionsToPeriods) {
  using zeto::detector::measure;
  EXPECT_EQ(measure(99, 0, 198, 1000), 500.0f);                     // not beyond half: not folded
  EXPECT_EQ(measure(100, 0, 208, 198), 98.0f);                      // 208 counts as 198
  EXPECT_EQ(measure(33, 16777216, 99, 99), 33.0f * 99.0f / 98.0f);  // 16777222 + 99 is 16777320 in a float
  EXPECT_EQ(measure(5, 0, -10, 7), -INFINITY);
  EXPECT_TRUE(std::isnan(measure(0, 0, 10, 7)));
}

}  // namespace
