#include "host/decision.hpp"

#include <math.h>
#include <string.h>

namespace zeto::host {
namespace {

constexpr double kFrameSeconds = kFrame / kSampleRate;

// The detectors' high-passes delay low frequencies more, and an echo is lower than the reference by its beat: it reads
// farther by this share.
constexpr double kHighPassShare = 0.0035;

constexpr double kAgreeCm = 6.0;  // what a hand of 0.3 m/s moves from one reading to the next
constexpr double kRestingCmPerFrame = 0.6;
constexpr double kFartherCm = 5.0;  // out of reach, until a target that is shown is no longer: it shall not flicker

constexpr float kNoteworthy = 0.4f;       // times the noise: what a steady sound must have to be looked into
constexpr float kSteadyShare = 0.33f;     // of all that is not background: less is chance
constexpr float kExplained = 0.45f;       // of the steady part, by one echo: a target's own reflections are the rest
constexpr float kLeastExplained = 0.01f;  // times the noise: below, it may be what is wrong with the background
constexpr float kMisplaced = 0.2f;
constexpr float kKept = 0.5f;             // of the background, in amplitude
constexpr float kMisplacedByEcho = 0.4f;  // times the echo's level: if all has moved, far and near have moved alike
constexpr float kChance = 4.0f;           // times what noise makes
constexpr float kLoud = 0.25f;            // times the background
constexpr float kHidden = 3.0f;           // times the noise: what may hide a target for a moment

// No echo is stronger than that of a mirror, spacing over way, in amplitude against the direct sound. The body of the
// phone weakens the direct sound; what is out of reach gets less of an allowance, for it is more likely another phone.
constexpr double kAllowance = 11.0;
constexpr double kAllowanceOutOfReach = 4.0;
constexpr double kLeastHalfSpacing = 0.5;  // cm

// An echo as late as the direct sound: a hand on the phone is strong there, a drifting clock begins weak.
constexpr double kTouchCm = 1.4;
constexpr float kTouchLevel = 0.25f;
constexpr float kTouchChange = 0.25f;  // of the background, from frame to frame: a hand rests there, a clock does not

constexpr int kLasting = 2;  // frames of trouble before it is said
constexpr int kCalm = 10;    // frames without, before it is over

}  // namespace

void Decision::init(const zeto_set& set, double spacing_cm) noexcept {
  half_spacing_ = 0.5 * spacing_cm;
  greatest_cm_ = static_cast<double>(set.greatest_cm);
  // A reading is that of the middle of its frame; but the Doppler shift of a moving target adds to the beat what the
  // target moves in kMeanHz / slope seconds.
  ahead_ = kMeanHz / set.sweep.slope_hz_s / kFrameSeconds - 0.5;
}

void Decision::start(const Learned& learned) noexcept {
  learned_ = &learned;
  suspected_ = 0;
  cause_ = ZETO_HOST_NO_CAUSE;
  calm_ = 0;
  shows_ = false;
  level_db_ = 0.0f;
  memset(echoes_, 0, sizeof echoes_);
}

double Decision::distance_of(double half_cm) const noexcept {
  const double square = half_cm * half_cm - half_spacing_ * half_spacing_;
  return half_cm > 0.0 && square > 0.0 ? sqrt(square) : 0.0;
}

bool Decision::is_in_reach(double half_cm) const noexcept {
  return half_cm >= 0.0 && distance_of(half_cm) <= greatest_cm_ + (latest() != nullptr ? kFartherCm : 0.0);
}

const Decision::Echo* Decision::latest() const noexcept {
  for (int i = kMemory - 1; i >= 0; --i) {
    if (echoes_[i].valid) return &echoes_[i];
  }
  return nullptr;
}

double Decision::half_cm_of(Delay delay) const noexcept {
  return 0.5 * kCmPerSample * (1.0 - kHighPassShare) * (delay.samples - learned_->lead);
}

int Decision::cause_of(bool valid, double half_cm, const Sight& sight) const noexcept {
  const float level = valid ? sqrtf(sight.explained / learned_->direct_energy) : 0.0f;
  const float misplaced = fmaxf(fmaxf(kMisplaced, kMisplacedByEcho * level), kChance * sight.misplaced_by_noise);
  if (sight.misplaced > misplaced || sight.kept < kKept) return ZETO_HOST_ALIGNMENT;
  const bool touches = half_cm < half_spacing_ + kTouchCm;
  if (valid) {
    const double mirror = fmax(half_spacing_, kLeastHalfSpacing) / fmax(fabs(half_cm), kLeastHalfSpacing);
    const double most = fmin(1.0, (is_in_reach(half_cm) ? kAllowance : kAllowanceOutOfReach) * mirror);
    const bool told_apart = learned_->far_energy > 0.0f && level > kChance * sight.misplaced_by_noise;
    const bool weak_touch =
        touches && half_cm >= 0.0 && level < kTouchLevel && !(told_apart && sight.misplaced < kMisplacedByEcho * level);
    const bool early = half_cm < 0.0 && sight.explained > 0.5f * learned_->noise;
    if (weak_touch || early || static_cast<double>(level) > most) {
      return touches ? ZETO_HOST_ALIGNMENT : ZETO_HOST_FOREIGN;
    }
  }
  const bool noteworthy =
      sight.steady > fmaxf(kNoteworthy * learned_->noise, kSteadyShare * sqrtf(sight.energy * sight.before));
  if (noteworthy && sight.explained < kExplained * sight.steady) return ZETO_HOST_FOREIGN;
  return ZETO_HOST_NO_CAUSE;
}

void Decision::take(Delay delay, const Sight& sight, zeto_host_reading& reading) noexcept {
  const double half_cm = half_cm_of(delay);
  const int trouble = cause_of(delay.valid, half_cm, sight);
  suspected_ = trouble == ZETO_HOST_NO_CAUSE ? 0 : suspected_ + 1;
  if (suspected_ >= kLasting) {
    cause_ = trouble;
    calm_ = 0;
  } else if (cause_ != ZETO_HOST_NO_CAUSE) {
    const bool calm = trouble == ZETO_HOST_NO_CAUSE && sight.steady < kNoteworthy * learned_->noise;
    calm_ = calm ? calm_ + 1 : 0;
    if (calm_ >= kCalm) cause_ = ZETO_HOST_NO_CAUSE;
  }

  const bool loud = sight.energy > kLoud * learned_->energy && sight.explained < kExplained * sight.energy;
  const bool clear = cause_ == ZETO_HOST_NO_CAUSE && trouble == ZETO_HOST_NO_CAUSE && !loud;
  const bool in_reach = is_in_reach(half_cm);
  memmove(echoes_, echoes_ + 1, sizeof echoes_ - sizeof *echoes_);
  Echo& newest = echoes_[kMemory - 1];
  const bool rests = half_cm > half_spacing_ + kTouchCm || sight.kept_change < kTouchChange;
  newest.valid = clear && delay.valid && rests && in_reach && sight.explained > kLeastExplained * learned_->noise;
  newest.half_cm = half_cm;
  if (newest.valid) level_db_ = 10.0f * log10f(sight.explained / learned_->direct_energy);

  reading.rest_db = 10.0f * log10f(fmaxf(sight.energy, 1.0f) / learned_->direct_energy);
  const bool is_hidden = shows_ && trouble == ZETO_HOST_NO_CAUSE && sight.energy > kHidden * learned_->noise;
  reading.state = ZETO_HOST_NOBODY;
  if (cause_ == ZETO_HOST_NO_CAUSE && (newest.valid || is_hidden) && show(reading)) {
    reading.state = ZETO_HOST_TARGET;
  } else if (cause_ != ZETO_HOST_NO_CAUSE || loud) {
    reading.state = ZETO_HOST_DISTURBED;
    reading.cause = cause_ != ZETO_HOST_NO_CAUSE ? cause_ : ZETO_HOST_NOISE;
  }
  shows_ = reading.state == ZETO_HOST_TARGET;
}

// A line by least squares through the last readings, each within reach of the one after it; false if they are too few.
// One that noise hides is shown only while it rests.
bool Decision::show(zeto_host_reading& reading) noexcept {
  const Echo* const last = latest();
  if (last == nullptr) return false;
  const Echo* next = last;
  int n = 0;
  double t = 0.0, h = 0.0, tt = 0.0, th = 0.0;
  for (int i = static_cast<int>(last - echoes_); i >= 0; --i) {
    const Echo& echo = echoes_[i];
    if (!echo.valid || fabs(echo.half_cm - next->half_cm) > kAgreeCm) continue;
    next = &echo;
    const auto at = static_cast<double>(&echo - last);
    ++n;
    t += at;
    h += echo.half_cm;
    tt += at * at;
    th += at * echo.half_cm;
  }
  if (n < kLeastAgreeing) return false;
  const double mean_t = t / n;
  const double mean_h = h / n;
  double rise = (th - n * mean_t * mean_h) / (tt - n * mean_t * mean_t);  // cm a frame
  if (n == 2) rise *= 0.5;                                                // two points are no line yet
  const int age = static_cast<int>(echoes_ + kMemory - 1 - last);
  if (age > 0 && fabs(rise) > kRestingCmPerFrame) return false;
  const double half_cm = mean_h - (mean_t + ahead_) * rise;
  reading.distance_cm = static_cast<float>(distance_of(half_cm));
  reading.speed_cm_s = static_cast<float>(rise / kFrameSeconds);
  reading.age_s = static_cast<float>(age * kFrameSeconds);
  reading.level_db = level_db_;
  return true;
}

}  // namespace zeto::host
