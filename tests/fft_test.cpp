// What the fuzz target does not see of the transform: what its record holds, its messages, the passes on their own.
#include "zeto/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

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

// A backward pass undoes the forward pass of its factor, times the factor, for any twiddles of length 1; and the result
// lies where it should.
TEST(Fft, BackwardPassUndoesForwardPass) {
  struct {
    int32_t ip, ido, l1;
  } const shapes[] = {{2, 1, 3}, {2, 2, 2}, {2, 5, 3}, {2, 8, 1}, {4, 1, 3}, {4, 2, 2}, {4, 5, 3}, {4, 8, 1},
                      {3, 1, 2}, {3, 7, 3}, {5, 1, 2}, {5, 7, 3}, {7, 1, 1}, {7, 3, 2}, {9, 5, 1}};
  support::Seeded seeded(3);
  for (const auto& [ip, ido, l1] : shapes) {
    SCOPED_TRACE(testing::Message() << ip << ", ido " << ido);
    const size_t size = size_t(ido * ip * l1);
    Floats x(size), b(size), wa(size_t((ip - 1) * ido));
    for (float& v : x) v = seeded.unit();
    Floats a = x;
    for (size_t i = 0; i + 1 < wa.size(); ++i) {
      const size_t place = i % size_t(ido);  // the pairs start with each block, whether its length is even or odd
      const float angle = float(i - place % 2) * 0.37f;
      wa[i] = place % 2 ? std::sin(angle) : std::cos(angle);
    }
    const float *const w1 = wa.data(), *const w2 = w1 + ido;
    float *cc = a.data(), *ch = b.data();
    if (ip == 2) {
      dradf2(ido, l1, cc, ch, w1);
      dradb2(ido, l1, ch, cc, w1);
    } else if (ip == 4) {
      dradf4(ido, l1, cc, ch, w1, w2, w2 + ido);
      dradb4(ido, l1, ch, cc, w1, w2, w2 + ido);
    } else {
      if (ido == 1) std::swap(cc, ch);  // input in the second array
      dradfg(ido, ip, l1, ido * l1, cc, cc, cc, ch, ch, w1);
      if (ip == 3) {
        dradb3(ido, l1, cc, ch, w1, w2);
        a.assign(ch, ch + size);
      } else {
        dradbg(ido, ip, l1, ido * l1, cc, cc, cc, ch, ch, w1);
      }
    }
    for (size_t i = 0; i < size; ++i) EXPECT_NEAR(a[i], float(ip) * x[i], 1e-6f * float(ip)) << i;
  }
}

}  // namespace
