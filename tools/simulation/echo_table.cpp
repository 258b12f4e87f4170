#include "simulation/echo_table.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "audio/audio_file.hpp"
#include "audio/host_sample.hpp"
#include "error.hpp"
#include "parameters/unit.hpp"
#include "path/echoes.hpp"
#include "sensing/sensing.hpp"
#include "sensing/wrappers.hpp"
#include "text/json.hpp"
#include "text/numbers.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kMaxSimulated = 3600.0;  // seconds; what is played is kept in memory
constexpr double kMaxGain = 1e6;
constexpr double kMaxSnr = 200.0;
constexpr double kSamplesPerMs = kSampleRate / 1000.0;

void expect(bool met, const std::string& what) {
  if (!met) throw UserError(what);
}

int64_t in_samples(double ms) {
  return std::llround(ms * kSamplesPerMs);
}

void check_delay(const std::string& option, double ms, double seconds) {
  expect(ms >= 0.0 && in_samples(std::min(ms, 1e9)) < std::llround(seconds * kSampleRate),
         option + ": a delay must be at least 0 and shorter than --seconds");
}

void check_gain(const std::string& option, double gain) {
  expect(std::fabs(gain) <= kMaxGain, option + ": a gain must be a number between -1000000 and 1000000");
}

void check(const EchoOptions& options) {
  expect(!options.delays_ms.empty(),
         "--delay-ms is required, or a path (--phone, --target-cm ...), or a set of sweeps (--set hand)");
  expect(!has_sweeps(options.set), "--delay-ms: a set of sweeps takes --target-cm");
  check_seconds(options, kMaxSimulated, shortest_sensed(options.set.hear));
  check_gain("--gain", options.gain);
  expect(!options.wav || options.delays_ms.size() == 1, "--wav: takes one --delay-ms only");
  for (const double ms : options.delays_ms) check_delay("--delay-ms", ms, options.seconds);
}

/// What the downlink wrapper returns from its start.
std::vector<int16_t> play(const zeto_rx_param& emitter, double seconds) {
  Downlink downlink(HostFormat::kPcm16, emitter);
  std::vector<int16_t> samples(static_cast<size_t>(std::llround(seconds * kSampleRate)));
  downlink.process(std::span(samples));
  return samples;
}

double noise_rms(const EchoOptions& options, std::span<const int16_t> played, const Echo& direct) {
  if (!options.snr_db) return 0.0;
  const double echo = power(played, direct);
  expect(echo > 0.0, "--snr-db: the echo is silent, there is nothing to compare the noise with");
  return std::sqrt(echo / std::pow(10.0, *options.snr_db / 10.0));
}

/// What to expect for a true delay, in the unit of UltraHz_period. Nothing for a silent emitter.
std::optional<double> expected(const EchoOptions& options, double delay_ms) {
  const double sweep_ms = 1000.0 * sweep_s(options.set);
  if (sweep_ms <= 0.0) return std::nullopt;
  return folded_ms(options.set, delay_ms) / sweep_ms * options.set.hear.UltraHz_period;
}

struct Outcome {
  double true_ms = 0.0;
  std::optional<double> expected;
  std::optional<double> measured;  ///< median of the accepted; nothing if there are none
  size_t accepted = 0;
  size_t analyses = 0;
};

Outcome summary(const EchoOptions& options, double true_ms, const std::vector<Analysis>& analyses) {
  const Summary sensed = summary_of_accepted(analyses);
  Outcome outcome{true_ms, expected(options, true_ms), std::nullopt, sensed.accepted, analyses.size()};
  if (sensed.accepted > 0) outcome.measured = sensed.median;
  return outcome;
}

