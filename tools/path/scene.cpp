#include "path/scene.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "audio/host_sample.hpp"
#include "path/filters.hpp"
#include "path/random.hpp"
#include "path/sinc.hpp"

namespace zeto::tool {
namespace {

constexpr double kSamplesPerMs = kSampleRate / 1000.0;
constexpr double kMsPerCm = 1000.0 / kCmPerSecond;

double factor_of(double db) {
  return std::pow(10.0, db / 20.0);
}

const Sinc& sinc() {
  static const Sinc once;
  return once;
}

/// All ways at once.
Filter filter_of(const std::vector<Way>& ways) {
  const auto [least, greatest] =
      std::minmax_element(ways.begin(), ways.end(), [](auto& a, auto& b) { return a.delay_ms < b.delay_ms; });
  const auto whole = [](double ms) { return static_cast<int64_t>(std::floor(ms * kSamplesPerMs)); };
  const int64_t first = whole(least->delay_ms) - (Sinc::kTaps / 2 - 1);
  const int64_t last = whole(greatest->delay_ms) + Sinc::kTaps / 2;
  Filter filter{std::vector<double>(static_cast<size_t>(last - first + 1)), -first};
  for (const Way& way : ways) {
    const int64_t before = whole(way.delay_ms);
    const Sinc::Taps taps = sinc().taps(way.delay_ms * kSamplesPerMs - static_cast<double>(before));
    for (int i = 0; i < Sinc::kTaps; ++i) {
      const auto at = static_cast<size_t>(before - (Sinc::kTaps / 2 - 1) + i - first);
      filter.taps[at] += way.gain * static_cast<double>(taps[static_cast<size_t>(i)]);
    }
  }
  return filter;
}

double mean_power(std::span<const float> x) {
  double sum = 0.0;
  for (const float value : x) sum += static_cast<double>(value) * static_cast<double>(value);
  return sum / static_cast<double>(x.size());
}

std::vector<float> white(size_t n, double rms, Random random) {
  std::vector<float> noise(n);
  for (float& value : noise) value = static_cast<float>(rms * random.normal());
  return noise;
}

void add(std::span<const float> what, std::span<float> to) {
  for (size_t i = 0; i < to.size(); ++i) to[i] += what[i];
}

}  // namespace

Capturing::Capturing(Scene scene, int64_t samples) : scene_(std::move(scene)), samples_(samples) {
  std::sort(scene_.cuts.begin(), scene_.cuts.end(), [](auto& a, auto& b) { return a.at_s < b.at_s; });
  heard_ = samples_;
  for (const Cut& cut : scene_.cuts) heard_ += std::max<int64_t>(0, std::llround(cut.ms * kSamplesPerMs));
  if (scene_.target) target_.emplace(*scene_.target, scene_.seed);
}

int64_t Capturing::played() const {
  return std::max(samples_, static_cast<int64_t>(std::ceil(time_of(heard_))) + Sinc::kTaps);
}

/// In the time of the playback, samples.
double Capturing::time_of(int64_t heard) const {
  const auto at = static_cast<double>(heard);
  return at + 1e-6 * scene_.drift.ppm * std::max(0.0, at - scene_.drift.from_s * kSampleRate);
}

int64_t Capturing::heard_at(int64_t sample) const {
  int64_t heard = sample;
  for (const Cut& cut : scene_.cuts) {
    if (sample >= std::llround(cut.at_s * kSampleRate)) heard += std::llround(cut.ms * kSamplesPerMs);
  }
  return std::max<int64_t>(heard, 0);
}

std::optional<double> Capturing::true_cm(int64_t sample) const {
  const double at_s = time_of(heard_at(sample)) / kSampleRate;
  if (!target_ || !target_->is_present(at_s)) return std::nullopt;
  return target_->distance_cm(at_s);
}

/// Of the direct sound, of what case and room reflect, and of further echoes, with the latency.
std::vector<Way> Capturing::fixed_ways() const {
  const double direct_ms = scene_.spacing_cm * kMsPerCm;
  std::vector<Way> ways{{direct_ms, scene_.direct}};
  if (scene_.room) {
    Random random(*scene_.room, Purpose::kRoom);
    const auto reflect = [&](double behind_ms, double under_db) {
      ways.push_back({direct_ms + behind_ms, random.sign() * scene_.direct * factor_of(-under_db)});
    };
    for (int i = 0; i < 3; ++i) {
      const double behind_ms = random.between(0.05, 0.6);
      reflect(behind_ms, random.between(8.0, 18.0));
    }
    for (int i = 0; i < 25; ++i) {
      const double behind_ms = random.between(1.5, 40.0);
      reflect(behind_ms, 22.0 + 25.0 * behind_ms / 40.0 + random.between(0.0, 8.0));
    }
  }
  ways.insert(ways.end(), scene_.echoes.begin(), scene_.echoes.end());
  for (Way& way : ways) way.delay_ms += scene_.latency_ms;
  return ways;
}

void Capturing::add_moving(std::span<const float> sound, std::span<float> heard) const {
  for (size_t i = 0; i < heard.size(); ++i) {
    const double at = time_of(static_cast<int64_t>(i));
    const double presence = target_->presence(at / kSampleRate);
    if (presence == 0.0) continue;
    const double cm = target_->distance_cm(at / kSampleRate);
    const double gain = presence * scene_.direct * factor_of(target_->level_db(cm));
    const double delay_ms = scene_.latency_ms + way_cm(cm, scene_.spacing_cm) * kMsPerCm;
    heard[i] += static_cast<float>(gain * sinc().at(sound, at - delay_ms * kSamplesPerMs));
  }
}

void Capturing::add_foreign(std::span<const float> sound, std::span<float> heard) const {
  Random random(scene_.seed, Purpose::kForeign);
  const double gain = scene_.direct * factor_of(scene_.foreign->level_db);
  const double delay_ms = random.between(0.0, 200.0);
  const double rate = 1.0 + 1e-6 * random.between(-30.0, 30.0);
  std::vector<Way> ways{{delay_ms, gain}};
  for (int i = 0; i < 6; ++i) ways.push_back({delay_ms + random.between(0.0, 8.0), 0.2 * gain});
  const auto arriving = filtered(sound, filter_of(ways));
  const auto from = static_cast<size_t>(std::llround(scene_.foreign->from_s * kSampleRate));
  for (size_t i = from; i < heard.size(); ++i) {
    heard[i] += static_cast<float>(sinc().at(arriving, rate * time_of(static_cast<int64_t>(i))));
  }
}

void Capturing::add_noise(std::span<float> heard, double direct_power) const {
  double white_power = 0.0;
  if (scene_.white_dbfs) white_power += std::pow(10.0, *scene_.white_dbfs / 10.0);
  if (scene_.snr_db) white_power += direct_power / std::pow(10.0, *scene_.snr_db / 10.0);
  if (white_power > 0.0) {
    add(white(heard.size(), std::sqrt(white_power), {scene_.seed, Purpose::kWhiteNoise}), heard);
  }
  if (scene_.pink_dbfs) {
    const auto even = white(heard.size(), factor_of(*scene_.pink_dbfs), {scene_.seed, Purpose::kPinkNoise});
    add(filtered(even, pinking()), heard);
  }
  for (size_t i = 0; i < heard.size() && !scene_.noise.empty(); ++i) {
    heard[i] += static_cast<float>(scene_.noise_gain * static_cast<double>(scene_.noise[i % scene_.noise.size()]));
  }
}

std::vector<int16_t> Capturing::microphone(std::span<const int16_t> played) {
  constexpr double kFullScale = 0x1p15;
  std::vector<float> sound(played.size());
  std::transform(played.begin(), played.end(), sound.begin(),
                 [](int16_t x) { return static_cast<float>(x) * 0x1p-15F; });
  sound = filtered(sound, scene_.response);
  const double direct_power = scene_.direct * scene_.direct * mean_power(sound);

  std::vector<float> heard = filtered(sound, filter_of(fixed_ways()));
  if (scene_.drift.ppm != 0.0) {
    const std::vector<float> arriving = std::exchange(heard, std::vector<float>(static_cast<size_t>(heard_)));
    for (size_t i = 0; i < heard.size(); ++i) {
      heard[i] = static_cast<float>(sinc().at(arriving, time_of(static_cast<int64_t>(i))));
    }
  }
  heard.resize(static_cast<size_t>(heard_));
  if (target_) add_moving(sound, heard);
  if (scene_.foreign) add_foreign(sound, heard);
  add_noise(heard, direct_power);

  std::vector<int16_t> captured(static_cast<size_t>(samples_));
  for (size_t i = 0; i < captured.size(); ++i) {
    const double value = static_cast<double>(heard[static_cast<size_t>(heard_at(static_cast<int64_t>(i)))]);
    if (std::fabs(value) > 1.0) ++clipped_;
    captured[i] = host_sample<int16_t>(value, kFullScale);
  }
  return captured;
}

}  // namespace zeto::tool
