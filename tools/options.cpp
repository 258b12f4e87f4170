#include "options.hpp"

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
    verb.add_option(word.option, record.*word.field, word.help)
        ->type_name(word.unit)
        ->group(group)
        ->capture_default_str();
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

}  // namespace

void add_emitter_options(CLI::App& verb, zeto_rx_param& param) {
  add_words(verb, "Emitter parameters", kEmitterWords, param);
}

}  // namespace zeto::tool
