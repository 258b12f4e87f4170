#include "parameters/unit.hpp"

#include <cmath>
#include <cstdlib>
#include <numeric>

#include "path/target.hpp"

namespace zeto::tool {
namespace {

constexpr double kGridHz = 11.71875;  // of the emitter's frequencies

}  // namespace

double sweep_s(const zeto_set& set) {
  if (has_sweeps(set)) return 1.0;
  return set.chirp.enable == 1 ? set.chirp.period_ms / 1000 : 0;  // only whole seconds count
}

double slope_hz_s(const zeto_set& set) {
  const double seconds = sweep_s(set);
  if (seconds <= 0.0) return 0.0;
  const double width = std::fabs(static_cast<double>(set.chirp.span_hz));
  return (has_sweeps(set) ? width : std::floor(width / kGridHz) * kGridHz) / seconds;
}

double folded_ms(const zeto_set& set, double delay_ms) {
  constexpr double kDelayLineMs = 200.0;
  if (set.hear.UltraHz_delay_ms >= 10) delay_ms -= kDelayLineMs;
  const auto restarts = restarts_of(set);
  const double period_ms =
      restarts.empty() ? 1000.0 * sweep_s(set) : std::accumulate(restarts.begin(), restarts.end(), 0.0);
  return std::fabs(std::remainder(delay_ms, period_ms));
}

double seconds_per_unit(const zeto_set& set) {
  const double per_hz = std::fabs(static_cast<double>(set.hear.UltraHz_scope) / set.hear.UltraHz_period);
  const double slope = slope_hz_s(set);
  return slope > 0.0 && std::isfinite(per_hz) ? per_hz / slope : 0.0;
}

std::string unit_of(const zeto_set& set) {
  const double seconds = seconds_per_unit(set);
  const struct {
    const char* name;
    double seconds;
  } units[] = {{"ms", 1e-3},
               {"0.1 ms", 1e-4},
               {"cm", 2.0 / kCmPerSecond},
               {"mm", 0.2 / kCmPerSecond},
               {"Hz", slope_hz_s(set) > 0.0 ? 1.0 / slope_hz_s(set) : 0.0}};
  for (const auto& unit : units) {
    if (seconds > 0.0 && std::fabs(seconds / unit.seconds - 1.0) < 0.01) return unit.name;
  }
  return "";
}

}  // namespace zeto::tool
