// What the fuzz target does not see of the transform: what its record holds, its messages, the passes on their own.
#include "zeto/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "plain/transform.hpp"
#include "tests/support/seeded.hpp"

namespace {

using Floats = std::vector<float>;

zeto_drft_lookup ready(int32_t n) {
  zeto_drft_lookup lookup = {};
  zeto_drft_init(&lookup, n);
  return lookup;
}

TEST(Fft, FactorsComeInTheBackwardOrder) {
  const std::vector<int32_t> lists[] = {{512, 2, 4, 4, 4, 4}, {480, 2, 4, 4, 3, 5}, {256, 4, 4, 4, 4}, {48, 4, 4, 3},
                                        {18, 2, 3, 3},        {98, 2, 7, 7},        {509, 509}};
  for (const auto& list : lists) {
    const zeto_drft_lookup lookup = ready(list[0]);
    EXPECT_EQ(lookup.factors[0], list[0]);
    EXPECT_EQ(std::vector<int32_t>(lookup.factors + 2, lookup.factors + 2 + lookup.factors[1]),
              std::vector<int32_t>(list.begin() + 1, list.end()));
  }
}

TEST(Fft, TwiddlesFollowTheScratchArea) {
  const zeto_drft_lookup lookup = ready(12);  // factors 4, 3: three blocks of 3 floats, one pair in each
  for (int32_t j = 1; j <= 3; ++j) {
    EXPECT_FLOAT_EQ(lookup.trig[9 + 3 * j], std::cos(float(j) * 6.2831855f / 12.0f));
    EXPECT_FLOAT_EQ(lookup.trig[10 + 3 * j], std::sin(float(j) * 6.2831855f / 12.0f));
    EXPECT_EQ(lookup.trig[11 + 3 * j], 0.0f);
  }
  const zeto_drft_lookup even = ready(8);  // factors 2, 4: a block of 4 floats, one pair in it
  EXPECT_EQ(std::abs(even.trig[10]) + std::abs(even.trig[11]), 0.0f);
  float trig[1] = {7.0f};
  int32_t factors[1] = {7};
  for (const int32_t n : {1, 0, -4}) fdrffti(n, trig, factors);
  EXPECT_EQ(factors[0] + int32_t(trig[0]), 14);
}

TEST(Fft, ReplacesLengthsThatItHasNoRoomFor) {
  struct {
    int32_t asked, stored, tables;
  } const cases[] = {{-1, 100, 100},  {0, 100, 100},   {1, 1, 100},     {512, 512, 512},
                     {513, 512, 513}, {768, 512, 768}, {769, 512, 512}, {2147483647, 512, 512}};
  zeto_drft_lookup lookup;
  for (const auto& c : cases) {
    lookup = ready(100);
    testing::internal::CaptureStderr();
    zeto_drft_reinit(&lookup, c.asked);
    EXPECT_EQ(lookup.n, c.stored);
    EXPECT_EQ(lookup.factors[0], c.tables);
    zeto_drft_init(&lookup, c.asked);  // leaves the record alone, or makes a new one
    EXPECT_EQ(lookup.n, c.asked < 1 ? 100 : c.stored);
    EXPECT_EQ(lookup.factors[0], c.asked < 1 ? 100 : c.asked == 1 ? 0 : c.stored);
    const std::string end = " n is " + std::to_string(c.asked) + " too large then ZETO_FFT_LEN_MAX n. \n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              c.asked > 512 ? "[QANT] zeto_drft_reinit" + end + "[QANT] zeto_drft init" + end : "");
  }
}

// The same by the exported passes, one after the other.
Floats by_passes(zeto_drft_lookup lookup, bool forward, Floats data) {
  Floats other(data.size());
  float *here = data.data(), *there = other.data();
  const int32_t n = lookup.n, count = lookup.factors[1];
  const float* wa = lookup.trig + (forward ? 2 * n - 1 : n);
  for (int32_t f = 0, done = 1; f < count; ++f) {
    const int32_t ip = lookup.factors[2 + (forward ? count - 1 - f : f)], next = done * ip;
    const int32_t ido = forward ? done : n / next, l1 = forward ? n / next : done, block = (ip - 1) * ido;
    if (forward) wa -= block;
    const float *const w2 = wa + ido, *const w3 = w2 + ido;
    bool moved = ip % 2 == 0 || ido == 1;
    if (ip == 2) {
      forward ? dradf2(ido, l1, here, there, wa) : dradb2(ido, l1, here, there, wa);
    } else if (ip == 4) {
      forward ? dradf4(ido, l1, here, there, wa, w2, w3) : dradb4(ido, l1, here, there, wa, w2, w3);
    } else if (forward) {  // takes its input from the second array if there is one column only
      float *const cc = ido == 1 ? there : here, *const ch = ido == 1 ? here : there;
      dradfg(ido, ip, l1, ido * l1, cc, cc, cc, ch, ch, wa);
    } else if (ip == 3) {
      dradb3(ido, l1, here, there, wa, w2);
      moved = true;
    } else {
      dradbg(ido, ip, l1, ido * l1, here, here, here, there, there, wa);
    }
    if (!forward) wa += block;
    if (moved) std::swap(here, there);
    done = next;
  }
  return {here, here + n};
}

// Every length, both ways, with samples of all sizes and zeros of both signs.
TEST(Fft, HasTheBitsOfThePlainModel) {
  const auto bits = [](const Floats& x) {
    std::vector<uint32_t> words(x.size());
    std::memcpy(words.data(), x.data(), x.size() * sizeof(float));
    return words;
  };
  support::Seeded seeded(3);
  for (int32_t n = 1; n <= ZETO_FFT_LEN_MAX; ++n) {
    zeto_drft_lookup lookup = ready(n);
    plain::Transform plain(n);
    Floats x(static_cast<size_t>(n));
    for (float& v : x) v = seeded.bits() % 4 == 0 ? -0.0f : seeded.wide();
    Floats want = x, got = x;
    want.resize(x.size() + 2);
    for (const bool forward : {true, false}) {
      const Floats passed = by_passes(lookup, forward, got);
      (forward ? zeto_drft_forward : zeto_drft_backward)(&lookup, got.data());
      forward ? plain.forward(want.data()) : plain.backward(want.data());
      Floats packed = want;
      if (forward) zeto_freq_layout_compact_toN(packed.data(), n + 2, 1.0f);
      packed.resize(x.size());
      ASSERT_EQ(bits(got), bits(packed)) << (forward ? "forward, " : "backward, ") << n;
      ASSERT_EQ(bits(got), bits(passed)) << "by passes, " << (forward ? "forward, " : "backward, ") << n;
    }
  }
}

}  // namespace
