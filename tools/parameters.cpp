#include "parameters.hpp"

namespace zeto::tool {

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
      {"UltraHz_floor", "Hz", "Lower frequency of the sweep; hardly matters", &block.UltraHz_floor},
      {"UltraHz_scope", "Hz", "Width of the sweep", &block.UltraHz_scope},
      {"UltraHz_period", "",
       "The result at a beat as high as the sweep is wide: with the\nsweep's length in ms, results are delays in ms",
       &block.UltraHz_period},
      {"UltraHz_cand_dB", "dB", "Level that a spectrum's peak must exceed to count", &block.UltraHz_cand_dB},
      {"UltraHz_cand_ratio", "1/100",
       "Least share of the 18 peaks agreeing in frequency;\nabove 0 all must, above 100 all are rejected",
       &block.UltraHz_cand_ratio},
      {"UltraHz_spread_ratio", "1/100", "Least share of the 18 peaks agreeing in level", &block.UltraHz_spread_ratio},
      {"UltraHz_mix_gain", "1/10", "Gain on the product of the two inputs", &block.UltraHz_mix_gain},
      {"UltraHz_smooth", "1/100",
       "Weight of the previous result in the next one; above 0 each\nrejection drags the results after it down",
       &block.UltraHz_smooth},
      {"UltraHz_spare1", "", "Not used", &block.UltraHz_spare1},
      {"UltraHz_spare2", "", "Not used", &block.UltraHz_spare2},
      {"UltraHz_delay_ms", "ms",
       "10 and more: hold the first input back by 200 ms, after\nas many ms as given without analysis; below 10: off",
       &block.UltraHz_delay_ms},
  };
}

}  // namespace zeto::tool
