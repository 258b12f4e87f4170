// The detector core: what its output shows of every decision, and its life. The fuzz target compares it with the plain
// model; analysis_test.cpp looks at its steps.
#include "plain/detector.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "detector/state.hpp"
#include "zeto/arena.h"
#include "zeto/cores.h"

namespace {

constexpr size_t kBlock = 480;
constexpr int kWindow = 9600;
constexpr int32_t kMax = INT32_MAX;
constexpr zeto_tx_param kUsual = {19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0};
constexpr zeto_tx_param kLenient = {19605, 4000, 1000, -20, 0, 0, 10, 0, 0, 0, 0};

using Audio = std::vector<int16_t>;
using Shown = std::vector<int>;

// A part of an analysis' 200 ms that beats against the reference: `bin` times 15.625 Hz, half of full scale at 0 dB.
struct Piece {
  int from, to, bin;
  double db = 0;
};
using Window = std::vector<Piece>;
const Window kTone = {{0, kWindow, 32}};  // 500 Hz
const Window kSilence = {};

Audio beating(const Window& window) {
  Audio audio(kWindow);
  for (const Piece& piece : window) {
    const double hz = 20000 + 15.625 * piece.bin, peak = 16384 * std::pow(10, piece.db / 20);
    for (int n = piece.from; n < piece.to; ++n)
      audio[size_t(n)] = int16_t(std::lround(peak * std::cos(2 * std::numbers::pi * hz / 48000 * n)));
  }
  return audio;
}
// A tone of 20000 Hz and half of full scale: the reference that every beat is measured against.
Audio reference() {
  return beating({{0, kWindow, 0}});
}

// A beat in each of the analysed stretches, which start at 384, 3456 and 6528. A pause before each boundary lets the
// filters ring out.
Window stretches(int first, int second, int third, double second_db = 0, double third_db = 0) {
  return {{384, 3000, first}, {3456, 6100, second, second_db}, {6528, 9200, third, third_db}};
}

// A detector core in memory of its own, which held something else before.
class Core {
 public:
  explicit Core(const zeto_tx_param& param = kUsual) {
    zeto_tx_init(state());
    zeto_tx_set_param(state(), &param);
  }
  zeto_tx_state* state() { return reinterpret_cast<zeto_tx_state*>(memory_.data()); }

  // Feeds blocks first .. last - 1 of a window and returns what the last one shows.
  int feed(const Audio& a, const Audio& b, size_t first = 0, size_t last = 20) {
    out.assign((last - first) * kBlock, 77);
    zeto_tx_process(state(), &a[first * kBlock], &b[first * kBlock], out.data(), uint32_t(out.size()));
    return out.back();
  }
  int feed(const Window& window) { return feed(reference(), beating(window)); }

  Audio out;

