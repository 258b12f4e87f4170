#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/by_name.hpp"
#include "tests/support/fenced.hpp"
#include "zeto/kernels.h"

namespace {

using zeto_test::by_name;
using zeto_test::Fenced;

bool is_empty(const zeto_frame& frame) {
  const zeto_frame empty = {};
  return !std::memcmp(frame.ch, empty.ch, sizeof(frame.ch)) && frame.num == 0 && frame.size == 0;
}

TEST(FrameBuilders, LayChannelsOneAfterAnother) {
  int16_t shorts[960];
  float floats[40];
  const zeto_frame a = zeto_frame_short_load(shorts, 2, 480);
  EXPECT_TRUE(a.ch[0] == shorts && a.ch[1] == shorts + 480 && !a.ch[2] && !a.ch[3]);
  EXPECT_TRUE(a.num == 2 && a.size == 480);
  const zeto_frame b = zeto_frame_float_load(floats, 4, 10);
  EXPECT_TRUE(b.ch[3] == floats + 30 && b.num == 4 && b.size == 10);
  // A size of -1 counts as 2^32 - 1, and so does the step, which wraps from the third channel on.
  const zeto_frame c = zeto_frame_short_load(shorts, 3, -1);
  EXPECT_EQ(c.size, 0xffffffffu);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(c.ch[2]) - reinterpret_cast<uintptr_t>(shorts), 2ull * 0xfffffffe);
  for (const uint32_t num : {0u, 5u, 0xffffffffu}) EXPECT_TRUE(is_empty(zeto_frame_short_load(shorts, num, 480)));
  EXPECT_TRUE(is_empty(zeto_frame_float_load(nullptr, 2, 480)));
  EXPECT_TRUE(is_empty(zeto_frame_float_load(floats, 2, 0)));
}

TEST(FrameBuilders, OffsideCutsToWhatThereIs) {
  int16_t shorts[960];
  zeto_frame frame = zeto_frame_short_load(shorts, 2, 480);
  const zeto_frame part = zeto_frame_short_offside(&frame, 100, 1000);
  EXPECT_TRUE(part.num == 2 && part.size == 380 && part.ch[1] == shorts + 580 && !part.ch[2]);
  EXPECT_EQ(zeto_frame_short_offside(&frame, 100, 7).size, 7u);
  const zeto_frame end = zeto_frame_short_offside(&frame, 480, 1);
  EXPECT_TRUE(end.num == 2 && end.size == 0 && end.ch[0] == shorts + 480);
  EXPECT_TRUE(is_empty(zeto_frame_short_offside(&frame, 481, 1)));
  EXPECT_TRUE(is_empty(zeto_frame_short_offside(nullptr, 0, 1)));
  frame.num = 5;
  EXPECT_TRUE(is_empty(zeto_frame_short_offside(&frame, 0, 1)));
}

TEST(FrameConversions, ShortsToFloatsScale) {
  std::vector<int16_t> in(65536);
  for (size_t i = 0; i < in.size(); ++i) in[i] = int16_t(int(i) - 32768);
  const Fenced<float> out(in.size());
  const zeto_frame from = zeto_frame_short_load(in.data(), 1, 65536), to = zeto_frame_float_load(out.get(), 1, 65536);
  zeto_frame_short_convert_to_float(&from, &to);
  for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(out[i] * 32768.0f, float(in[i]));
  EXPECT_EQ(out[0], -1.0f);
}

TEST(FrameConversions, FloatsToShortsRoundAwayFromZeroAndSaturate) {
  float in[] = {2.5f,     -2.5f, 0.49999997f, -0.4f,  32767.4f, 32767.5f,  -32768.4f, -32769.0f,
                40000.0f, -4e4f, 1e30f,       -1e30f, INFINITY, -INFINITY, NAN,       -0.0f};
  const int16_t want[] = {3, -3, 1, 0, 32767, 32767, -32768, -32768, 32767, -32768, 32767, -32768, 32767, -32768, 0, 0};
  const Fenced<int16_t> out(16);
  const zeto_frame from = zeto_frame_float_load(in, 1, 16), to = zeto_frame_short_load(out.get(), 1, 16);
  zeto_frame_float_convert_to_short(&from, &to);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], want[i]) << in[i];
}

TEST(FrameConversions, SurplusSourceChannelsStayBehind) {
  float in[] = {1, 2, 3, 4}, out[] = {0, 0, 9};
  const zeto_frame from = zeto_frame_float_load(in, 2, 2), to = zeto_frame_float_load(out, 1, 2);
  zeto_frame_float_copy_to_float(&from, &to);
  EXPECT_TRUE(out[0] == 1 && out[1] == 2 && out[2] == 9);
}

