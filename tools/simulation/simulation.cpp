#include "simulation/simulation.hpp"

#include <algorithm>
#include <cmath>

#include "audio/audio_file.hpp"
#include "parameters/parameters.hpp"
#include "sensing/kit.hpp"
#include "sensing/sensing.hpp"
#include "sensing/sweep_table.hpp"
#include "sensing/wrappers.hpp"

namespace zeto::tool {
namespace {

constexpr int64_t kTruthStep = kSampleRate / 100;

std::vector<int16_t> play(const zeto_set& set, int64_t samples) {
  std::vector<int16_t> played(static_cast<size_t>(samples));
  if (has_sweeps(set)) {
    SweepTable(sweep_of(set)).play(HostFormat::kPcm16, std::span(played));
  } else {
    Downlink(HostFormat::kPcm16, set.chirp).process(std::span(played));
  }
  return played;
}

void write(const std::string& wav, std::span<const int16_t> reference, std::span<const int16_t> microphone) {
  AudioWriter writer(wav, HostFormat::kPcm16, 2);
  std::vector<int16_t> both;
  for (size_t i = 0; i < reference.size(); ++i) both.insert(both.end(), {reference[i], microphone[i]});
  writer.write(std::span<const int16_t>(both));
  writer.commit();
}

void listen_by_kit(const zeto_set& set, double spacing_cm, std::span<const int16_t> microphone,
                   Simulation& simulation) {
  std::vector<float> samples(microphone.size());
  std::transform(microphone.begin(), microphone.end(), samples.begin(),
                 [](int16_t x) { return static_cast<float>(x) * 0x1p-15F; });
  Kit kit(set, spacing_cm);
  std::vector<Reading> readings;
  kit.take(samples, readings);
  for (const Reading& reading : readings) {
    std::optional<double> cm;
    if (reading.state == ZETO_HOST_TARGET) cm = static_cast<double>(reading.distance_cm);
    simulation.shown.push_back({end_s(reading), state_name(reading), cause_name(reading), std::nullopt, cm});
  }
  simulation.learned = kit.findings();
}

/// Half of the sound's way in the delay that a measurement means; nothing if it means none.
std::optional<double> cm_of(const zeto_set& set, int32_t measurement) {
  const int32_t whole_s = set.chirp.period_ms / 1000;
  const double sweep_s = has_sweeps(set) ? 1.0 : whole_s;
  const double beat_hz = static_cast<double>(measurement) * set.hear.UltraHz_scope / set.hear.UltraHz_period;
  const double cm = 0.5 * kCmPerSecond * beat_hz * sweep_s / std::fabs(static_cast<double>(set.chirp.span_hz));
  return std::isfinite(cm) ? std::optional(cm) : std::nullopt;
}

void listen_by_wrapper(const zeto_set& set, std::span<const int16_t> reference, std::span<const int16_t> microphone,
                       Simulation& simulation) {
  size_t at = 0;
  const Capture capture = [&](std::span<double> values) {
    for (size_t i = 0; i < values.size(); i += 2, ++at) {
      values[i] = reference[at] * 0x1p-15;
      values[i + 1] = microphone[at] * 0x1p-15;
    }
  };
  SensingOptions sensing;
  sensing.param = set.hear;
  for (const Analysis& analysis : sense(sensing, static_cast<int64_t>(reference.size()), capture, nullptr)) {
    const bool accepted = analysis.accepted();
    simulation.shown.push_back({analysis.end_s, accepted ? "accepted" : "rejected", "", std::nullopt,
                                accepted ? cm_of(set, analysis.value) : std::nullopt});
  }
}

/// Whether there was a target throughout the second before; nothing if it came or went.
std::optional<bool> was_present(const Capturing& capturing, int64_t sample) {
  const bool now = capturing.true_cm(sample).has_value();
  for (int64_t at = sample - kSampleRate; at < sample; at += kTruthStep) {
    if (at >= 0 && capturing.true_cm(at).has_value() != now) return std::nullopt;
  }
  return now;
}

void count(const Shown& shown, bool present, Score& score) {
  if (shown.state == "disturbed") ++score.disturbed;
  const bool has_distance = shown.shown_cm.has_value();
  if (!present) {
    ++score.absent;
    if (has_distance) ++score.wrong;
    return;
  }
  ++score.present;
  if (!has_distance) return;
  ++score.shown;
  if (std::fabs(*shown.shown_cm - *shown.true_cm) <= kRightCm) ++score.right;
}

}  // namespace

Simulation simulate(const zeto_set& set, const Scene& scene, double seconds, const std::string* wav) {
  Capturing capturing(scene, std::llround(seconds * kSampleRate));
  const std::vector<int16_t> played = play(set, capturing.played());
  const std::vector<int16_t> microphone = capturing.microphone(played);
  const auto reference = std::span(played).first(microphone.size());

  Simulation simulation;
  if (is_for_kit(set)) {
    listen_by_kit(set, scene.spacing_cm, microphone, simulation);
  } else {
    listen_by_wrapper(set, reference, microphone, simulation);
  }
  for (Shown& shown : simulation.shown) {
    const int64_t sample = std::llround(shown.time_s * kSampleRate) - 1;
    shown.true_cm = capturing.true_cm(sample);
    const auto present = was_present(capturing, sample);
    if (shown.state != "learning" && present) count(shown, *present, simulation.score);
  }
  const auto samples = static_cast<int64_t>(microphone.size());
  for (int64_t at = 0; scene.target && at < samples; at += kTruthStep) {
    simulation.truth.push_back(capturing.true_cm(at));
  }
  simulation.clipped = capturing.clipped();
  if (wav != nullptr) write(*wav, reference, microphone);
  return simulation;
}

}  // namespace zeto::tool
