// zeto simulate: chirp, acoustic path and measurement, true against measured.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include "audio_file.hpp"
#include "error.hpp"
#include "host_sample.hpp"
#include "options.hpp"
#include "path.hpp"
#include "sensing.hpp"
#include "text.hpp"
#include "verbs.hpp"
#include "wrappers.hpp"

namespace zeto::tool {
namespace {

struct SimulateOptions {
  std::vector<double> delays_ms;
  double gain = 0.5;
  std::optional<double> snr_db;
  std::vector<std::string> echoes;
  double seconds = 10.0;
  int64_t seed = 1;
  std::optional<std::string> wav;
  bool csv = false;
  zeto_rx_param emitter = kEmitterDefaults;
  zeto_tx_param detector = kDetectorDefaults;
};

constexpr double kMaxSimulated = 3600.0;  // seconds; what is played is kept in memory
constexpr double kMaxGain = 1e6;
constexpr double kMaxSnr = 200.0;
constexpr double kSamplesPerMs = kSampleRate / 1000.0;

void expect(bool met, const std::string& what) {
  if (!met) throw UserError(what);
}

/// The nearest whole sample, for delays that leave something to hear.
int64_t delay_in_samples(const std::string& option, double ms, double seconds) {
  expect(ms >= 0.0 && std::llround(std::min(ms, 1e9) * kSamplesPerMs) < std::llround(seconds * kSampleRate),
         option + ": a delay must be at least 0 and shorter than --seconds");
  return std::llround(ms * kSamplesPerMs);
}

double checked_gain(const std::string& option, double gain) {
  expect(std::fabs(gain) <= kMaxGain, option + ": a gain must be a number between -1000000 and 1000000");
  return gain;
}

/// "D,G"
Echo parse_echo(const std::string& text, double seconds) {
  double delay_ms = 0.0;
  double gain = 0.0;
  int end = 0;
  const int got = std::sscanf(text.c_str(), "%lf,%lf%n", &delay_ms, &gain, &end);
  expect(got == 2 && text.c_str()[end] == '\0', "--echo: " + text + " is not a delay in ms and a gain, as in 120,0.2");
  return {delay_in_samples("--echo", delay_ms, seconds), checked_gain("--echo", gain)};
}

std::vector<Echo> checked_echoes(const SimulateOptions& options) {
  expect(options.seconds > 0.0 && options.seconds <= kMaxSimulated, "--seconds: must be above 0 and at most 3600");
  const int64_t needed = shortest_sensed(options.detector);
  expect(std::llround(options.seconds * kSampleRate) >= needed,
         "--seconds: too short, the first analysis takes " + std::to_string(needed) + " samples");
  checked_gain("--gain", options.gain);
  expect(!options.snr_db || std::fabs(*options.snr_db) <= kMaxSnr, "--snr-db: must be a number between -200 and 200");
  expect(!options.wav || options.delays_ms.size() == 1, "--wav: takes one --delay-ms only");
  for (const double ms : options.delays_ms) delay_in_samples("--delay-ms", ms, options.seconds);
  std::vector<Echo> echoes;
  for (const auto& text : options.echoes) echoes.push_back(parse_echo(text, options.seconds));
  return echoes;
}

/// What the downlink wrapper returns from its start.
std::vector<int16_t> play(const zeto_rx_param& emitter, double seconds) {
  Downlink downlink(HostFormat::kPcm16, emitter);
  std::vector<int16_t> samples(static_cast<size_t>(std::llround(seconds * kSampleRate)));
  downlink.process(std::span(samples));
  return samples;
}

double noise_rms(const SimulateOptions& options, std::span<const int16_t> played, const Echo& direct) {
  if (!options.snr_db) return 0.0;
  const double echo = power(played, direct);
  expect(echo > 0.0, "--snr-db: the echo is silent, there is nothing to compare the noise with");
  return std::sqrt(echo / std::pow(10.0, *options.snr_db / 10.0));
}

/// What to expect for a true delay, in the unit of UltraHz_period. Only the position within a sweep counts, after the
/// detector's delay line where that is on; and an echo more than half a sweep late cannot be told from one that comes
/// as much before the next sweep. Nothing for a silent emitter.
std::optional<double> expected(const SimulateOptions& options, double delay_ms) {
  constexpr double kDelayLineMs = 200.0;
  const int32_t sweep_s = options.emitter.period_ms / 1000;
  const double sweep_ms = 1000.0 * sweep_s;
  if (sweep_ms <= 0.0 || options.emitter.enable != 1) return std::nullopt;
  if (options.detector.UltraHz_delay_ms >= 10) delay_ms -= kDelayLineMs;
  const double distance = std::fabs(std::remainder(delay_ms, sweep_ms));
  return distance / sweep_ms * options.detector.UltraHz_period;
}

struct Outcome {
  double true_ms = 0.0;
  std::optional<double> expected;
  std::optional<double> measured;  ///< median of the accepted; nothing where there are none
  size_t accepted = 0;
  size_t analyses = 0;
};

Outcome summary(const SimulateOptions& options, double true_ms, const std::vector<Analysis>& analyses) {
  const Summary sensed = summary_of_accepted(analyses);
  Outcome outcome{true_ms, expected(options, true_ms), std::nullopt, sensed.accepted, analyses.size()};
  if (sensed.accepted > 0) outcome.measured = sensed.median;
  return outcome;
}

Outcome simulate(const SimulateOptions& options, std::span<const int16_t> played, double delay_ms,
                 std::vector<Echo> echoes) {
  const Echo direct{std::llround(delay_ms * kSamplesPerMs), options.gain};
  echoes.insert(echoes.begin(), direct);
  Path path(played, echoes, noise_rms(options, played, direct), static_cast<uint64_t>(options.seed));
  std::optional<AudioWriter> wav;
  if (options.wav) wav.emplace(*options.wav, HostFormat::kPcm16, 2);

  std::vector<int16_t> recorded;
  const Capture capture = [&](std::span<double> values) {
    recorded.resize(values.size());
    path.read(recorded);
    std::transform(recorded.begin(), recorded.end(), values.begin(), [](int16_t sample) { return sample * 0x1p-15; });
    if (wav) wav->write(std::span<const int16_t>(recorded));
  };
  SensingOptions sensing;
  sensing.param = options.detector;
  const auto analyses = sense(sensing, static_cast<int64_t>(played.size()), capture, nullptr);
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

void simulate(const SimulateOptions& options) {
  const std::vector<Echo> echoes = checked_echoes(options);
  const std::vector<int16_t> played = play(options.emitter, options.seconds);
  std::vector<Outcome> table;
  for (const double delay_ms : options.delays_ms) table.push_back(simulate(options, played, delay_ms, echoes));
  std::puts(options.csv ? "true_ms,expected,measured,error,accepted,analyses"
                        : "  true_ms  expected  measured     error   accepted");
  for (const Outcome& row : table) print(row, options.csv);
}

}  // namespace

void add_simulate(CLI::App& app) {
  auto* verb = app.add_subcommand("simulate", "Measure a simulated echo: emitter, acoustic path, detector");
  const auto options = std::make_shared<SimulateOptions>();
  verb->add_option("-d,--delay-ms", options->delays_ms,
                   "The echo's delay, rounded to a sample; several give a\n"
                   "table: 5,20,50 or 5 20 50")
      ->type_name("D")
      ->delimiter(',')
      ->required();
  verb->add_option("-g,--gain", options->gain, "The echo's gain, linear")->type_name("G")->capture_default_str();
  verb->add_option("--snr-db", options->snr_db,
                   "Adds white noise: the echo's mean power over the noise's,\n"
                   "0 to 24 kHz; below 0 the noise is stronger")
      ->type_name("DB");
  verb->add_option("-e,--echo", options->echoes,
                   "A further echo: its own delay in ms and gain; as many\n"
                   "as wished")
      ->type_name("D,G");
  verb->add_option("-s,--seconds", options->seconds, "Length of the simulation, at most 3600")
      ->type_name("S")
      ->capture_default_str();
  verb->add_option("--seed", options->seed, "Which noise; the same seed gives the same")
      ->type_name("N")
      ->check(CLI::Range(int64_t{0}, INT64_MAX).description(""))
      ->capture_default_str();
  verb->add_option("-w,--wav", options->wav, "WAV file to write: the recording, for zeto sense")->type_name("FILE");
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  add_parameter_options(*verb, options->emitter, options->detector);
  verb->footer(
      "The chirp comes from the downlink wrapper, takes its delays and gains, meets the\n"
      "noise, is rounded to 16 bits and goes into the uplink wrapper as the microphone,\n"
      "with the chirp itself as the reference. One line per delay:\n"
      "  true_ms   the echo's delay\n"
      "  expected  the same, folded at half a sweep: 600 ms reads 400 with the defaults\n"
      "  measured  median of the accepted analyses; each is cut to a whole number\n"
      "  error     measured less expected; one step of the detector is 3.91 ms with the\n"
      "            defaults\n"
      "  accepted  accepted analyses of all\n"
      "expected and measured are in the unit of --UltraHz-period, and comparable where\n"
      "--UltraHz-scope is the width of the sweep. What there is not is a dash (nothing\n"
      "with --csv).\n\n"
      "Examples:\n"
      "  zeto simulate --delay-ms 50\n"
      "  zeto simulate --delay-ms 5,20,50,100,200,300,400,495,600 --snr-db -10\n"
      "  zeto simulate --delay-ms 50 --echo 120,0.2 --echo 300,0.1 --wav capture.wav\n"
      "  zeto simulate --delay-ms 700 --period-ms 2000 --UltraHz-period 2000");
  verb->callback([options] { simulate(*options); });
}

}  // namespace zeto::tool
