#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "tests/plain/stream.hpp"
#include "zeto/wrappers.h"

namespace {

using Positions = std::array<int32_t, 3>;
template <typename Ring>
Positions positions(const Ring& ring) {
  return {ring.count, ring.read_pos, ring.write_pos};
}

TEST(Ring, MovesAnyBitPatternLikeOneSampleAtATime) {
  std::mt19937 random(1);
  for (int32_t width : {16, 32, 48, 0, 24})
    for (int32_t capacity : {480, 7, 1}) {
      SCOPED_TRACE(testing::Message() << "width " << width << ", capacity " << capacity);
      std::vector<uint32_t> storage(static_cast<size_t>(capacity));
      omru_ringbuf ring = {width, capacity, 0, 0, 0, storage.data()};
      plain::Ring model(width, capacity);
      for (int turn = 0; turn < 2000; ++turn) {
        const int32_t n = int32_t(random() % uint32_t(3 * capacity)) - 2;
        std::vector<uint32_t> a(size_t(3 * capacity));
        for (uint32_t& x : a) x = uint32_t(random());
        std::vector<uint32_t> b = a;
        if (random() % 50 == 0) ring.count = model.count = -3;  // an underflow repairs it
        if (random() % 2 == 0) {
          omru_ringbuf_write(&ring, a.data(), n);
          model.write(b.data(), n);
        } else {
          omru_ringbuf_read(&ring, a.data(), n);
          model.read(b.data(), n);
        }
        ASSERT_EQ(a, b);
        ASSERT_EQ(positions(ring), positions(model));
      }
      EXPECT_EQ(0, std::memcmp(ring.data, model.data.data(), model.data.size()));
    }
}

TEST(Ring, WithoutCapacityTakesNoPart) {
  for (int32_t capacity : {0, -1}) {
    omru_ringbuf ring = {16, capacity, 0, 0, 0, nullptr};
    int16_t sample = 7;
    omru_ringbuf_write(&ring, &sample, 1);
    omru_ringbuf_read(&ring, &sample, 1);
    EXPECT_EQ(sample, 7);
    EXPECT_EQ(positions(ring), (Positions{0, 0, 0}));
  }
}

TEST(Ring, DropsTheOldestOnOverflowAndGivesZerosOnUnderflow) {
  int16_t storage[480] = {}, in[480 + 37], out[600];
  omru_ringbuf ring = {16, 480, 0, 0, 0, storage};
  std::iota(in, in + 517, int16_t{1});
  omru_ringbuf_write(&ring, in, 480);
  EXPECT_EQ(positions(ring), (Positions{480, 0, 0}));
  omru_ringbuf_write(&ring, in + 480, 37);
  EXPECT_EQ(positions(ring), (Positions{480, 37, 37}));
  omru_ringbuf_read(&ring, out, 600);
  EXPECT_EQ(positions(ring), (Positions{0, 37, 37}));
  for (size_t i = 0; i < 600; ++i) EXPECT_EQ(out[i], i < 480 ? in[i + 37] : 0);
}

}  // namespace
