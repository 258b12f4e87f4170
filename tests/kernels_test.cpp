#include "zeto/kernels.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "tests/support/fenced.hpp"
#include "tests/support/vector_kernels.hpp"

namespace {

using zeto_test::Fence;
using zeto_test::Fenced;

uint32_t bits(float x) {
  return std::isnan(x) ? 0x7fc00000u : std::bit_cast<uint32_t>(x);
}

// Numbers within +-1, or any bit pattern with every third a special one.
void fill(const Fenced<float>& x, uint32_t n, bool wild, uint32_t seed) {
  constexpr uint32_t kSpecial[] = {0,          0x80000000, 0x7f800000, 0xff800000, 0x7fc00000,
                                   0x00000001, 0x80000001, 0x7f7fffff, 0x3f800000};
  std::mt19937 random(seed);
  for (uint32_t i = 0; i < n; ++i) {
    const auto word = static_cast<uint32_t>(random());
    x[i] = !wild ? float(int32_t(word)) * 0x1p-31f : std::bit_cast<float>(i % 3 == 2 ? kSpecial[word % 9] : word);
  }
}

// At either fence, apart and onto an input: the bits of the plain rendering, and nothing beyond the arrays.
TEST(Kernels, HaveTheBitsOfTheirPlainRendering) {
  for (const Fence fence : {Fence::kBehind, Fence::kBefore})
    for (const bool wild : {false, true})
      for (const uint32_t n : support::kKernelLengths) {
        for (const auto& map : support::kVectorMaps)
          for (const int onto : {0, 1, 2}) {
            if (onto == 1 && !map.onto_first) continue;
            const Fenced<float> a(n, fence), b(n, fence), apart(n, fence);
            fill(a, n, wild, n);
            fill(b, n, wild, n + 1000);
            std::vector<uint32_t> want;
            for (uint32_t i = 0; i < n; ++i) want.push_back(bits(map.plain(double{a[i]}, double{b[i]})));
            const Fenced<float>& out = onto == 0 ? apart : onto == 1 ? a : b;
            map.run(a.get(), b.get(), n, out.get());
            for (uint32_t i = 0; i < n; ++i) ASSERT_EQ(bits(out[i]), want[i]) << map.name << ", " << n << " samples";
          }
        for (const auto& reduction : support::kVectorReductions) {
          const Fenced<float> a(n, fence), b(n, fence);
          fill(a, n, wild, n);
          fill(b, n, wild, n + 1000);
          float out[2] = {}, want[2] = {};
          reduction.run(a.get(), b.get(), n, out);
          reduction.plain(a.get(), b.get(), n, want);
          ASSERT_EQ(bits(out[0]), bits(want[0])) << reduction.name << ", " << n << " samples";
          ASSERT_EQ(out[1], want[1]) << reduction.name << ", " << n << " samples";
        }
      }
}

// Logarithms and powers are the platform's; their limits are not. And zeros and limits that the others leave out.
TEST(Kernels, GiveTheseBits) {
  using Call = void (*)(const float* x, float* out);
  struct {
    Call call;
    float in, want;
  } const cases[] = {
      {[](const float* x, float* out) { zeto_vf_maxim_limit(x, 1, out, 0.0f); }, -0.0f, -0.0f},
      {[](const float* x, float* out) { zeto_vf_minim_limit(x, 1, out, -0.0f); }, 0.0f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_maxim_limit(x, 1, out, NAN); }, 0.9f, 0.9f},
      {[](const float* x, float* out) { zeto_vf_minim_limit(x, 1, out, NAN); }, 0.9f, 0.9f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, 0.0f, -100.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, NAN, -100.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, 100.0f, 20.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 0.0f); }, -1.0f, -INFINITY},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, -1.0f); }, -2.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 2.0f); }, -2.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.5f); }, 0.0f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, -0.5f); }, 0.0f, INFINITY},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.0f); }, 0.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.0f); }, 7.0f, 1.0f},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 40.0f); }, 3.0f, expf(logf(3.0f) * 40.0f)},
      {[](const float* x, float* out) { zeto_vf_smooth(x, 1, &(*out = 1.0f), 1.0f); }, 1e8f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_dot_mult_vf(x, x, -1, &(*out = 5.0f)); }, 2.0f, 5.0f},
  };
  for (const auto& c : cases) {
    float out;
    c.call(&c.in, &out);
    EXPECT_EQ(bits(out), bits(c.want)) << "case " << &c - cases;
  }
}

TEST(Kernels, MoveShiftFillAndReturnTheirFirstArray) {
  std::vector<float> x(100), ones(100, 1.0f), front = {1, 2, 3, 4, 5}, back = front;
  zeto_vf_add_scalar(x.data(), 99, x.data() + 1, 1.0f);  // ascends element by element
  EXPECT_EQ(x[99], 99.0f);
  zeto_vf_add_vf(ones.data(), ones.data(), 99, ones.data() + 1);
  EXPECT_EQ(ones[99], 0x1p99f);
  zeto_vf_copy(x.data(), 99, x.data() + 1);  // moves
  for (size_t i = 1; i < 100; ++i) ASSERT_EQ(x[i], float(i - 1));

  const float news[] = {8, 9};
  zeto_vf_shift_and_insert_start(front.data(), news, 5, 2);
  EXPECT_EQ(front, (std::vector<float>{8, 9, 1, 2, 3}));
  zeto_vf_shift_and_insert_end(back.data(), news, 5, 2);
  EXPECT_EQ(back, (std::vector<float>{3, 4, 5, 8, 9}));
  const Fenced<float> buf(512), in(160);
  EXPECT_EQ(zeto_vf_fill(buf.get(), 512, 1.0f), buf.get());
  zeto_vf_shift_and_insert_start(buf.get(), in.get(), 512, 160);
  zeto_vf_shift_and_insert_end(buf.get(), in.get(), 512, 160);
  EXPECT_EQ(zeto_vf_get_sum(buf.get(), 512), 352.0f);

  float a[2] = {}, b[2] = {};
  for (const float* returned :
       {zeto_vf_dot_mult_vf(a, b, 2, b), zeto_vf_smooth(a, 2, b, 0.5f), zeto_vf_add_scalar(a, 2, b, 1),
        zeto_vf_mult_scalar(a, 2, b, 1), zeto_vf_maxim_limit(a, 2, b, 1), zeto_vf_minim_limit(a, 2, b, 1)})
    EXPECT_EQ(returned, a);
  EXPECT_EQ(zeto_vf_get_max(news, 0, b), 0u);  // reads the first all the same
  EXPECT_EQ(b[0], 8.0f);
}

}  // namespace
