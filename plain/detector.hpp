// The detector said plainly, sample by sample and pass by pass. It shares the coefficient tables with the library,
// which have tests of their own, and nothing else; the library must give the same bits.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "plain/stream.hpp"
#include "plain/transform.hpp"
#include "zeto/cores.h"

namespace plain {

// A tenth-order recursive filter and its memory, oldest sample first: the ten before `at`. It moves to the front when
// the room behind it is used up.
struct Filter {
  static constexpr int kOrder = 10, kRoom = 512;
  const double* b;
  const double* a;
  float in[kRoom] = {};
  float out[kRoom] = {};
  int at = kOrder;
  float step(float x);
};

// The first of the strongest bins but bin 0, and its level in dB, from 257 pairs of real and imaginary part.
struct Peak {
  int bin;
  float level;
};
Peak peak_of(const float* spectrum);

// The parameters in working form.
struct Settings {
  int32_t floor_hz, scope_hz, period, cand_db;
  float cand_ratio, spread_ratio, mix_gain, smooth;
  int32_t delay_ms;
};

struct Ratios {
  float previous = 0.0f;
  float current = 0.0f;
  void push(float ratio) { *this = {current, ratio}; }
};

enum Branch { kAnalysed, kAccepted, kOdd, kEven, kNothing, kFolded, kBlended, kInfinite, kTruncated, kBranches };

class Detector {
 public:
  Detector();
  void restart();
  void set(const int32_t* words);                                // as they are in a zeto_tx_param
  void block(const int16_t* a, const int16_t* b, int16_t* out);  // 480 samples each
  void step(const float* a, const float* b, int16_t* out);       // the same, full scale 1.0, and not counted
  uint32_t frame_count = 0;

  // How often analyses came through the rarer branches, for tests that must not miss them.
  std::array<int, kBranches> seen = {};
  // The measurement, and the candidates that the last analysis sorted.
  float result = 0.0f;
  std::vector<float> positions, levels;
  // 20 blocks each, as the last block left them.
  std::vector<float> delay_line, hist_a, hist_b;
  Filter high_a, high_b, low;

 private:
  void analyse();

  int32_t warmup_index_ = 1;
  Settings settings_ = {};
  Ratios hits_, level_hits_;
  Transform transform_;
};

// An uplink handle: the detector behind three streams.
struct Uplink {
  Detector detector;
  Streams streams;

  explicit Uplink(int32_t format_type)
      : streams(format_type, 3, [this](int16_t* const* blocks) { detector.block(blocks[1], blocks[0], blocks[2]); }) {}
  Uplink(const Uplink&) = delete;
  void set(const zeto_tx_param& param) {
    detector.set(&param.UltraHz_floor);
    detector.restart();
  }
  void process(void* in1, void* in2, void* out, uint64_t byte_count) {
    void* const buffers[] = {in2, in1, out};
    streams.process(buffers, byte_count);
  }
};

}  // namespace plain
