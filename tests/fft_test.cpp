#include "zeto/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "fft/driver.hpp"

namespace {

constexpr double kPi = 3.14159265358979323846;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

// Uniform in [-1, 1), the same on every machine.
Floats noise(size_t count, uint32_t seed) {
  Floats x(count);
  for (float& v : x) {
    seed = seed * 1664525u + 1013904223u;
    v = static_cast<float>(seed >> 8) / 8388608.0f - 1.0f;
  }
  return x;
}

zeto_drft_lookup ready(int32_t n) {
  zeto_drft_lookup lookup = {};
  zeto_drft_init(&lookup, n);
  return lookup;
}

Floats forward(int32_t n, Floats x) {
  zeto_drft_lookup lookup = ready(n);
  zeto_drft_forward(&lookup, x.data());
  return x;
}

Floats backward(int32_t n, Floats x) {
  zeto_drft_lookup lookup = ready(n);
  zeto_drft_backward(&lookup, x.data());
  return x;
}

// The direct sums in double precision, cosine table over one turn.
struct Direct {
  explicit Direct(size_t length) : n(length), cosines(length), sines(length) {
    for (size_t i = 0; i < n; ++i) {
      const double angle = 2 * kPi * static_cast<double>(i) / static_cast<double>(n);
      cosines[i] = std::cos(angle);
      sines[i] = std::sin(angle);
    }
  }
  Doubles forward(const Floats& x) const {
    Doubles packed(n);
    for (size_t k = 0; 2 * k <= n; ++k) {
      double re = 0, im = 0;
      for (size_t j = 0, at = 0; j < n; ++j, at += k, at -= at >= n ? n : 0) {
        re += static_cast<double>(x[j]) * cosines[at];
        im -= static_cast<double>(x[j]) * sines[at];
      }
      packed[k == 0 ? 0 : 2 * k - 1] = re;
      if (k > 0 && 2 * k < n) packed[2 * k] = im;
    }
    return packed;
  }
  Doubles backward(const Floats& r) const {
    Doubles x(n, static_cast<double>(r[0]));
    for (size_t k = 1; 2 * k <= n; ++k) {
      const bool nyquist = 2 * k == n;
      const double re = static_cast<double>(r[2 * k - 1]) * (nyquist ? 1 : 2);
      const double im = nyquist ? 0.0 : static_cast<double>(r[2 * k]) * 2;
      for (size_t j = 0, at = 0; j < n; ++j, at += k, at -= at >= n ? n : 0) x[j] += re * cosines[at] - im * sines[at];
    }
    return x;
  }
  size_t n;
  Doubles cosines, sines;
};

template <typename A>
double relative_error(const A& got, const Doubles& want) {
  double error = 0, power = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    error += std::pow(static_cast<double>(got[i]) - want[i], 2);
    power += want[i] * want[i];
  }
  return std::sqrt(error / power);
}

int32_t largest_prime_factor(int32_t n) {
  int32_t largest = 1;
  for (int32_t p = 2; n > 1; ++p)
    for (; n % p == 0; n /= p) largest = p;
  return largest;
}

uint64_t mix_bits(uint64_t sum, const Floats& x) {
  for (float v : x) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    sum = (sum ^ bits) * 1099511628211u;
  }
  return sum;
}

TEST(Fft, AgreesWithTheDirectSumsAtEveryLength) {
  struct Worst {
    double error = 0;
    int32_t n = 0;
    void take(double e, int32_t at) {
      if (e > error) *this = {e, at};
    }
    double db() const { return 20 * std::log10(error); }
  } all[2], smooth[2];
  uint64_t sum = 14695981039346656037u;
  for (int32_t n = 1; n <= ZETO_FFT_LEN_MAX; ++n) {
    const Direct direct(static_cast<size_t>(n));
    const Floats x = noise(direct.n, static_cast<uint32_t>(n));
    const int32_t p = largest_prime_factor(n);
    const double bound = 3.5e-7 + (p > 5 ? 1e-8 * p * p : 0.0);
    const Floats got[2] = {forward(n, x), backward(n, x)};
    const double error[2] = {relative_error(got[0], direct.forward(x)), relative_error(got[1], direct.backward(x))};
    for (int way = 0; way < 2; ++way) {
      EXPECT_LE(error[way], bound) << "n " << n << (way ? " backward" : " forward");
      all[way].take(error[way], n);
      if (p <= 5) smooth[way].take(error[way], n);
      sum = mix_bits(sum, got[way]);
    }
  }
  for (int way = 0; way < 2; ++way)
    std::printf("%s worst %.1f dB at n %d; prime factors to 5: %.2e, %.1f dB at n %d\n", way ? "backward" : "forward ",
                all[way].db(), all[way].n, smooth[way].error, smooth[way].db(), smooth[way].n);
  std::printf("checksum of all results %016llx\n", static_cast<unsigned long long>(sum));
}