Outcome simulate(const EchoOptions& options, std::span<const int16_t> played, double delay_ms,
                 std::vector<Echo> echoes) {
  const Echo direct{in_samples(delay_ms), options.gain};
  echoes.insert(echoes.begin(), direct);
  EchoPath path(played, echoes, noise_rms(options, played, direct), static_cast<uint64_t>(options.seed));
  std::optional<AudioWriter> wav;
  if (options.wav) wav.emplace(*options.wav, HostFormat::kPcm16, 2);

  std::vector<int16_t> recorded;
  Progress progress;
  int64_t done = 0;
  const Capture capture = [&](std::span<double> values) {
    recorded.resize(values.size());
    path.read(recorded);
    std::transform(recorded.begin(), recorded.end(), values.begin(), [](int16_t sample) { return sample * 0x1p-15; });
    if (wav) wav->write(std::span<const int16_t>(recorded));
    done += static_cast<int64_t>(recorded.size() / 2);
    progress.show_share(done, static_cast<int64_t>(played.size()));
  };
  SensingOptions sensing;
  sensing.param = options.set.hear;
  const auto analyses = sense(sensing, static_cast<int64_t>(played.size()), capture, nullptr);
  progress.clear();
  if (wav) wav->commit();
  const double true_ms = static_cast<double>(direct.delay) / kSamplesPerMs;
  if (path.clipped() > 0) {
    complain("zeto simulate",
             text("%g ms: %lld samples of the microphone clipped", true_ms, static_cast<long long>(path.clipped())));
  }
  return summary(options, true_ms, analyses);
}

/// Digits enough for a sample, and for halves between whole measurements, but none for nothing.
std::string cell(std::optional<double> value, const char* without) {
  return value ? text("%.7g", *value) : without;
}

void print(const Outcome& row, bool csv) {
  const char* without = csv ? "" : "-";
  const std::optional<double> error =
      row.expected && row.measured ? std::optional(*row.measured - *row.expected) : std::nullopt;
  std::printf(csv ? "%s,%s,%s,%s,%zu,%zu\n" : "%9s %9s %9s %9s   %zu of %zu\n", cell(row.true_ms, without).c_str(),
              cell(row.expected, without).c_str(), cell(row.measured, without).c_str(), cell(error, without).c_str(),
              row.accepted, row.analyses);
}

Json json_of(const Outcome& row) {
  const auto number = [](std::optional<double> value) { return value ? Json(*value) : Json(nullptr); };
  return {{"true_ms", row.true_ms},
          {"expected", number(row.expected)},
          {"measured", number(row.measured)},
          {"accepted", row.accepted},
          {"analyses", row.analyses}};
}

}  // namespace

void check_seconds(const EchoOptions& options, double most, int64_t needed) {
  expect(options.seconds > 0.0 && options.seconds <= most, text("--seconds: must be above 0 and at most %g", most));
  expect(std::llround(options.seconds * kSampleRate) >= needed,
         "--seconds: too short, the first analysis takes " + std::to_string(needed) + " samples");
  expect(!options.snr_db || std::fabs(*options.snr_db) <= kMaxSnr, "--snr-db: must be a number between -200 and 200");
}

std::vector<Way> further_echoes(const EchoOptions& options) {
  std::vector<Way> echoes;
  for (const auto& text : options.echoes) {
    const auto echo = numbers_of("--echo", text, 2, 2, "a delay in ms and a gain, as in 120,0.2");
    check_delay("--echo", echo[0], options.seconds);
    check_gain("--echo", echo[1]);
    echoes.push_back({echo[0], echo[1]});
  }
  return echoes;
}

void simulate_echoes(const EchoOptions& options) {
  check(options);
  std::vector<Echo> echoes;
  for (const Way& way : further_echoes(options)) echoes.push_back({in_samples(way.delay_ms), way.gain});
  const std::vector<int16_t> played = play(options.set.chirp, options.seconds);
  std::vector<Outcome> table;
  for (const double delay_ms : options.delays_ms) table.push_back(simulate(options, played, delay_ms, echoes));
  if (options.wav == "-") return;  // the recording has taken standard output
  if (options.json) {
    Json rows = Json::array();
    for (const Outcome& row : table) rows.push_back(json_of(row));
    std::puts(text_of({{"delays", rows}}).c_str());
    return;
  }
  std::puts(options.csv ? "true_ms,expected,measured,error,accepted,analyses"
                        : "  true_ms  expected  measured     error   accepted");
  for (const Outcome& row : table) print(row, options.csv);
}

}  // namespace zeto::tool
