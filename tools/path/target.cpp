#include "path/target.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <utility>

#include "path/random.hpp"

namespace zeto::tool {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kComingS = 0.01;

// A hand at rest trembles mostly at 3 Hz, and half as much at 7 Hz.
constexpr double kTremorHz[] = {3.1, 7.3};
constexpr double kTremorPart[] = {1.0, 0.5};

struct Point {
  double cm;
  double db;
};
constexpr Point kHand[] = {{2, -6}, {6, -11}, {10, -15}, {20, -22}, {30, -26}, {50, -31}};

}  // namespace

Target::Target(TargetParam param, uint64_t seed) : param_(std::move(param)) {
  Random random(seed, Purpose::kTremor);
  for (double& phase : phases_) phase = random.between(0.0, kTwoPi);
}

bool Target::is_present(double at_s) const {
  return std::any_of(param_.present.begin(), param_.present.end(),
                     [=](const Span& span) { return at_s >= span.from_s && at_s < span.to_s; });
}

double Target::presence(double at_s) const {
  double most = 0.0;
  for (const Span& span : param_.present) {
    const double inside = std::clamp(std::min(at_s - span.from_s, span.to_s - at_s) / kComingS, 0.0, 1.0);
    most = std::max(most, 0.5 - 0.5 * std::cos(std::numbers::pi * inside));
  }
  return most;
}

double Target::distance_cm(double at_s) const {
  double cm = param_.distance_cm + param_.speed_cm_s * std::max(0.0, at_s - param_.moves_s);
  if (param_.stop_cm) cm = param_.speed_cm_s < 0.0 ? std::max(cm, *param_.stop_cm) : std::min(cm, *param_.stop_cm);
  for (size_t i = 0; i < std::size(phases_); ++i) {
    cm += 0.1 * param_.tremor_mm * kTremorPart[i] * std::sin(kTwoPi * kTremorHz[i] * at_s + phases_[i]);
  }
  return std::max(cm, 0.0);
}

double Target::level_db(double distance_cm) const {
  return param_.level_db ? *param_.level_db : hand_level_db(distance_cm);
}

double way_cm(double distance_cm, double spacing_cm) {
  return 2.0 * std::hypot(distance_cm, 0.5 * spacing_cm);
}

double hand_level_db(double distance_cm) {
  const Point* above = kHand + 1;
  while (above + 1 != std::end(kHand) && above->cm < distance_cm) ++above;
  const Point& below = above[-1];
  const double at = std::log(std::max(distance_cm, kHand[0].cm) / below.cm) / std::log(above->cm / below.cm);
  return below.db + at * (above->db - below.db);
}

}  // namespace zeto::tool