TEST(Fft, LanesGiveTheBitsOfTheFloatForm) {
  using zeto::fft::Lanes4;
  std::vector<Lanes4> data(ZETO_FFT_LEN_MAX), scratch(ZETO_FFT_LEN_MAX);
  for (int32_t n = 1; n <= ZETO_FFT_LEN_MAX; ++n) {
    const size_t count = static_cast<size_t>(n);
    zeto_drft_lookup lookup = ready(n);
    for (const bool back : {false, true}) {
      Floats lanes[4];
      for (uint32_t lane = 0; lane < 4; ++lane) {
        lanes[lane] = noise(count, 4 * static_cast<uint32_t>(n) + lane);
        lanes[lane][count / 2] = lane % 2 ? -0.0f : 1e30f;
        for (size_t i = 0; i < count; ++i) data[i][lane] = lanes[lane][i];
      }
      back ? zeto::fft::backward(lookup, data.data(), scratch.data())
           : zeto::fft::forward(lookup, data.data(), scratch.data());
      for (size_t lane = 0; lane < 4; ++lane) {
        back ? zeto_drft_backward(&lookup, lanes[lane].data()) : zeto_drft_forward(&lookup, lanes[lane].data());
        Floats got(count);
        for (size_t i = 0; i < count; ++i) got[i] = data[i][lane];
        ASSERT_EQ(std::memcmp(got.data(), lanes[lane].data(), count * sizeof(float)), 0) << n << " lane " << lane;
      }
    }
  }
}

TEST(Fft, FactorsComeInTheBackwardOrder) {
  const std::vector<std::vector<int32_t>> lists = {{512, 2, 4, 4, 4, 4},
                                                   {480, 2, 4, 4, 3, 5},
                                                   {256, 4, 4, 4, 4},
                                                   {320, 4, 4, 4, 5},
                                                   {160, 2, 4, 4, 5},
                                                   {48, 4, 4, 3},
                                                   {6, 2, 3},
                                                   {18, 2, 3, 3},
                                                   {7, 7},
                                                   {509, 509},
                                                   {450, 2, 3, 3, 5, 5},
                                                   {98, 2, 7, 7}};
  for (const auto& list : lists) {
    const zeto_drft_lookup lookup = ready(list[0]);
    const size_t count = static_cast<size_t>(lookup.factors[1]);
    ASSERT_EQ(count, list.size() - 1) << list[0];
    EXPECT_EQ(lookup.factors[0], list[0]);
    EXPECT_EQ(std::vector<int32_t>(lookup.factors + 2, lookup.factors + 2 + count),
              std::vector<int32_t>(list.begin() + 1, list.end()));
  }
}

TEST(Fft, TwiddlesFollowTheScratchArea) {
  const zeto_drft_lookup lookup = ready(12);  // factors 4, 3: three blocks of 3 floats, one pair in each
  for (int32_t j = 1; j <= 3; ++j) {
    EXPECT_FLOAT_EQ(lookup.trig[12 + 3 * (j - 1)], std::cos(static_cast<float>(j) * 6.2831855f / 12.0f));
    EXPECT_FLOAT_EQ(lookup.trig[13 + 3 * (j - 1)], std::sin(static_cast<float>(j) * 6.2831855f / 12.0f));
    EXPECT_EQ(lookup.trig[14 + 3 * (j - 1)], 0.0f);
  }
  const zeto_drft_lookup even = ready(8);  // factors 2, 4: a block of 4 floats, one pair in it
  EXPECT_EQ(even.trig[10], 0.0f);
  EXPECT_EQ(even.trig[11], 0.0f);
  float trig[2] = {7.0f, 7.0f};
  int32_t factors[2] = {7, 7};
  for (const int32_t n : {1, 0, -4}) fdrffti(n, trig, factors);
  EXPECT_EQ(factors[0] + factors[1] + static_cast<int32_t>(trig[0] + trig[1]), 28);
}

TEST(Fft, KnownSpectra) {
  EXPECT_EQ(forward(4, {1, 2, 3, 4}), (Floats{10, -2, 2, -2}));
  EXPECT_EQ(backward(4, {10, -2, 2, -2}), (Floats{4, 8, 12, 16}));
  EXPECT_EQ(forward(2, {3, 5}), (Floats{8, -2}));
  EXPECT_EQ(forward(1, {3}), Floats{3});
  EXPECT_EQ(backward(1, {3}), Floats{3});
}

// The radix passes on their own: a backward pass undoes the forward pass of its factor, times the factor, for any
// twiddles of length 1; and the result lies where it should.
struct PassCase {
  int32_t ip, ido, l1;
};
void PrintTo(const PassCase& c, std::ostream* os) {
  *os << "ip " << c.ip << " ido " << c.ido << " l1 " << c.l1;
}