 private:
  std::vector<uint64_t> memory_ = std::vector<uint64_t>(cal_zeto_tx_struct_malloc_size() / 8, 0x4a4a4a4a4a4a4a4au);
};

TEST(Detector, ShowsItsDecisions) {
  constexpr auto db = &zeto_tx_param::UltraHz_cand_dB, ratio = &zeto_tx_param::UltraHz_cand_ratio,
                 spread = &zeto_tx_param::UltraHz_spread_ratio, gain = &zeto_tx_param::UltraHz_mix_gain,
                 scope = &zeto_tx_param::UltraHz_scope, period = &zeto_tx_param::UltraHz_period,
                 smooth = &zeto_tx_param::UltraHz_smooth, low = &zeto_tx_param::UltraHz_floor;
  using Change = std::pair<int32_t zeto_tx_param::*, int32_t>;
  struct Case {
    const char* what;
    zeto_tx_param param;
    std::vector<Change> changes;
    std::vector<Window> windows;
    Shown shown;
  };
  // 12 of 18 levels and no agreement in position; 6 of 18 levels and all positions.
  const Window twelve = stretches(32, 32, 64, 0, -30), six = stretches(32, 32, 32, -15, -30);
  const Window within = stretches(32, 32, 43), beyond = stretches(32, 32, 44), at_1500 = {{0, kWindow, 96}};
  const Window start = {{0, 200, 32}}, end_of_start = {{400, 1400, 32}}, to_9000 = {{0, 9000, 32}};
  const Window gap = {{384, 3000, 20}, {6528, 9200, 32}};       // 312 and 500 Hz
  const std::vector<Change> deep = {{gain, kMax}, {db, -150}};  // what the filters still ring with becomes visible
  const Case cases[] = {
      // 500 Hz x 1000 / 3993 Hz
      {"rejected, accepted", kUsual, {}, {kSilence, kTone, kSilence, kTone}, {-1000, 125, -1000, 125}},
      {"blended with the rejection", kUsual, {{smooth, 50}}, {kSilence, kTone, kTone}, {-1000, -437, -156}},
      // The beat's level is 20 log10(0.5 * 0.5 / 2 * 6 * 256) = 45.7 dB, and 20 dB more at tenfold gain.
      {"level above", kUsual, {{db, 45}}, {kTone}, {125}},
      {"level below", kUsual, {{gain, -100}, {db, 66}}, {kTone}, {-1000}},
      // Silence is -150 dB in every bin; the first one wins: 15 Hz.
      {"silence above", kUsual, {{db, -151}}, {kSilence}, {3}},
      {"silence at threshold", kUsual, {{db, -150}}, {kSilence}, {-1000}},
      {"ratios at threshold", kUsual, {{spread, 100}}, {kTone}, {125}},
      {"candidate ratio above one", kUsual, {{ratio, 101}}, {kTone}, {-1000}},
      {"spread ratio above one", kUsual, {{spread, 101}}, {kTone}, {-1000}},
      {"nothing is accepted once", kLenient, {}, {kTone, kSilence, kSilence}, {125, 0, -1000}},
      {"even median, at 406 Hz", kLenient, {}, {kTone, gap}, {125, 101}},
      {"hit ratio is all or nothing", kLenient, {{ratio, 1}}, {kTone, gap}, {125, -1000}},
      {"within tolerance", kUsual, {}, {within}, {125}},
      {"beyond tolerance", kUsual, {}, {beyond}, {-1000}},
      {"rejected ratios count next time", kLenient, {}, {twelve, six}, {-1000, 125}},
      {"but only next time", kLenient, {}, {twelve, kSilence, six}, {-1000, -1000, -1000}},
      {"folded", kUsual, {{scope, 2000}}, {at_1500}, {246}},  // (1991 - 1500) Hz of 1991 Hz
      {"not folded", kUsual, {{scope, 2000}}, {kTone}, {251}},
      {"negative span", kUsual, {{scope, -4000}}, {kTone}, {1125}},
      {"floor rounds the span", kUsual, {{low, kMax}}, {kTone}, {122}},  // 4096 Hz
      // 3994 Hz; 3992 or 3993 Hz if it were cut to the grid, or not on it
      {"floor is rounded itself", kUsual, {{low, 16777259}, {period, 30000}}, {kTone}, {3755}},
      // Plus infinity shows as the low half of 2^31 - 1; times a weight of 0 it is undefined until the next rejection.
      {"no span", kUsual, {{scope, 10}, {period, -1000}}, {kTone, kTone, kSilence, kTone}, {-1, 0, -1000, -1}},
      {"low 16 bits", kUsual, {{period, 2000000}}, {kTone}, {250438 - 4 * 65536}},
      {"the start is not analysed", kLenient, {}, {kTone, start}, {125, 0}},
      {"the end of the start is", kLenient, {}, {kTone, end_of_start}, {125, 125}},
      // The low-pass rings at 4000 Hz, which folds to -7 Hz of 3993 Hz.
      {"filters ring on", kLenient, deep, {kTone, kSilence}, {125, -1}},
      {"filters have rung out", kLenient, deep, {to_9000, kSilence, kSilence}, {125, 0, -1000}},
  };
  for (const Case& c : cases) {
    zeto_tx_param param = c.param;
    for (const auto& [field, value] : c.changes) param.*field = value;
    Core core(param);
    Shown shown;
    for (const Window& window : c.windows) shown.push_back(core.feed(window));
    EXPECT_EQ(shown, c.shown) << c.what;
  }
}

// Noise in one call, against the plain model block by block: the output holds between analyses.
TEST(Detector, TakesManyBlocksAtOnce) {
  zeto_tx_param param = kLenient;
  param.UltraHz_smooth = 30;
  Core core(param);
  plain::Detector model;
  model.set(&param.UltraHz_floor);
  std::mt19937 random(5);
  Audio a(6 * kWindow), b(a.size()), want(a.size());
  for (Audio* audio : {&a, &b})
    for (int16_t& x : *audio) x = int16_t(random() % 65536 - 32768);
  for (size_t at = 0; at < a.size(); at += kBlock) model.block(&a[at], &b[at], &want[at]);
  core.feed(a, b, 0, a.size() / kBlock);
  EXPECT_EQ(core.out, want);
  EXPECT_EQ(core.state()->result_value, model.result);
  EXPECT_EQ(core.state()->analysis_count, 6);
}

// A block finer than 16 bits in front of a window leaves the filters inputs whose sums are exact in one order only. It
// takes these tones, and a gain that lifts the rounding, to see it.
TEST(Detector, FiltersInFrontOfAWindowMayRememberFineSamples) {
  const zeto_tx_param param = {19605, 4000, 1000000000, -500, 0, 0, 10, 50, 0, 0, 0};
  struct Tone {
    int hz, phase, peak;  // Hz, 1/100, 1/1000
  };
  for (const Tone& tone : {Tone{190, 191, 425}, {25, 545, 873}, {214, 98, 466}}) {
    const auto low = [&](int n) {
      return tone.peak / 1000.0 * std::cos(tone.phase / 100.0 + 2 * std::numbers::pi * tone.hz / 48000 * n);
    };
    Core core(param);
    plain::Detector model;
    model.set(&param.UltraHz_floor);
    float a[kBlock], b[kBlock];
    int16_t out[kBlock], want[kBlock];
    for (int i = 0; i < int(kBlock); ++i) {
      a[i] = float(low(i - int(kBlock)));
      b[i] = float(low(i - int(kBlock)) * 0.9);
    }
    zeto_tx_main_process(core.state(), a, out, b);
    model.step(a, b, want);
    Audio x(kWindow), y(kWindow);
    for (int n = 0; n < kWindow; ++n) {
      x[size_t(n)] = int16_t(std::lrint(32767 * (low(n) + 0.05 * (n > 20) * std::cos(2.6 * n))));
      y[size_t(n)] = int16_t(std::lrint(32767 * (low(n) * 0.9 + 0.05 * (n > 20) * std::cos(2.65 * n))));
    }
    for (size_t at = 0; at < x.size(); at += kBlock) model.block(&x[at], &y[at], want);
    core.feed(x, y);
    EXPECT_EQ(0, std::memcmp(model.levels.data(), core.state()->cand_level, sizeof core.state()->cand_level))
        << tone.hz;
  }
}

// Blocks that the start-up delay drops leave the histories as the last analysis filtered them: they beat once more.
TEST(Detector, DelaySwitchedOnLateLeavesOldSlots) {
  const Audio silence = beating(kSilence);
  Core core(kLenient);
  EXPECT_EQ(core.feed(kTone), 125);
  zeto_tx_param param = kLenient;
  param.UltraHz_delay_ms = 50;
  param.UltraHz_period = 2000;
  zeto_tx_set_param(core.state(), &param);
  EXPECT_EQ(core.feed(reference(), silence, 0, 5), 125);
  EXPECT_EQ(core.feed(reference(), silence, 5, 20), 250);
  EXPECT_EQ(core.feed(silence, beating(kTone)), 250);
  param.UltraHz_delay_ms = 90;  // four more blocks into the delay line, from where the delay stopped
  zeto_tx_set_param(core.state(), &param);
  core.feed(silence, silence, 0, 4);
  EXPECT_EQ(core.state()->warmup_index, 10);
  EXPECT_EQ(core.state()->analysis_count, 1);
}

TEST(DetectorLife, SaysWhatItDoesAndIgnoresNulls) {
  testing::internal::CaptureStdout();
  Core core({-1, 4000, 0, -20, 50, 0, 0, 0, 0, 0, 0});
  zeto_tx_state* const state = core.state();
  zeto_tx_reinit(state, -1);
  zeto_tx_destroy(state);
  int16_t block[kBlock] = {};
  uint32_t words[11];
  float floats[kBlock] = {};
  zeto_tx_init(nullptr), zeto_tx_reinit(nullptr, 1), zeto_tx_destroy(nullptr);
  zeto_tx_set_param(nullptr, &kUsual), zeto_tx_set_param(state, nullptr);
  zeto_tx_get_param(nullptr, words), zeto_tx_get_param(state, nullptr);
  zeto_tx_process(nullptr, block, block, block, kBlock), zeto_tx_process(state, nullptr, block, block, kBlock);
  zeto_tx_process(state, block, nullptr, block, kBlock), zeto_tx_process(state, block, block, nullptr, kBlock);
  zeto_tx_process(state, block, block, block, 0), zeto_tx_main_process(nullptr, floats, block, floats);
  zeto_tx_main_process(state, nullptr, block, floats), zeto_tx_main_process(state, floats, nullptr, floats);
  zeto_tx_main_process(state, floats, block, nullptr);
  char at[40];
  std::snprintf(at, sizeof at, "(0x%p)", static_cast<void*>(state));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string("zeto_tx_init, version") + at + " zeto v1.0.1 build 20221213\n" +
                "UltraHz_floor(4294967295) UltraHz_scope(4000) UltraHz_period(0) UltraHz_cand_dB(4294967276) "
                "UltraHz_cand_ratio<0.500000>.\nzeto_tx_reinit" +
                at + " sample_rate -1\nzeto_tx_destroy" + at + " \n");
  EXPECT_EQ(state->frame_count, 0);
}

// A block that was never initialised counts what it is given and touches nothing else.
TEST(DetectorLife, UninitialisedCountsBlocks) {
  std::vector<uint64_t> memory(cal_zeto_tx_struct_malloc_size() / 8);
  auto* state = reinterpret_cast<zeto_tx_state*>(memory.data());
  int16_t in[1] = {}, out[kBlock] = {123};
  int32_t want = 0;
  for (const auto& [samples, blocks] : {std::pair{1000u, 3}, {480u, 1}, {481u, 2}, {4294967295u, 8947849}}) {
    zeto_tx_process(state, in, in, out, samples);
    EXPECT_EQ(state->frame_count, want += blocks) << samples;
  }
  EXPECT_EQ(out[0], 123);
}

TEST(DetectorLife, ArenaGetsTheEndOfTheBlock) {
  Core core;
  char* block = reinterpret_cast<char*>(core.state());
  EXPECT_EQ(cal_zeto_tx_struct_malloc_size(), 130000u);
  EXPECT_EQ(malloc_buffer(0, 6993), nullptr);
  EXPECT_EQ(malloc_buffer(0, 6992), block + 123008);
}

}  // namespace
