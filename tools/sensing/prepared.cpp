#include "sensing/prepared.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "cli.hpp"
#include "error.hpp"
#include "path/fourier.hpp"
#include "path/target.hpp"
#include "text/numbers.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr int64_t kFrame = 9600;               // 200 ms, which an analysis covers
constexpr int64_t kLongestPeriod = 25;         // frames: the emitter's five seconds
constexpr int64_t kLooked = 10 * kSampleRate;  // of a recording, for latency and period
constexpr int64_t kMostLatency = kSampleRate;
constexpr double kSamplesPerMs = kSampleRate / 1000.0;
constexpr double kSameShare = 0.01;  // of the power: a reference that was recorded does not repeat bit for bit

struct Channels {
  std::vector<double> reference;
  std::vector<double> microphone;
};

Channels read(const std::string& path, int64_t frames) {
  AudioReader reader(path, 2);
  std::vector<double> values(static_cast<size_t>(2 * std::min(frames, reader.frames())));
  reader.read(values);
  Channels channels;
  for (size_t i = 0; i < values.size(); i += 2) {
    channels.reference.push_back(values[i]);
    channels.microphone.push_back(values[i + 1]);
  }
  return channels;
}

/// By the envelope of the correlation: negative frequencies are left out.
Latency latency_of(const Channels& channels, double spacing_cm) {
  const auto is_silent = [](const std::vector<double>& channel) {
    return std::all_of(channel.begin(), channel.end(), [](double value) { return value == 0.0; });
  };
  if (is_silent(channels.reference) || is_silent(channels.microphone)) return {0.0, 0.0};
  const size_t n = channels.reference.size();
  const Fourier fourier(std::bit_ceil(n + static_cast<size_t>(kMostLatency)));
  std::vector<std::complex<double>> x(fourier.len());
  for (size_t i = 0; i < n; ++i) x[i] = {channels.reference[i], channels.microphone[i]};
  fourier.transform(x);
  // One transform of both: its even part is the reference's, its odd part i times the microphone's.
  std::vector<std::complex<double>> across(fourier.len());
  for (size_t i = 1; i < fourier.len() / 2; ++i) {
    const auto mirrored = std::conj(x[fourier.len() - i]);
    const auto reference = 0.5 * (x[i] + mirrored);
    const auto microphone = std::complex<double>(0.0, -0.5) * (x[i] - mirrored);
    across[i] = microphone * std::conj(reference);
  }
  fourier.invert(across);
  // The greatest is looked for as it comes, which prefers the first of several periods; what is compared is per sample.
  std::vector<double> power(std::min(static_cast<size_t>(kMostLatency), n / 2));
  for (size_t i = 0; i < power.size(); ++i) power[i] = std::norm(across[i]);
  const auto at = static_cast<size_t>(std::max_element(power.begin(), power.end()) - power.begin());
  for (size_t i = 0; i < power.size(); ++i) power[i] /= static_cast<double>(n - i);
  const double peak = power[at];
  const auto middle = power.begin() + static_cast<std::ptrdiff_t>(power.size() / 2);
  std::nth_element(power.begin(), middle, power.end());
  const double way_ms = 1000.0 * spacing_cm / kCmPerSecond;
  const double ms = static_cast<double>(at) / kSamplesPerMs - way_ms;
  return {std::max(0.0, ms), peak > 0.0 ? 10.0 * std::log10(peak / *middle) : 0.0};
}

/// The reference's own, in whole frames; 0 if it has none.
int64_t period_of(const std::vector<double>& reference) {
  const auto n = static_cast<int64_t>(reference.size());
  for (int64_t period = kFrame; period <= std::min(kLongestPeriod * kFrame, n / 2); period += kFrame) {
    double changed = 0.0;
    double power = 0.0;
    for (size_t i = static_cast<size_t>(period); i < reference.size(); ++i) {
      const double change = reference[i] - reference[i - static_cast<size_t>(period)];
      changed += change * change;
      power += reference[i] * reference[i];
    }
    if (power > 0.0 && changed < kSameShare * power) return period;
  }
  return 0;
}

