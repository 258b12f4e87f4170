#include "plain/detector.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "zeto/tables.h"

namespace plain {

// Products and sums in double precision, the oldest input first, the newest output last.
float Filter::step(float x) {
  if (at == kRoom) {
    std::copy_n(in + kRoom - kOrder, kOrder, in);
    std::copy_n(out + kRoom - kOrder, kOrder, out);
    at = kOrder;
  }
  in[at] = x;
  double sum = b[kOrder] * static_cast<double>(in[at - kOrder]);
  for (int lag = kOrder - 1; lag >= 0; --lag) sum += b[lag] * static_cast<double>(in[at - lag]);
  for (int lag = kOrder; lag >= 1; --lag) sum -= a[lag] * static_cast<double>(out[at - lag]);
  const float y = static_cast<float>(sum);
  out[at++] = y;
  return y;
}

namespace {

constexpr int kSlots = 20;
constexpr int kHistory = kBlock * kSlots;
constexpr int kFft = 512;
constexpr int kSegments = 18;
constexpr int kDecimation = 6;
constexpr int kFirstStretch = 384;

// An element that moves up loses its fraction.
void truncating_sort(std::vector<float>& list) {
  for (size_t pairs = list.size(); pairs-- > 1;)
    for (size_t j = 0; j < pairs; ++j) {
      if (!(list[j] > list[j + 1])) continue;
      std::swap(list[j], list[j + 1]);
      list[j + 1] = static_cast<float>(saturated(double(list[j + 1])));
    }
}

float median(const std::vector<float>& sorted) {
  const size_t n = sorted.size();
  if (n == 0) return 0.0f;
  if (n % 2 == 1) return sorted[n / 2];
  return (sorted[n / 2 - 1] + sorted[n / 2]) / 2.0f;
}

int count_near_median(const std::vector<float>& sorted, float tolerance) {
  const float middle = median(sorted);
  const auto near = [=](float v) { return std::fabs(v - middle) < tolerance; };
  return static_cast<int>(std::count_if(sorted.begin(), sorted.end(), near));
}

bool rejects(const Settings& settings, const Ratios& hits, const Ratios& levels) {
  if (settings.cand_ratio > hits.current || levels.current < settings.spread_ratio) return true;
  return levels.current + levels.previous + std::trunc(hits.current + hits.previous) < 2.0f;
}

float span_of(const Settings& settings) {
  constexpr float kQuantum = 11.0f;
  const float low = std::round(static_cast<float>(settings.floor_hz) / kQuantum) * kQuantum;
  const float width = std::trunc(static_cast<float>(settings.scope_hz) / kQuantum) * kQuantum;
  const float high = low + width;
  return high - low;
}

bool folds(float span, float position) {
  return double(span) * 0.5 < double(position);
}

float measure(const Settings& settings, float position, float before) {
  const float span = span_of(settings);
  const float p = folds(span, position) ? span - position : position;
  const float value = p * static_cast<float>(settings.period) / span;
  return before * settings.smooth + (1.0f - settings.smooth) * value;
}

}  // namespace

Peak peak_of(const float* spectrum) {
  Peak best = {};
  for (int bin = 1; bin <= kFft / 2; ++bin) {
    const float re = spectrum[2 * bin], im = spectrum[2 * bin + 1];
    const float level = 10.0f * std::log10(re * re + im * im + 1e-15f);
    if (bin == 1 || level > best.level) best = {bin, level};
  }
  return best;
}

Detector::Detector()
    : delay_line(kHistory),
      high_a{b_Hp_Ultra, a_Hp_Ultra},
      high_b{b_Hp_Ultra, a_Hp_Ultra},
      low{b_Lp_Ultra, a_Lp_Ultra},
      transform_(kFft) {
  restart();
}

// The block count, the delay line and its progress, and the settings go on.
void Detector::restart() {
  result = 0.0f;
  hist_a.assign(kHistory, 0.0f);
  hist_b.assign(kHistory, 0.0f);
  for (Filter* filter : {&high_a, &high_b, &low}) *filter = {filter->b, filter->a};
  positions.clear();
  levels.clear();
  hits_ = {};
  level_hits_ = {};
}

void Detector::set(const int32_t* words) {
  const auto share = [words](int i, float unit) { return static_cast<float>(words[i]) / unit; };
  settings_ = {words[0],         words[1],        words[2],         words[3], share(4, 100.0f),
               share(5, 100.0f), share(6, 10.0f), share(7, 100.0f), words[10]};
}

void Detector::block(const int16_t* a, const int16_t* b, int16_t* out) {
  float full_scale[2][kBlock];
  for (int i = 0; i < kBlock; ++i) {
    full_scale[0][i] = static_cast<float>(a[i]) / 32768.0f;
    full_scale[1][i] = static_cast<float>(b[i]) / 32768.0f;
  }
  ++frame_count;
  step(full_scale[0], full_scale[1], out);
}

void Detector::step(const float* a, const float* b, int16_t* out) {
  const auto slot_of = [](std::vector<float>& ring, uint32_t slot) { return &ring[slot * kBlock]; };
  const uint32_t s = (frame_count % kSlots + kSlots - 1) % kSlots;
  const bool delayed = settings_.delay_ms >= 10;
  if (delayed && warmup_index_ <= settings_.delay_ms / 10) {
    if (warmup_index_ <= kSlots) std::copy_n(a, kBlock, slot_of(delay_line, static_cast<uint32_t>(warmup_index_ - 1)));
    ++warmup_index_;
  } else {
    if (delayed) std::copy_n(slot_of(delay_line, s), kBlock, slot_of(hist_a, s));
    std::copy_n(a, kBlock, slot_of(delayed ? delay_line : hist_a, s));
    std::copy_n(b, kBlock, slot_of(hist_b, s));
    if (s == kSlots - 1) analyse();
  }
  const auto bits = static_cast<uint32_t>(saturated(double(result)));
  std::fill(out, out + kBlock, static_cast<int16_t>(static_cast<uint16_t>(bits & 0xffffu)));
}

void Detector::analyse() {
  for (float& v : hist_a) v = high_a.step(v);
  for (float& v : hist_b) v = high_b.step(v);
  std::vector<float> mixed(kHistory);
  for (size_t i = 0; i < mixed.size(); ++i) mixed[i] = low.step(hist_a[i] * hist_b[i] * settings_.mix_gain);

  positions.clear();
  levels.clear();
  for (int segment = 0; segment < kSegments; ++segment) {
    const int start = kFirstStretch + segment / kDecimation * kDecimation * kFft + segment % kDecimation;
    float spectrum[kFft + 2] = {};
    for (int t = 0; t < kFft; ++t) spectrum[t] = mixed[size_t(start + kDecimation * t)] * 6.0f;
    transform_.forward(spectrum);
    const Peak peak = peak_of(spectrum);
    if (!(peak.level > static_cast<float>(settings_.cand_db))) continue;
    const uint32_t hz = 48000u * static_cast<uint32_t>(peak.bin) / kFft;
    positions.push_back(static_cast<float>(hz / kDecimation));
    levels.push_back(peak.level);
  }
  std::vector<float> untouched = levels;
  truncating_sort(positions);
  truncating_sort(levels);
  const int level_hits = count_near_median(levels, 10.0f);
  const int full_hit = count_near_median(positions, 186.0f) / kSegments;
  hits_.push(static_cast<float>(full_hit));
  level_hits_.push(static_cast<float>(level_hits) / 18.0f);

  const float before = result;
  const bool rejected = rejects(settings_, hits_, level_hits_);
  result = rejected ? -1000.0f : measure(settings_, median(positions), before);

  const size_t n = positions.size();
  std::sort(untouched.begin(), untouched.end());
  ++seen[kAnalysed];
  seen[kNothing] += n == 0;
  seen[kOdd] += n % 2 == 1;
  seen[kEven] += n > 0 && n < kSegments && n % 2 == 0;
  seen[kTruncated] += level_hits != count_near_median(untouched, 10.0f);
  if (rejected) return;
  ++seen[kAccepted];
  seen[kFolded] += folds(span_of(settings_), median(positions));
  seen[kBlended] += before == -1000.0f && settings_.smooth != 0.0f;
  seen[kInfinite] += !std::isfinite(result);
}

}  // namespace plain
