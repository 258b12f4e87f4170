// The steps of an analysis with signals that only they themselves can be given, beside the plain model.
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
