#include "parameters/parameters.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "error.hpp"

namespace zeto::tool {
namespace {

constexpr int32_t kMostMs = 1000;  // the emitter's own longest sweep
constexpr int32_t kFadeUs = 2000;  // of sweeps in sets that have none: a restart without a fade clicks

}  // namespace

std::vector<Parameter> parameters_of(zeto_rx_param& block) {
  return {
      {"start_hz", "Hz", "Start of the sweep; rounded to the nearest multiple\nof 11.71875 Hz", &block.start_hz},
      {"span_hz", "Hz", "Width of the sweep; rounded toward 0 to a multiple\nof 11.71875 Hz; below 0 it falls",
       &block.span_hz},
      {"amp_start_milli", "1/1000", "Amplitude at the start of a sweep, of full scale", &block.amp_start_milli},
      {"amp_end_milli", "1/1000", "Amplitude at the end of a sweep, of full scale", &block.amp_end_milli},
      {"period_ms", "ms", "Length of a sweep; only whole seconds count; below 1000\nthere is silence",
       &block.period_ms},
      {"enable", "", "1: chirp; anything else: silence", &block.enable},
  };
}

std::vector<Parameter> parameters_of(zeto_tx_param& block) {
  return {
      {"UltraHz_floor", "Hz", "Lower frequency of the sweep; almost no effect", &block.UltraHz_floor},
      {"UltraHz_scope", "Hz", "Width of the sweep", &block.UltraHz_scope},
      {"UltraHz_period", "",
       "The result if the beat is as high as UltraHz_scope: with\nthe sweep's length in ms, results are delays in ms",
       &block.UltraHz_period},
      {"UltraHz_cand_dB", "dB", "Level that a spectrum's peak must exceed to count", &block.UltraHz_cand_dB},
      {"UltraHz_cand_ratio", "1/100",
       "Least share of the 18 peaks that agree in frequency;\nabove 0 all must, above 100 all are rejected",
       &block.UltraHz_cand_ratio},
      {"UltraHz_spread_ratio", "1/100", "Least share of the 18 peaks that agree in level", &block.UltraHz_spread_ratio},
      {"UltraHz_mix_gain", "1/10", "Gain on the product of the two inputs", &block.UltraHz_mix_gain},
      {"UltraHz_smooth", "1/100",
       "Weight of the previous result in the next one; above 0 each\nrejection makes the results after it too low",
       &block.UltraHz_smooth},
      {"UltraHz_spare1", "", "Not used", &block.UltraHz_spare1},
      {"UltraHz_spare2", "", "Not used", &block.UltraHz_spare2},
      {"UltraHz_delay_ms", "ms",
       "10 or more: hold the first input back by 200 ms; this many\nms at the start are not analysed. Below 10: off",
       &block.UltraHz_delay_ms},
  };
}

zeto_set set_of(const std::string& name) {
  const zeto_set* const found = zeto_find_set(name.c_str());
  if (found == nullptr) throw UserError("--set: there is no set " + name + "; there are " + set_names());
  zeto_set set = *found;
  if (has_sweeps(set)) {
    const zeto_sweep& sweep = set.sweep;
    set.chirp = {sweep.start_hz, sweep.slope_hz_s, sweep.amp_milli, sweep.amp_milli, kMostMs, 1};
  } else {
    set.sweep.fade_us = kFadeUs;
  }
  return set;
}

std::string set_names() {
  std::string names;
  for (uint32_t i = 0; zeto_get_set(i) != nullptr; ++i) names.append(i == 0 ? "" : ", ").append(zeto_get_set(i)->name);
  return names;
}

bool has_sweeps(const zeto_set& set) {
  return set.sweep.restart_ms[0] != 0;
}

bool is_for_kit(const zeto_set& set) {
  return has_sweeps(set) && set.detectors > 0;
}

zeto_sweep sweep_of(const zeto_set& set) {
  zeto_sweep sweep = set.sweep;
  sweep.start_hz = set.chirp.start_hz;
  sweep.slope_hz_s = set.chirp.span_hz;
  sweep.amp_milli = set.chirp.enable == 1 ? set.chirp.amp_end_milli : 0;
  return sweep;
}

std::vector<int32_t> restarts_of(const zeto_set& set) {
  const auto* const first = set.sweep.restart_ms;
  return {first, std::find(first, first + ZETO_SWEEP_MAX, 0)};
}

void set_restarts(zeto_set& set, const std::string& where, const std::vector<int32_t>& restart_ms) {
  const auto fits = [](int32_t ms) { return ms >= 1 && ms <= kMostMs; };
  if (restart_ms.empty() || restart_ms.size() > ZETO_SWEEP_MAX ||
      !std::all_of(restart_ms.begin(), restart_ms.end(), fits)) {
    throw UserError(where + ": must be 1 to " + std::to_string(ZETO_SWEEP_MAX) + " lengths of 1 to 1000 ms");
  }
  std::fill(std::begin(set.sweep.restart_ms), std::end(set.sweep.restart_ms), 0);
  std::copy(restart_ms.begin(), restart_ms.end(), set.sweep.restart_ms);
}

void set_fade(zeto_set& set, const std::string& where, double ms) {
  if (!(ms >= 0.0 && ms <= kMostMs)) throw UserError(where + ": must be 0 to 1000 ms");
  set.sweep.fade_us = static_cast<int32_t>(std::lround(ms * 1000.0));
}

}  // namespace zeto::tool
