// The plain transform against the library's, bit for bit.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "tests/plain/transform.hpp"
#include "zeto/fft.h"

namespace {

TEST(PlainTransform, HasTheBitsOfTheLibrary) {
  std::mt19937 random(1);
  for (int n : {4, 8, 32, 128, 256, 512}) {
    plain::Transform transform(n);
    zeto_drft_lookup lookup = {};
    zeto_fft_init(&lookup, n);
    for (int round = 0; round < 500; ++round) {
      // From denormal to large, or all of one size, which cancels; from no zeros to nothing else, of either sign.
      std::vector<float> want(size_t(n) + 2);
      const int scale = int(random() % 250) - 145;
      const bool one_size = random() % 2 == 0;
      const auto zeros = random() % 9;
      for (int i = 0; i < n; ++i) {
        const float x = std::ldexp(float(int32_t(random())), scale - 31);
        const float size = random() % 8 < zeros ? 0.0f : one_size ? 1.0f : x;
        want[size_t(i)] = std::copysign(size, x);
      }
      std::vector<float> got = want;
      transform.forward(want.data());
      zeto_rfft_float(&lookup, got.data());
      for (size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(std::bit_cast<uint32_t>(got[i]), std::bit_cast<uint32_t>(want[i]))
            << "length " << n << ", round " << round << ", value " << i;
    }
  }
}

}  // namespace
