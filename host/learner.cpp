#include "host/learner.hpp"

#include <math.h>
#include <string.h>

namespace zeto::host {
namespace {

// The calendar of learning, in blocks.
constexpr int kSettled = 2 * kFrameBlocks;
constexpr int kThird = 3;            // frames
constexpr int kFrames = 3 * kThird;  // that are added up
constexpr int kProbed = kSettled + kFrameBlocks;
constexpr int kDelaysABlock = 12;
constexpr int kSearched = kProbed + kBandFrame / kDelaysABlock;
constexpr int kAdded = kSettled + kFrames * kFrameBlocks;
static_assert(kSearched == kSettled + 2 * kThird * kFrameBlocks);

constexpr double kLeastLead = 1.0 * kSamplesPerMs;
constexpr float kLeastSurenessDb = 11.0f;  // the greatest of so many delays of noise alone stands out by 8.5 dB
constexpr float kMostDriftPpm = 0.5f;
constexpr double kChance = 5.0;       // times what noise makes of no drift
constexpr float kLeastFar = 8.0f;     // times what noise leaves in the mean: less tells nothing
constexpr float kMostChange = 2.4f;   // times what noise makes of no change; a burst that fills a third makes 1.8
constexpr float kLeastNoise = 12.5f;  // what rounding to 16 bits leaves in the band of a frame

// Around 0 Hz, where the direct sound and the case are when the reference is as late as the direct sound, up to 100 Hz
// (16 cm of distance). Running means are taken twice over 2.5 ms, and the whole twice: 0.06 % is left at 60 Hz.
constexpr int kRadius = 7;  // samples of the band
constexpr int kPasses = 2;

// Of the steps at the end: the first for what is far, and how many a sweep has.
constexpr int kFirstFar = 3;
constexpr int kFarSteps = 2 + 2 * kPasses;

// Samples near both ends of a sweep are not used: echoes of the sweep before still arrive, and running means are
// lopsided. Next to these, weights rise.
constexpr int kUnused = 2 * kRadius;
constexpr int kTaper = 4 * kRadius;

float weight_at(int i, int n) noexcept {
  const int to_end = (i < n - 1 - i ? i : n - 1 - i) - kUnused;
  if (to_end < 0) return 0.0f;
  return to_end < kTaper ? static_cast<float>(to_end) * (1.0f / kTaper) : 1.0f;
}

// Of up to kRadius samples on both sides.
void running_mean(const float* x, int n, float* mean) noexcept {
  float sums[kBandFrame + 1];
  sums[0] = 0.0f;
  for (int i = 0; i < n; ++i) sums[i + 1] = sums[i] + x[i];
  for (int i = 0; i < n; ++i) {
    const int from = i < kRadius ? 0 : i - kRadius;
    const int to = i + kRadius + 1 < n ? i + kRadius + 1 : n;
    mean[i] = (sums[to] - sums[from]) / static_cast<float>(to - from);
  }
}

void remove_slow(float* x, int n) noexcept {
  float once[kBandFrame];
  float twice[kBandFrame];
  running_mean(x, n, once);
  running_mean(once, n, twice);
  for (int i = 0; i < n; ++i) x[i] -= twice[i];
}

void scale(Band& band, float factor) noexcept {
  for (int i = 0; i < kBandFrame; ++i) {
    band.re[i] *= factor;
    band.im[i] *= factor;
  }
}

float inverse_root(float energy) noexcept {
  return energy > 0.0f ? 1.0f / sqrtf(energy) : 0.0f;
}

// How the three thirds of the time differ: a block of real or of imaginary parts, so that it is added up in lanes.
void compare(const float* first, const float* two_thirds, const float* sum, float* a, float* b, float* c) noexcept {
  for (int i = 0; i < kBandBlock; ++i) {
    const float second = two_thirds[i] - first[i];
    const float third = sum[i] - two_thirds[i];
    a[i] = second - first[i];
    b[i] = third - second;
    c[i] = third - first[i];
  }
}

}  // namespace

void Learner::init(const Reference& reference, double way_samples) noexcept {
  reference_ = &reference;
  way_ = way_samples;
  restart();
}

void Learner::restart() noexcept {
  block_ = 0;
  findings_ = {};
  sum_ = {};
  memset(learned_.mean, 0, sizeof learned_.mean);
  noise_ = 0.0f;
  turn_ = {};
  best_ = 0.0f;
  all_ = 0.0f;
  delay_ = 0;
  late_ = 0;
  explained_ = 0.0f;
}

Learner::Outcome Learner::take(const float* samples, BandRun band) noexcept {
  const int block = block_++;
  if (block < kAdded) {
    if (block == kSettled + kThird * kFrameBlocks) third_ = sum_;
    if (block == kSearched) two_thirds_ = sum_;
    if (block >= kSettled) add(samples, band, block % kFrameBlocks);
    const int at = block % kFrameBlocks * kBandBlock;
    last_.set(at, band, kBandBlock);
    if (block >= kSettled && block < kProbed) {
      probe_.set(at, band, kBandBlock);
      probe_.set(kBandFrame + at, band, kBandBlock);
    } else if (block >= kProbed && block < kSearched) {
      search(block - kProbed);
    } else if (block >= kSearched) {
      refine(block - kSearched);
    }
    return Outcome::kBusy;
  }
  return finish(block - kAdded);
}

// What is left to compute, a step a block.
Learner::Outcome Learner::finish(int step) noexcept {
  if (step == 0) locate();
  if (step == 1) set_background();
  if (step == 2 && !judge()) return Outcome::kFailed;
  if (step < kFirstFar) return Outcome::kBusy;
  const int far = step - kFirstFar;
  const int sweeps = reference_->sweeps().count;
  if (far < sweeps * kFarSteps) {
    keep_far(far / kFarSteps, far % kFarSteps);
    return Outcome::kBusy;
  }
  if (far == sweeps * kFarSteps) {
    set_far();
    return Outcome::kBusy;
  }
  set_far_slope();
  return Outcome::kLearned;
}

// A block that is number `at` in its frame.
void Learner::add(const float* samples, BandRun band, int at) noexcept {
  for (int i = 0; i < kBlock; ++i) learned_.mean[at * kBlock + i] += samples[i];
  const int first = at * kBandBlock;
  BandBuffer<kBandBlock> change;
  for (int i = 0; i < kBandBlock; ++i) {
    change.re[i] = band.re[i] - last_.re[first + i];
    change.im[i] = band.im[i] - last_.im[first + i];
    sum_.re[first + i] += band.re[i];
    sum_.im[first + i] += band.im[i];
  }
  noise_ += energy(change.from(0), kBandBlock);
  turn_ = turn_ + dot(last_.from(first), band, kBandBlock);
}

void Learner::search(int step) noexcept {
  for (int delay = step * kDelaysABlock; delay < (step + 1) * kDelaysABlock; ++delay) {
    const float power = power_of(reference_->first_sweep(probe_.from(delay)));
    all_ += power;
    if (power > best_) {
      best_ = power;
      delay_ = delay;
    }
  }
}

// What was found may be another sweep than the first, and is sure to a sample of the band only.
void Learner::refine(int step) noexcept {
  const Sweeps& sweeps = reference_->sweeps();
  if (step < 3 * sweeps.count) {
    const int delay = delay_ - sweeps.start[step / 3] + step % 3 - 1;
    const int late = wrapped(delay * kDecimation);
    const float explained = reference_->explained(two_thirds_.from(0), late);
    if (explained > explained_) {
      explained_ = explained;
      late_ = late;
    }
  } else if (step - 3 * sweeps.count < kNears) {
    const int i = step - 3 * sweeps.count;
    near_[i] = reference_->explained(two_thirds_.from(0), late_ + i - kNear);
  }
}

// A peak between samples is that of a parabola through its three highest.
void Learner::locate() noexcept {
  int peak = 1;
  for (int i = 2; i + 1 < kNears; ++i) {
    if (near_[i] > near_[peak]) peak = i;
  }
  const auto before = static_cast<double>(near_[peak - 1]);
  const auto behind = static_cast<double>(near_[peak + 1]);
  const double curve = before - 2.0 * static_cast<double>(near_[peak]) + behind;
  const bool is_peak = curve < 0.0 && near_[peak] >= near_[peak - 1] && near_[peak] >= near_[peak + 1];
  const double between = is_peak ? 0.5 * (before - behind) / curve : 0.0;
  double latency = late_ + peak - kNear + between - way_;
  findings_.latency_ms = static_cast<float>(latency / kSamplesPerMs);
  if (latency < kLeastLead) latency += kFrame;
  learned_.hold = static_cast<int>((latency - kLeastLead) / kDecimation) * kDecimation;
  learned_.lead = latency - learned_.hold;
  learned_.direct = static_cast<int>(lrint(learned_.lead + way_));
  for (float& sample : learned_.mean) sample *= 1.0f / kFrames;
  memcpy(learned_.mean + kFrame, learned_.mean, kBlock * sizeof *learned_.mean);
}

void Learner::set_background() noexcept {
  const int hold = learned_.hold / kDecimation;
  Band& background = learned_.background;
  background.set(0, sum_.from(hold), kBandFrame - hold);
  background.set(kBandFrame - hold, sum_.from(0), hold);
  scale(background, 1.0f / kFrames);
  last_ = background;
}

// Whether the three thirds of the time sound different by more than noise: somebody left, or the clocks drift.
bool Learner::has_changed() const noexcept {
  float changes[3] = {};
  for (int at = 0; at < kBandFrame; at += kBandBlock) {
    BandBuffer<kBandBlock> a, b, c;
    compare(third_.re + at, two_thirds_.re + at, sum_.re + at, a.re, b.re, c.re);
    compare(third_.im + at, two_thirds_.im + at, sum_.im + at, a.im, b.im, c.im);
    changes[0] += energy(a.from(0), kBandBlock);
    changes[1] += energy(b.from(0), kBandBlock);
    changes[2] += energy(c.from(0), kBandBlock);
  }
  const float by_noise = 2.0f * kThird * learned_.noise;
  return fmaxf(fmaxf(changes[0], changes[1]), changes[2]) > kMostChange * by_noise;
}

bool Learner::judge() noexcept {
  const BandRun background = learned_.background.from(0);
  learned_.noise = fmaxf(noise_ / (2 * kFrames), kLeastNoise);
  learned_.energy = energy(background, kBandFrame);
  learned_.direct_energy = reference_->explained(background, learned_.direct);
  if (!(learned_.energy > 0.0f && learned_.direct_energy > 0.0f)) return false;

  const double turn = fabs(atan2(static_cast<double>(turn_.im), static_cast<double>(turn_.re)));
  const double by_noise = sqrt(2.0 * static_cast<double>(learned_.noise / learned_.energy) / kBandFrame) / kFrames;
  findings_.drift_ppm = static_cast<float>(turn / (2.0 * kPi * kMeanHz * kFrame / kSampleRate) * 1e6);
  findings_.sureness_db = 10.0f * log10f(best_ / (all_ / kBandFrame));
  findings_.background_db = 10.0f * log10f(learned_.energy / learned_.noise);
  const bool drifts = findings_.drift_ppm >= kMostDriftPpm && turn > kChance * by_noise;
  return findings_.sureness_db >= kLeastSurenessDb && !drifts && !has_changed();
}

// One of the steps for one of the sweeps. Against the reference as late as the direct sound what is near is slow.
void Learner::keep_far(int sweep, int step) noexcept {
  const int first = reference_->sweeps().start[sweep];
  const int n = reference_->sweeps().start[sweep + 1] - first;
  const BandRun played = reference_->in_band(learned_.direct).from(first);
  float* const re = last_.re + first;
  float* const im = last_.im + first;
  if (step == 0) {
    for (int i = 0; i < n; ++i) {
      const Complex heard = {re[i], im[i]};
      re[i] = heard.re * played.re[i] + heard.im * played.im[i];
      im[i] = heard.im * played.re[i] - heard.re * played.im[i];
    }
  } else if (step < kFarSteps - 1) {
    remove_slow(step % 2 == 0 ? re : im, n);
  } else {
    for (int i = 0; i < n; ++i) {
      const float weight = weight_at(i, n);
      learned_.far.re[first + i] = weight * (re[i] * played.re[i] - im[i] * played.im[i]);
      learned_.far.im[first + i] = weight * (im[i] * played.re[i] + re[i] * played.im[i]);
    }
  }
}

void Learner::set_far() noexcept {
  Band& far = learned_.far;
  scale(far, inverse_root(energy(far.from(0), kBandFrame)));
  learned_.far_energy = power_of(dot(far.from(0), learned_.background.from(0), kBandFrame));
  if (learned_.far_energy < kLeastFar * learned_.noise / kFrames) learned_.far_energy = 0.0f;
}

void Learner::set_far_slope() noexcept {
  const Band& far = learned_.far;
  Band& slope = learned_.far_slope;
  for (int i = 0; i < kBandFrame; ++i) {
    const int before = i == 0 ? kBandFrame - 1 : i - 1;
    const int behind = i == kBandFrame - 1 ? 0 : i + 1;
    slope.re[i] = far.re[behind] - far.re[before];
    slope.im[i] = far.im[behind] - far.im[before];
  }
  const Complex along = dot(far.from(0), slope.from(0), kBandFrame);
  for (int i = 0; i < kBandFrame; ++i) {
    slope.re[i] -= along.re * far.re[i] - along.im * far.im[i];
    slope.im[i] -= along.re * far.im[i] + along.im * far.re[i];
  }
  scale(slope, inverse_root(energy(slope.from(0), kBandFrame)));
}

}  // namespace zeto::host
