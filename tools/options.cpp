#include "options.hpp"

#include <algorithm>
#include <string>

namespace zeto::tool {
namespace {

template <class Record>
struct Word {
  int32_t Record::*field;
  const char* option;
  const char* unit;
  const char* help;
};

template <class Record, size_t n>
void add_words(CLI::App& verb, const char* group, const Word<Record> (&words)[n], Record& record) {
  for (const auto& word : words) {
    std::string as_in_interface = word.option;
    std::replace(as_in_interface.begin() + 2, as_in_interface.end(), '-', '_');
    std::string names = word.option;
    if (as_in_interface != names) names.append(",").append(as_in_interface);
    verb.add_option(names, record.*word.field, word.help)->type_name(word.unit)->group(group)->capture_default_str();
  }
}

constexpr Word<zeto_rx_param> kEmitterWords[] = {
    {&zeto_rx_param::start_hz, "--start-hz", "HZ",
     "Start of the sweep; rounded to the nearest multiple\nof 11.71875 Hz"},
    {&zeto_rx_param::span_hz, "--span-hz", "HZ",
     "Width of the sweep; rounded toward 0 to a multiple\nof 11.71875 Hz; below 0 it falls"},
    {&zeto_rx_param::amp_start_milli, "--amp-start-milli", "N",
     "Amplitude at the start of a sweep, 1/1000 of full scale"},
    {&zeto_rx_param::amp_end_milli, "--amp-end-milli", "N", "Amplitude at the end of a sweep, 1/1000 of full scale"},
    {&zeto_rx_param::period_ms, "--period-ms", "MS",
     "Length of a sweep; only whole seconds count; below 1000\nthere is silence"},
    {&zeto_rx_param::enable, "--enable", "0|1", "1: chirp; anything else: silence"},
};

constexpr Word<zeto_tx_param> kDetectorWords[] = {
    {&zeto_tx_param::UltraHz_floor, "--UltraHz-floor", "HZ", "Lower frequency of the sweep; hardly matters"},
    {&zeto_tx_param::UltraHz_scope, "--UltraHz-scope", "HZ", "Width of the sweep"},
    {&zeto_tx_param::UltraHz_period, "--UltraHz-period", "N",
     "The result at a beat as high as the sweep is wide: with the\nsweep's length in ms, results are delays in ms"},
    {&zeto_tx_param::UltraHz_cand_dB, "--UltraHz-cand-dB", "DB", "Level that a spectrum's peak must exceed to count"},
    {&zeto_tx_param::UltraHz_cand_ratio, "--UltraHz-cand-ratio", "1/100",
     "Least share of the 18 peaks agreeing in frequency;\nabove 0 all must, above 100 all are rejected"},
    {&zeto_tx_param::UltraHz_spread_ratio, "--UltraHz-spread-ratio", "1/100",
     "Least share of the 18 peaks agreeing in level"},
    {&zeto_tx_param::UltraHz_mix_gain, "--UltraHz-mix-gain", "1/10", "Gain on the product of the two inputs"},
    {&zeto_tx_param::UltraHz_smooth, "--UltraHz-smooth", "1/100",
     "Weight of the previous result in the next one; above 0 each\nrejection drags the results after it down"},
    {&zeto_tx_param::UltraHz_spare1, "--UltraHz-spare1", "N", "Not used"},
    {&zeto_tx_param::UltraHz_spare2, "--UltraHz-spare2", "N", "Not used"},
    {&zeto_tx_param::UltraHz_delay_ms, "--UltraHz-delay-ms", "MS",
     "10 and more: hold the first input back by 200 ms, after\nas many ms as given without analysis; below 10: off"},
};

}  // namespace

void add_emitter_options(CLI::App& verb, zeto_rx_param& param) {
  add_words(verb, "Emitter parameters", kEmitterWords, param);
}

void add_detector_options(CLI::App& verb, zeto_tx_param& param) {
  add_words(verb, "Detector parameters", kDetectorWords, param);
}

}  // namespace zeto::tool
