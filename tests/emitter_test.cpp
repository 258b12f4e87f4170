// The emitter core on its own: lines, fields, frames, and the chirp beside the plain model for any parameters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "plain/chirp.hpp"
#include "zeto/arena.h"
#include "zeto/cores.h"

namespace {

constexpr zeto_rx_param kDefault = {19600, 4000, 10, 160, 1000, 1};

struct Core {
  std::vector<uint64_t> block = std::vector<uint64_t>(50000 / 8, 0x0101010101010101u);
  zeto_rx_state* const state = reinterpret_cast<zeto_rx_state*>(block.data());
  explicit Core(const zeto_rx_param& param) {
    zeto_rx_init(state);
    zeto_rx_set_param(state, &param);
  }
};

TEST(Emitter, SaysItsLinesAndIgnoresNulls) {
  testing::internal::CaptureStdout();
  Core core({19600, 4000, 10, 160, 2500, 1});
  int32_t words[6] = {};
  int16_t out[480];
  zeto_rx_get_param(core.state, words);
  EXPECT_EQ(words[4], 2);  // whole seconds, not milliseconds
  zeto_rx_process(core.state, out, 480);
  zeto_rx_reinit(core.state, 48000);
  zeto_rx_exit(core.state);
  zeto_rx_init(nullptr);
  zeto_rx_reinit(nullptr, 48000);
  zeto_rx_set_param(nullptr, &kDefault);
  zeto_rx_set_param(core.state, nullptr);
  zeto_rx_get_param(nullptr, words);
  zeto_rx_get_param(core.state, nullptr);
  zeto_rx_process(nullptr, out, 480);
  zeto_rx_process(core.state, nullptr, 480);
  zeto_rx_exit(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "[ZETO_RX] Rx_Init succ,version is 2.02.02.\n"
            "[ZETO_RX]: module_param_setting: 2, 10, 4000, 19600, 1\n"
            "[ZETO_RX] Rx_ReInit succ,version is 2.02.02.\n");
  EXPECT_EQ(core.state->frame_count, 0u);
}

TEST(Emitter, PreparesItsOwnFieldsAndItsArenaSlot) {
  EXPECT_EQ(cal_zeto_rx_struct_malloc_size(), 50000u);
  std::vector<uint64_t> block(6250, 0x0101010101010101u);
  auto* const state = reinterpret_cast<zeto_rx_state*>(block.data());
  zeto_rx_init(state);
  const int32_t fresh[10] = {512, 480, 48000, 0, 19600, 4000, 10, 160, 0x01010101, 1};
  EXPECT_EQ(0, std::memcmp(state, fresh, sizeof fresh));
  EXPECT_EQ(std::count(block.begin() + 5, block.end(), 0x0101010101010101u), 6245);
  EXPECT_EQ(malloc_buffer(1, 50000 - sizeof *state), state + 1);
  state->fft_len = state->frame_count = 9;
  state->frame_len = state->enable = 0;
  zeto_rx_reinit(state, 8000);
  const int32_t after[10] = {512, 480, 8000, 0, 19600, 4000, 10, 160, 0x01010101, 0};
  EXPECT_EQ(0, std::memcmp(state, after, sizeof after));
}

TEST(Emitter, WritesWholeFrames) {
  const int32_t cases[][2] = {{INT32_MIN, 0}, {-1, 0}, {0, 0}, {1, 480}, {480, 480}, {481, 960}};
  for (const auto& [count, whole] : cases) {
    Core core({19600, 4000, 10, 160, 999, 1});  // no period: silence
    std::vector<int16_t> out(1440, 77), want = out;
    std::fill_n(want.begin(), whole, int16_t{0});
    zeto_rx_process(core.state, out.data(), count);
    EXPECT_EQ(out, want) << count;
    EXPECT_EQ(core.state->frame_count, uint32_t(whole / 480)) << count;
  }
  for (const int32_t enable : {0, 1}) {  // never prepared, it has no frame length: the call comes back
    zeto_rx_state state = {};
    state.enable = enable;
    int16_t out = 77;
    zeto_rx_process(&state, &out, 480);
    EXPECT_EQ(out, 77);
  }
}

// From a frame number on.
void expect_as_plain(const zeto_rx_param& param, uint32_t rate, uint32_t frame, int32_t frames = 3) {
  Core core(param);
  plain::Chirp model;
  model.set(param);
  model.restart(rate);
  zeto_rx_reinit(core.state, rate);
  core.state->frame_count = model.frame_count = frame;
  std::vector<int16_t> got(size_t(frames) * 480), want = got;
  model.process(want.data(), frames * 480);
  zeto_rx_process(core.state, got.data(), frames * 480);
  EXPECT_EQ(got, want) << param.start_hz << ", " << param.span_hz << ", " << param.period_ms << " rate " << rate
                       << " frame " << frame;
  EXPECT_EQ(core.state->frame_count, model.frame_count);
}

TEST(Emitter, TakesAnyParametersAsThePlainModel) {
  constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;
  const zeto_rx_param absurd[] = {
      kDefault,
      {19600, 4000, 10, 160, -1000, 1},
      {19600, 4000, 10, 160, kMax, 1},
      {19600, 4000, 10, 160, kMin, 1},
      {19600, 4000, 10, 160, 89479000, 1},  // a period of more than 2^32 samples
      {19600, 4000, -500, -2000, 1000, 1},
      {-19600, -4000, 9000, 1600, 2000, 1},
      {kMax, kMax, kMax, kMax, 1000, 1},
      {kMin, kMin, kMin, kMin, 3000, 1},
      {kMax, kMin, kMin, kMax, -5000, 1},
      {19600, 4000, 10, 160, 1000, 2},
  };
  for (const auto& param : absurd)
    for (const uint32_t rate : {48000u, 0u, 1u, 44100u, UINT32_MAX})
      for (const uint32_t frame : {0u, 98u, 8947848u, UINT32_MAX - 1}) expect_as_plain(param, rate, frame);
  // Turns grow beyond 2^51 within these frames, where halves of them are lost.
  for (const uint32_t frame : {2184500u, 2184600u, 2300000u, 4400000u})
    expect_as_plain({kMax, 0, 1000, 1000, kMax, 1}, 1000, frame);
  std::mt19937 random(3);
  const auto below = [&](uint32_t n) { return int32_t(random() % n); };
  for (int turn = 0; turn < 300; ++turn)
    expect_as_plain({below(24000), below(48000) - 24000, below(3000) - 500, below(3000) - 500, below(20000), 1}, 48000,
                    uint32_t(below(5000)));
  for (const zeto_rx_param& param : {kDefault, {17000, 6500, 1500, 900, 3000, 1}, {21000, -3000, 300, 40, 2000, 1}})
    expect_as_plain(param, 48000, 0, 1000);
}

}  // namespace