struct BadPair {
  const char* name;
  uint32_t from_num, from_size, to_num, to_size;
  int null;  // 1: source, 2: destination, 3: last channel of the source, 4: last channel of the destination
  const char* message;
};
void PrintTo(const BadPair& c, std::ostream* os) {
  *os << c.name;
}
class Refused : public testing::TestWithParam<BadPair> {};
TEST_P(Refused, WithTheCountsAndNothingElse) {
  const auto& c = GetParam();
  float in[32] = {}, out[32];
  std::memset(out, 0x55, sizeof(out));
  zeto_frame from = {{in, in + 8, in + 16, in + 24}, c.from_num, c.from_size};
  zeto_frame to = {{out, out + 8, out + 16, out + 24}, c.to_num, c.to_size};
  if (c.null == 3) from.ch[c.from_num - 1] = nullptr;
  if (c.null == 4) to.ch[c.to_num - 1] = nullptr;
  for (const auto call :
       {zeto_frame_float_copy_to_float, zeto_frame_short_convert_to_float, zeto_frame_float_convert_to_short}) {
    testing::internal::CaptureStderr();
    call(c.null == 1 ? nullptr : &from, c.null == 2 ? nullptr : &to);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("QANT_TX: ") + c.message + ".\n");
  }
  for (const float x : out) {
    uint32_t word;
    std::memcpy(&word, &x, sizeof(word));
    ASSERT_EQ(word, 0x55555555u);
  }
}
INSTANTIATE_TEST_SUITE_P(Frames, Refused,
                         testing::Values(BadPair{"too_many", 2, 8, 3, 8, 0, "num info<2><3>, size info<8><8>"},
                                         BadPair{"other_size", 2, 8, 2, 7, 0, "num info<2><2>, size info<8><7>"},
                                         BadPair{"no_channels", 2, 8, 0, 8, 0, "num info<2><0>, size info<8><8>"},
                                         BadPair{"no_samples", 2, 0, 2, 0, 0, "num info<2><2>, size info<0><0>"},
                                         BadPair{"beyond_four", 5, 8, 1, 8, 0, "num info<5><1>, size info<8><8>"},
                                         BadPair{"null_source", 2, 8, 1, 7, 1, "num info<0><1>, size info<0><7>"},
                                         BadPair{"null_destination", 2, 8, 1, 7, 2, "num info<2><0>, size info<8><0>"},
                                         BadPair{"null_surplus_channel", 2, 8, 1, 8, 3,
                                                 "num info<2><1>, size info<8><8>"},
                                         BadPair{"null_channel", 2, 8, 2, 8, 4, "num info<2><2>, size info<8><8>"}),
                         by_name);

TEST(Interleaving, ThereAndBack) {
  const Fenced<int16_t> wide(12), channels(12), again(12);
  for (int16_t i = 0; i < 12; ++i) wide[size_t(i)] = i;
  const zeto_frame frame = zeto_frame_short_load(channels.get(), 3, 4);
  zeto_frame_short_copy_from_interleaved(wide.get(), &frame);
  for (size_t t = 0; t < 4; ++t) {
    for (size_t c = 0; c < 3; ++c) EXPECT_EQ(channels[c * 4 + t], int16_t(t * 3 + c));
  }
  zeto_frame_short_copy_to_interleaved(&frame, again.get());
  EXPECT_EQ(std::memcmp(again.get(), wide.get(), 24), 0);
}

TEST(Interleaving, SilentlyRefusesBadFramesAndItself) {
  int16_t samples[8] = {1, 2, 3, 4, 5, 6, 7, 8}, other[8] = {}, zeros[8] = {};
  const zeto_frame good = zeto_frame_short_load(samples, 2, 4);
  zeto_frame no_channel = good, no_samples = good, none = good, many = good;
  no_channel.ch[1] = nullptr;
  no_samples.size = 0;
  none.num = 0;
  many.num = 5;
  testing::internal::CaptureStderr();
  for (const zeto_frame* bad : {static_cast<const zeto_frame*>(nullptr), &std::as_const(no_channel),
                                &std::as_const(no_samples), &std::as_const(none), &std::as_const(many)}) {
    zeto_frame_short_copy_to_interleaved(bad, other);
    zeto_frame_short_copy_from_interleaved(zeros, bad);
  }
  zeto_frame_short_copy_to_interleaved(&good, samples);
  zeto_frame_short_copy_from_interleaved(samples, &good);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(samples[i] == i + 1 && other[i] == 0) << i;
}

}  // namespace
