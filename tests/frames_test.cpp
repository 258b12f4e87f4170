// What the fuzz target does not meet of the frames: their message, rounding at its edges, arrays that are one and the same.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "zeto/kernels.h"

namespace {

TEST(Frames, RoundAwayFromZeroAndSaturate) {
  float in[] = {2.5f,     -2.5f, 0.49999997f, -0.4f,  32767.4f, 32767.5f,  -32768.4f, -32769.0f,
                40000.0f, -4e4f, 1e30f,       -1e30f, INFINITY, -INFINITY, NAN,       -0.0f};
  const int16_t want[] = {3, -3, 1, 0, 32767, 32767, -32768, -32768, 32767, -32768, 32767, -32768, 32767, -32768, 0, 0};
  int16_t out[16];
  const zeto_frame from = zeto_frame_float_load(in, 1, 16), to = zeto_frame_short_load(out, 1, 16);
  zeto_frame_float_convert_to_short(&from, &to);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], want[i]) << in[i];
}

TEST(Frames, RefuseWithTheCounts) {
  struct {
    uint32_t num, size;
    bool null;
    const char* message;
  } const cases[] = {{3, 8, false, "num info<2><3>, size info<8><8>"},
                     {2, 7, false, "num info<2><2>, size info<8><7>"},
                     {2, 0xffffffff, false, "num info<2><2>, size info<8><4294967295>"},
                     {2, 8, true, "num info<2><0>, size info<8><0>"}};
  float in[16] = {};
  const zeto_frame from = zeto_frame_float_load(in, 2, 8);
  for (const auto& c : cases) {
    for (const auto call :
         {zeto_frame_float_copy_to_float, zeto_frame_short_convert_to_float, zeto_frame_float_convert_to_short}) {
      const zeto_frame to = {{in, in, in}, c.num, c.size};
      testing::internal::CaptureStderr();
      call(&from, c.null ? nullptr : &to);
      EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("QANT_TX: ") + c.message + ".\n");
    }
  }
}

TEST(Frames, StayWhereTheyAreInterleavedAlready) {
  int16_t samples[] = {1, 2, 3, 4, 5, 6};
  const zeto_frame frame = zeto_frame_short_load(samples, 2, 3), many = {{samples}, 5, 1};
  zeto_frame_short_copy_to_interleaved(&frame, samples);
  zeto_frame_short_copy_from_interleaved(samples, &frame);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(samples[i], i + 1);
  EXPECT_EQ(zeto_frame_short_offside(nullptr, 0, 1).num, 0u);
  EXPECT_EQ(zeto_frame_short_offside(&many, 0, 1).num, 0u);
}

}  // namespace
