// The detector said plainly, sample by sample and pass by pass. It shares the transform and the coefficient tables with
// the library, which have tests of their own, and nothing else; the library must give the same bits.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "zeto/fft.h"

namespace plain {

// What a float is as a host's integer: toward zero, saturating, not a number is 0.
int32_t saturated(float x);

// The sample that shows a measurement: its low 16 bits.
int16_t shown(float result);

// A tenth-order recursive filter and its memory, newest sample first.
struct Filter {
  const double* b;
  const double* a;
  float in[10] = {};
  float out[10] = {};
  float step(float x);
};

// Ascending bubble sort; an element that moves up loses its fraction.
void truncating_sort(std::vector<float>& list);

// The middle of a sorted list, the mean of the two middles where there is no one middle, 0 of nothing.
float median(const std::vector<float>& sorted);

struct Agreement {
  float position = 0.0f;     // median, Hz
  float hit_ratio = 0.0f;    // 0 or 1
  float level_ratio = 0.0f;  // eighteenths
};
Agreement agree(std::vector<float> positions, std::vector<float> levels);

struct Settings {
  int32_t floor_hz, scope_hz, period, cand_db;
  float cand_ratio, spread_ratio, mix_gain, smooth;
  int32_t delay_ms;
};
Settings settings_of(const int32_t* words);

struct Ratios {
  float previous = 0.0f;
  float current = 0.0f;
  void push(float ratio) { *this = {current, ratio}; }
};
bool rejects(const Settings& settings, const Ratios& hits, const Ratios& levels);
float measure(const Settings& settings, float position, float before);

enum Branch { kAnalysed, kAccepted, kOdd, kEven, kNothing, kFolded, kBlended, kInfinite, kTruncated, kBranches };

class Detector {
 public:
  Detector();
  void restart();
  void set(const int32_t* words) { settings_ = settings_of(words); }
  void block(const int16_t* a, const int16_t* b, int16_t* out);  // 480 samples each

  // How often analyses came through the rarer branches, for tests that must not miss them.
  std::array<int, kBranches> seen = {};

 private:
  void analyse();

  int32_t frame_count_ = 0;
  int32_t warmup_index_ = 1;
  float result_ = 0.0f;
  Settings settings_ = {};
  std::vector<float> delay_line_, hist_a_, hist_b_;
  Filter high_a_, high_b_, low_;
  Ratios hits_, levels_;
  zeto_drft_lookup fft_;
};

}  // namespace plain