class Pass : public testing::TestWithParam<PassCase> {};

TEST_P(Pass, BackwardUndoesForward) {
  const auto [ip, ido, l1] = GetParam();
  const size_t size = static_cast<size_t>(ido * ip * l1);
  const Floats x = noise(size, 3);
  Floats wa(static_cast<size_t>((ip - 1) * ido));
  for (size_t i = 0; i + 1 < wa.size(); ++i) {
    // the pairs start with each block, whether its length is even or odd
    const size_t place = i % static_cast<size_t>(ido);
    const float angle = static_cast<float>(i - place % 2) * 0.37f;
    wa[i] = place % 2 ? std::sin(angle) : std::cos(angle);
  }
  const float *const w1 = wa.data(), *const w2 = w1 + ido;
  Floats a = x, b(size, 0.0f);
  float *cc = a.data(), *ch = b.data();
  const int32_t idl1 = ido * l1;
  if (ip == 2) {
    dradf2(ido, l1, cc, ch, w1);
    dradb2(ido, l1, ch, cc, w1);
  } else if (ip == 4) {
    dradf4(ido, l1, cc, ch, w1, w2, w2 + ido);
    dradb4(ido, l1, ch, cc, w1, w2, w2 + ido);
  } else {
    if (ido == 1) std::swap(cc, ch);  // input in the second array
    dradfg(ido, ip, l1, idl1, cc, cc, cc, ch, ch, w1);
    Floats third(cc, cc + size), other(size);
    dradbg(ido, ip, l1, idl1, cc, cc, cc, ch, ch, w1);
    if (ip == 3) {
      dradb3(ido, l1, third.data(), other.data(), w1, w2);
      const float* general = ido == 1 ? ch : cc;
      for (size_t i = 0; i < size; ++i) EXPECT_NEAR(other[i], general[i], 3e-6f);
    }
  }
  for (size_t i = 0; i < size; ++i)
    EXPECT_NEAR(a[i], static_cast<float>(ip) * x[i], 1e-6f * static_cast<float>(ip)) << i;
}

INSTANTIATE_TEST_SUITE_P(Shapes, Pass,
                         testing::Values(PassCase{2, 1, 3}, PassCase{2, 2, 2}, PassCase{2, 5, 3}, PassCase{2, 8, 1},
                                         PassCase{4, 1, 3}, PassCase{4, 2, 2}, PassCase{4, 5, 3}, PassCase{4, 8, 1},
                                         PassCase{3, 1, 2}, PassCase{3, 7, 3}, PassCase{5, 1, 2}, PassCase{5, 7, 3},
                                         PassCase{7, 1, 1}, PassCase{7, 3, 2}, PassCase{9, 5, 1}));

// A record in the middle of bytes that nothing may touch.
struct Guarded {
  unsigned char before[64];
  zeto_drft_lookup lookup;
  unsigned char after[64];
  Guarded() {
    std::memset(this, 0x5A, sizeof *this);
    std::memset(&lookup, 0, sizeof lookup);
  }
  bool intact() const {
    for (size_t i = 0; i < sizeof before; ++i)
      if (before[i] != 0x5A || after[i] != 0x5A) return false;
    return true;
  }
};

struct LengthCase {
  int32_t asked, stored, tables;
  bool identity;
};
void PrintTo(const LengthCase& c, std::ostream* os) {
  *os << "length " << c.asked;
}

class Reinit : public testing::TestWithParam<LengthCase> {};

TEST_P(Reinit, NeverLeavesTheRecord) {
  const auto& c = GetParam();
  Guarded g;
  testing::internal::CaptureStderr();
  zeto_fft_init(&g.lookup, 100);
  zeto_fft_reinit(&g.lookup, c.asked);
  const std::string line =
      "[QANT] zeto_drft_reinit n is " + std::to_string(c.asked) + " too large then ZETO_FFT_LEN_MAX n. \n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), c.asked > 512 ? line : "");
  EXPECT_EQ(g.lookup.n, c.stored);
  EXPECT_EQ(g.lookup.factors[0], c.tables);
  int32_t product = 1;
  for (int32_t f = 0; f < g.lookup.factors[1]; ++f) product *= g.lookup.factors[2 + f];
  EXPECT_EQ(product, c.tables);

  const size_t n = static_cast<size_t>(c.stored);
  const Floats x = noise(n, 9);
  for (const bool back : {false, true}) {
    Floats data = x;
    data.resize(n + 8, 42.0f);
    back ? zeto_drft_backward(&g.lookup, data.data()) : zeto_drft_forward(&g.lookup, data.data());
    Floats want = c.identity ? x : back ? backward(c.stored, x) : forward(c.stored, x);
    want.resize(n + 8, 42.0f);
    EXPECT_EQ(data, want) << back;
  }
  EXPECT_TRUE(g.intact());
  zeto_fft_reinit(&g.lookup, 512);
  const Floats y = noise(512, 10);
  Floats data = y;
  zeto_drft_forward(&g.lookup, data.data());
  EXPECT_EQ(data, forward(512, y));
}

