#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "tests/support/fenced.hpp"
#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace {

using zeto_test::Fenced;

constexpr uint32_t kLen = 512;
constexpr uint32_t kHop = 160;

class Window : public testing::Test {
 protected:
  Window() {
    std::fill(std::begin(state.buf), std::end(state.buf), 7.0f);
    state.window = nullptr;
    state.len = state.hop = 0;
  }
  zeto_window_state state;
};

TEST_F(Window, InitRefusesWhatItCannotSlide) {
  zeto_window_init(nullptr, KT_Hann512, kLen, kHop);
  zeto_window_init(&state, nullptr, kLen, kHop);
  zeto_window_init(&state, KT_Hann512, kLen, kLen);
  zeto_window_init(&state, KT_Hann512, kHop, kLen);
  zeto_window_init(&state, KT_Hann512, kLen, 0);
  EXPECT_EQ(state.len, 0u);
  EXPECT_EQ(state.buf[0], 7.0f);

  zeto_window_init(&state, KT_Hann256, 256, 80);
  EXPECT_EQ(state.window, KT_Hann256);
  EXPECT_EQ(state.hop, 80u);
  EXPECT_EQ(state.buf[255], 0.0f);
  EXPECT_EQ(state.buf[256], 7.0f);
  zeto_window_reinit(&state, nullptr, kLen, kLen);
  zeto_window_reinit(nullptr, nullptr, kLen, kLen);
  EXPECT_EQ(state.window, nullptr);
  EXPECT_EQ(state.hop, kLen);
  EXPECT_EQ(state.buf[511], 0.0f);
}

TEST_F(Window, AnalysisFramesTheLatestSamples) {
  const Fenced<float> in(4 * kHop), out(kLen);
  std::iota(in.get(), in.get() + 4 * kHop, 1.0f);
  zeto_window_init(&state, KT_Hann512, kLen, kHop);
  for (uint32_t call = 0; call < 4; ++call) zeto_window_en(&state, in.get() + call * kHop, out.get());
  for (uint32_t i = 0; i < kLen; ++i) {
    ASSERT_EQ(state.buf[i], in[4 * kHop - kLen + i]);
    ASSERT_EQ(out[i], state.buf[i] * KT_Hann512[i]);
  }
}

// Through both windows and back: the samples again, one frame less one hop late.
TEST_F(Window, AnalysisAndSynthesisGiveTheStreamBack) {
  constexpr uint32_t kCalls = 9, kLate = kLen - kHop;
  auto synthesis = std::make_unique<zeto_window_state>();
  zeto_window_init(&state, Kaiser470_A_512_160, kLen, kHop);
  zeto_window_init(synthesis.get(), Kaiser470_S_512_160, kLen, kHop);
  std::vector<float> in(kCalls * kHop), back(kCalls * kHop);
  for (size_t i = 0; i < in.size(); ++i) in[i] = std::sin(float(i * i % 1009));
  for (uint32_t call = 0; call < kCalls; ++call) {
    const Fenced<float> frame(kLen), out(kHop);
    zeto_window_en(&state, in.data() + call * kHop, frame.get());
    zeto_window_de(synthesis.get(), frame.get(), out.get());
    std::copy_n(out.get(), kHop, back.data() + call * kHop);
  }
  for (size_t i = kLate; i < in.size(); ++i) ASSERT_NEAR(back[i], in[i - kLate], 1e-6f) << i;
}

TEST_F(Window, SynthesisWithoutWindowAddsFramesAsTheyAre) {
  zeto_window_reinit(&state, nullptr, 5, 2);
  const float in[] = {1, 2, 3, 4, 5};
  float out[2];
  for (int call = 0; call < 3; ++call) zeto_window_de2(&state, in, out);
  EXPECT_EQ(out[0], 1.0f + 3.0f + 5.0f);
  EXPECT_EQ(out[1], 2.0f + 4.0f);
  EXPECT_EQ(state.buf[4], 5.0f);

  zeto_window_reinit(&state, nullptr, 5, 5);
  float whole[5];
  zeto_window_de2(&state, in, whole);
  EXPECT_TRUE(std::equal(in, in + 5, whole));
}

TEST_F(Window, NullsDoNothing) {
  float in[kLen] = {}, out[kLen] = {3.0f};
  zeto_window_reinit(&state, nullptr, kLen, kHop);
  zeto_window_en(&state, in, out);
  zeto_window_de(&state, in, out);
  EXPECT_EQ(out[0], 3.0f);
  state.window = KT_Hann512;
  for (const auto step : {zeto_window_en, zeto_window_de, zeto_window_de2}) {
    step(nullptr, in, out);
    step(&state, nullptr, out);
    step(&state, in, nullptr);
  }
  zeto_window_destroy(&state);
  EXPECT_EQ(out[0], 3.0f);
  EXPECT_EQ(zeto_window_To0dBFs(nullptr, 1), 0.0f);
  EXPECT_EQ(zeto_window_cali_db(nullptr, 1), 0.0f);
}

TEST(Calibration, OfAWindowAndOfNothing) {
  const float zeros[4] = {}, negative[] = {-1.0f};
  EXPECT_NEAR(zeto_window_To0dBFs(KT_Hann512, 512), 2.0f / 256.5f, 5e-9f);  // 512 additions round
  EXPECT_FLOAT_EQ(zeto_window_cali_db(KT_Hann512, 512), 10.0f * std::log10(192.375f / 512.0f));
  EXPECT_EQ(zeto_window_To0dBFs(zeros, 4), 0x1p127f);
  EXPECT_EQ(zeto_window_To0dBFs(negative, 1), 0x1p127f);
  EXPECT_EQ(zeto_window_cali_db(zeros, 4), -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(zeto_window_cali_db(zeros, 0)));
}

}  // namespace
