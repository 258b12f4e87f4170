// What the fuzz target does not see of windows and bands: refusals, the tables' windows, statistics.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace {

TEST(Windows, RefuseWhatTheyCannotSlide) {
  zeto_window_state state = {};
  state.buf[0] = state.buf[256] = 7.0f;
  zeto_window_init(nullptr, KT_Hann512, 512, 160);
  zeto_window_init(&state, nullptr, 512, 160);
  zeto_window_init(&state, KT_Hann512, 512, 512);
  zeto_window_init(&state, KT_Hann512, 160, 512);
  zeto_window_init(&state, KT_Hann512, 512, 0);
  EXPECT_EQ(state.len, 0u);
  EXPECT_EQ(state.buf[0], 7.0f);
  zeto_window_init(&state, KT_Hann256, 256, 80);
  EXPECT_TRUE(state.window == KT_Hann256 && state.hop == 80 && state.buf[0] == 0.0f && state.buf[256] == 7.0f);
  zeto_window_reinit(nullptr, nullptr, 512, 512);
  zeto_window_reinit(&state, nullptr, 512, 160);

  float in[512] = {}, out[512] = {3.0f};
  zeto_window_en(&state, in, out);  // without a window
  zeto_window_de(&state, in, out);
  state.window = KT_Hann512;
  for (const auto step : {zeto_window_en, zeto_window_de, zeto_window_de2}) {
    step(nullptr, in, out);
    step(&state, nullptr, out);
    step(&state, in, nullptr);
  }
  zeto_window_destroy(&state);
  EXPECT_EQ(out[0], 3.0f);
}

// Through both windows and back: the samples again, one frame less one hop late.
TEST(Windows, GiveTheStreamBack) {
  zeto_window_state analysis, synthesis;
  zeto_window_init(&analysis, Kaiser470_A_512_160, 512, 160);
  zeto_window_init(&synthesis, Kaiser470_S_512_160, 512, 160);
  std::vector<float> in(9 * 160), back(in.size());
  for (size_t i = 0; i < in.size(); ++i) in[i] = std::sin(float(i * i % 1009));
  for (size_t at = 0; at < in.size(); at += 160) {
    float frame[512];
    zeto_window_en(&analysis, &in[at], frame);
    zeto_window_de(&synthesis, frame, &back[at]);
  }
  for (size_t i = 352; i < in.size(); ++i) ASSERT_NEAR(back[i], in[i - 352], 1e-6f) << i;
}

TEST(Windows, CalibrateByTheirSums) {
  const float zeros[4] = {}, negative[] = {-1.0f};
  EXPECT_NEAR(zeto_window_To0dBFs(KT_Hann512, 512), 2.0f / 256.5f, 5e-9f);  // 512 additions round
  EXPECT_FLOAT_EQ(zeto_window_cali_db(KT_Hann512, 512), 10.0f * std::log10(192.375f / 512.0f));
  EXPECT_EQ(zeto_window_To0dBFs(zeros, 4), 0x1p127f);
  EXPECT_EQ(zeto_window_To0dBFs(negative, 1), 0x1p127f);
  EXPECT_EQ(zeto_window_cali_db(zeros, 4), -INFINITY);
  EXPECT_TRUE(std::isnan(zeto_window_cali_db(zeros, 0)));
  EXPECT_EQ(zeto_window_To0dBFs(nullptr, 1) + zeto_window_cali_db(nullptr, 1), 0.0f);
}

TEST(Statistics, CopyDeviationAndEnergy) {
  float row[20] = {4.0f};
  copyx2y(row, row + 1, 19);  // ascends one by one
  EXPECT_EQ(row[19], 4.0f);
  copyx2y(row, nullptr, -1);

  const float x[] = {1, 2, 3, 6};
  EXPECT_EQ(stdVec(x, 4, 3.0f), std::sqrt(14.0f / 3.0f));
  EXPECT_EQ(stdVec(x, 1, 4.0f), 3.0f);
  for (const int32_t n : {0, -1, INT32_MIN}) EXPECT_EQ(stdVec(x, n, 4.0f), 0.0f) << n;

  const float loud[] = {2.0f, 4.0f}, w[] = {0.5f, 10.0f}, silent[2] = {};
  EXPECT_EQ(energy_db_cal(loud, w, 2, 3.0f), 10.0f * std::log10(400.5f / 4.0f + 1e-15f) - 3.0f);
  EXPECT_EQ(energy_db_cal(loud, w, 1, 3.0f), INFINITY);
  EXPECT_TRUE(std::isnan(energy_db_cal(loud, w, 0, 0.0f)));
  EXPECT_FLOAT_EQ(energy_db_cal(silent, w, 2, 0.0f), -150.0f);
  const std::vector<float> ones(32769, 1.0f);  // 2 n (n - 1) just beyond 31 bits
  EXPECT_EQ(energy_db_cal(ones.data(), ones.data(), 32769, 0.0f),
            10.0f * std::log10(32769.0f / 2147549184.0f + 1e-15f));
}

}  // namespace