/// A period of the microphone, counted from the recording's start.
std::vector<double> mean_of(const std::string& path, int64_t from, int64_t to, int64_t period) {
  const int64_t frames = (to - from) / period;
  const int64_t end = from + frames * period;
  std::vector<double> mean(static_cast<size_t>(period));
  std::vector<double> piece(2 * kFrame);
  AudioReader reader(path, 2);
  for (int64_t first = 0; first < end; first += kFrame) {
    reader.read(piece);
    for (int64_t i = std::max(first, from); i < std::min(first + kFrame, end); ++i) {
      mean[static_cast<size_t>(i % period)] +=
          piece[static_cast<size_t>(2 * (i - first) + 1)] / static_cast<double>(frames);
    }
  }
  return mean;
}

}  // namespace

void add_host_steps(CLI::App& verb, HostSteps& steps) {
  verb.add_option("--align", steps.align,
                  "Hold the reference back by this latency, so that the\n"
                  "direct sound does not count; auto: find it by correlation\n"
                  "(less the direct sound's way), shown on standard error")
      ->type_name("MS|auto")
      ->group("Host");
  verb.add_option("--background", steps.background,
                  "Subtract the background from the microphone: the mean of its\n"
                  "frames between these seconds, with nobody there. A frame is\n"
                  "200 ms, or the reference's period if that is longer")
      ->type_name("FROM-TO")
      ->group("Host");
  verb.add_option("--spacing-cm", steps.spacing_cm, "Distance from loudspeaker to microphone")
      ->type_name("CM")
      ->check(CLI::Range(0.0, 100.0).description(""))
      ->capture_default_str()
      ->group("Host");
}

Latency find_latency(const std::string& path, double spacing_cm) {
  return latency_of(read(path, kLooked), spacing_cm);
}

void tell(const char* who, const std::string& file, const Latency& found) {
  complain(who, text("%s: latency %.2f ms, %.0f dB above other delays", file.c_str(), found.ms, found.sureness_db));
}

Prepared::Prepared(const std::string& path, int64_t frames, const HostSteps& steps) {
  const auto fail = [&](const std::string& why) { throw FileError("cannot use " + path + ": " + why); };
  if (steps.align && *steps.align != "auto") {
    char* end = nullptr;
    const double ms = std::strtod(steps.align->c_str(), &end);
    if (end == steps.align->c_str() || *end != '\0' || !(ms >= 0.0 && ms <= 1000.0)) {
      throw UserError("--align: must be auto or 0 to 1000 ms, not " + *steps.align);
    }
    ring_.resize(static_cast<size_t>(std::llround(ms * kSamplesPerMs)));
  } else if (steps.align) {
    found_ = find_latency(path, steps.spacing_cm);
    if (found_->sureness_db < kLeastSurenessDb) {
      fail(
          text("--align auto finds no loudspeaker in the microphone (%.0f dB over other delays)", found_->sureness_db));
    }
    ring_.resize(static_cast<size_t>(std::llround(found_->ms * kSamplesPerMs)));
  }
  if (steps.background) {
    const Seconds seconds = seconds_of("--background", *steps.background);
    const auto sample_of = [&](double s) {
      return std::llround(std::min(s * kSampleRate, static_cast<double>(frames)));
    };
    const int64_t from = sample_of(seconds.from);
    const int64_t to = sample_of(seconds.to);
    const int64_t period = period_of(read(path, kLooked).reference);
    if (period == 0) fail("--background needs a reference that repeats, every 5 s or sooner");
    if (to - from < period) {
      fail(text("--background: less than %.1f s of it lie between these seconds",
                static_cast<double>(period) / kSampleRate));
    }
    mean_ = mean_of(path, from, to, period);
  }
}

void Prepared::apply(std::span<double> values) {
  for (size_t i = 0; i < values.size(); i += 2, ++at_) {
    if (!ring_.empty()) std::swap(values[i], ring_[static_cast<size_t>(at_) % ring_.size()]);
    if (!mean_.empty()) values[i + 1] -= mean_[static_cast<size_t>(at_) % mean_.size()];
  }
}

}  // namespace zeto::tool