INSTANTIATE_TEST_SUITE_P(Lengths, Reinit,
                         testing::Values(LengthCase{-1, 100, 100, false}, LengthCase{0, 100, 100, false},
                                         LengthCase{1, 1, 100, true}, LengthCase{480, 480, 480, false},
                                         LengthCase{513, 512, 513, true}, LengthCase{600, 512, 600, true},
                                         LengthCase{761, 512, 761, true}, LengthCase{768, 512, 768, true},
                                         LengthCase{769, 512, 512, false}, LengthCase{4096, 512, 512, false},
                                         LengthCase{2147483647, 512, 512, false}));

TEST(Fft, OverlongInitIsClampedAndShortOneRefused) {
  Guarded g;
  for (const int32_t n : {0, -5}) {
    zeto_drft_init(&g.lookup, n);
    EXPECT_EQ(g.lookup.n, 0) << n;
  }
  std::memset(&g.lookup, 0x5A, sizeof g.lookup);
  testing::internal::CaptureStderr();
  zeto_drft_init(&g.lookup, 600);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "[QANT] zeto_drft init n is 600 too large then ZETO_FFT_LEN_MAX n. \n");
  const zeto_drft_lookup want = ready(512);
  EXPECT_EQ(std::memcmp(&g.lookup, &want, sizeof want), 0);
  EXPECT_TRUE(g.intact());
}

TEST(FrontEnds, EqualTheirPartsAndRestoreTheirInput) {
  for (const int32_t n : {2, 4, 6, 160, 480, 512}) {
    const size_t count = static_cast<size_t>(n);
    const float scale = 1.0f / static_cast<float>(n);
    zeto_drft_lookup lookup = ready(n);
    const Floats x = noise(count, 77);
    Floats scaled = x;
    for (float& v : scaled) v *= scale;

    Floats in_place = x, apart(count), samples(count);
    zeto_spx_fft(&lookup, x.data(), apart.data());
    zeto_spx_fft(&lookup, in_place.data(), in_place.data());
    EXPECT_EQ(apart, forward(n, scaled));
    EXPECT_EQ(in_place, apart);
    zeto_spx_ifft(&lookup, apart.data(), samples.data());
    EXPECT_EQ(samples, backward(n, apart));
    zeto_spx_ifft(&lookup, in_place.data(), in_place.data());
    EXPECT_EQ(in_place, samples);

    const Floats packed = forward(n, x);
    Floats interleaved = {packed[0], 0.0f};
    interleaved.insert(interleaved.end(), packed.begin() + 1, packed.end());
    interleaved.push_back(0.0f);
    Floats buf = x;
    buf.resize(count + 2, 42.0f);
    zeto_rfft_float(&lookup, buf.data());
    EXPECT_EQ(buf, interleaved);
    scaled = packed;
    for (float& v : scaled) v *= scale;
    zeto_irfft_float(&lookup, buf.data());
    EXPECT_EQ(Floats(buf.begin(), buf.end() - 2), backward(n, scaled));
    EXPECT_EQ(buf[count] + buf[count + 1], 0.0f);
    for (size_t i = 0; i < count; ++i) {
      EXPECT_NEAR(buf[i], x[i], 1e-6f);
      EXPECT_NEAR(samples[i], x[i], 1e-6f);
    }
  }
  zeto_fft_destroy();
}

TEST(Layout, ConvertersTakeTheInterleavedLength) {
  Floats buf = {1, 2, 3, 4, 42, 42};
  zeto_freq_layout_expand_toN_plus2(buf.data(), 6);
  EXPECT_EQ(buf, (Floats{1, 0, 2, 3, 4, 0}));
  zeto_freq_layout_compact_toN(buf.data(), 6, 2.0f);
  EXPECT_EQ(buf, (Floats{2, 4, 6, 8, 0, 0}));
  // n = 1: nothing to move, the two imaginary parts still become 0
  Floats one = {5, 6, 7};
  zeto_freq_layout_expand_toN_plus2(one.data(), 3);
  EXPECT_EQ(one, (Floats{5, 0, 0}));
  one = {5, 6, 7};
  zeto_freq_layout_compact_toN(one.data(), 3, 0.5f);
  EXPECT_EQ(one, (Floats{2.5f, 3.5f, 0}));
}

}  // namespace
