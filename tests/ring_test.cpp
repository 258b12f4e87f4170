#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "tests/plain/stream.hpp"
#include "zeto/wrappers.h"

namespace {

// A ring of the library with storage.
struct Ring : omru_ringbuf {
  std::vector<uint32_t> storage;
  Ring(int32_t width, int32_t samples)
      : omru_ringbuf{width, samples, 0, 0, 0, nullptr}, storage(static_cast<size_t>(samples)) {
    data = storage.data();
  }
};

void expect_positions(const omru_ringbuf& ring, int32_t count, int32_t read_pos, int32_t write_pos) {
  EXPECT_EQ(ring.count, count);
  EXPECT_EQ(ring.read_pos, read_pos);
  EXPECT_EQ(ring.write_pos, write_pos);
}

TEST(Ring, MovesLikeOneSampleAtATime) {
  std::mt19937 random(1);
  for (int32_t width : {16, 32, 48, 0, 24})
    for (int32_t capacity : {480, 7, 1}) {
      SCOPED_TRACE(testing::Message() << "width " << width << ", capacity " << capacity);
      Ring ring(width, capacity);
      plain::Ring model(width, capacity);
      for (int turn = 0; turn < 2000; ++turn) {
        const int32_t n = static_cast<int32_t>(random() % static_cast<uint32_t>(3 * capacity)) - 2;
        std::vector<uint32_t> a(static_cast<size_t>(3 * capacity));
        for (uint32_t& x : a) x = static_cast<uint32_t>(random());
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
        ASSERT_NO_FATAL_FAILURE(expect_positions(ring, model.count, model.read_pos, model.write_pos));
      }
      EXPECT_EQ(0, std::memcmp(ring.data, model.data.data(), model.data.size()));
    }
}

TEST(Ring, OverflowDropsTheOldestAndUnderflowGivesZeros) {
  Ring ring(16, 480);
  std::vector<int16_t> in(480 + 37), out(600, -1);
  std::iota(in.begin(), in.end(), int16_t{1});

  omru_ringbuf_write(&ring, in.data(), 480);
  expect_positions(ring, 480, 0, 0);
  omru_ringbuf_write(&ring, in.data() + 480, 37);
  expect_positions(ring, 480, 37, 37);
  omru_ringbuf_read(&ring, out.data(), 600);
  expect_positions(ring, 0, 37, 37);
  for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], i < 480 ? in[i + 37] : 0);

  ring.write_pos = 300;  // apart from read_pos: an underflow pulls it back
  omru_ringbuf_read(&ring, out.data(), 5);
  expect_positions(ring, 0, 37, 37);
}

TEST(Ring, KeepsBitPatterns) {
  const uint32_t patterns[] = {0x7f800001, 0xffc12345, 0x80000000, 0xffffffff};
  for (int32_t width : {32, 48}) {
    Ring ring(width, 480);
    uint32_t out[4] = {};
    omru_ringbuf_write(&ring, patterns, 4);
    omru_ringbuf_read(&ring, out, 4);
    EXPECT_EQ(0, std::memcmp(patterns, out, sizeof out));
  }
}

}  // namespace
