#include "reports/parameter_warnings.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "error.hpp"
#include "parameters/unit.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kNyquist = 24000.0;
constexpr double kAudible = 18000.0;  // below, many hear it

struct Range {
  double low;
  double high;
};

/// What is heard of a sweep: frequencies fold back at 24000 Hz and at 0.
Range played(double from, double to) {
  const auto folded = [](double hz) { return std::fabs(std::remainder(hz, 2.0 * kNyquist)); };
  Range range{std::min(folded(from), folded(to)), std::max(folded(from), folded(to))};
  const double low = std::min(from, to);
  const double high = std::max(from, to);
  for (double turn = std::ceil(low / kNyquist) * kNyquist; turn <= high; turn += kNyquist) {
    range = {std::min(range.low, folded(turn)), std::max(range.high, folded(turn))};
  }
  return range;
}

/// Whether a named set plays the same: then it is meant.
bool is_named(const zeto_set& set) {
  for (uint32_t i = 0; zeto_get_set(i) != nullptr; ++i) {
    const zeto_set named = set_of(zeto_get_set(i)->name);
    if (named.chirp.start_hz == set.chirp.start_hz && named.chirp.span_hz == set.chirp.span_hz &&
        restarts_of(named) == restarts_of(set)) {
      return true;
    }
  }
  return false;
}

void warn_of_sweep(const std::string& who, const zeto_set& set) {
  const double from = set.chirp.start_hz;
  double span = set.chirp.span_hz;
  if (has_sweeps(set)) {
    const auto restarts = restarts_of(set);
    span *= *std::max_element(restarts.begin(), restarts.end()) / 1000.0;
  }
  const Range range = played(from, from + span);
  const bool folds = std::max(from, from + span) > kNyquist || std::min(from, from + span) < 0.0;
  if (range.low < kAudible) {
    complain(who, text("the sweep plays %.0f to %.0f Hz; below 18000 Hz it can be heard", range.low, range.high));
  } else if (folds && !is_named(set)) {
    complain(who,
             text("the sweep goes beyond 24000 Hz and folds back: it plays %.0f to %.0f Hz", range.low, range.high));
  }
}

void warn_of_emitter(const std::string& who, const zeto_set& set) {
  const zeto_rx_param& chirp = set.chirp;
  if (chirp.enable != 1) return;
  const double seconds = sweep_s(set);
  if (seconds <= 0.0) {
    complain(who, text("period_ms %d is below 1000: nothing is played", chirp.period_ms));
    return;
  }
  if (!has_sweeps(set) && chirp.period_ms % 1000 != 0) {
    complain(who, text("period_ms %d: only whole seconds count, the sweep takes %g s", chirp.period_ms, seconds));
  }
  warn_of_sweep(who, set);
  const int32_t loudest = has_sweeps(set) ? chirp.amp_end_milli : std::max(chirp.amp_start_milli, chirp.amp_end_milli);
  if (loudest > 1000) complain(who, text("an amplitude of %d/1000 is beyond full scale: it clips", loudest));
}

void warn_of_fit(const std::string& who, const zeto_set& set) {
  const double width = std::fabs(static_cast<double>(set.chirp.span_hz));
  const double scope = std::fabs(static_cast<double>(set.hear.UltraHz_scope));
  if (set.chirp.enable != 1 || sweep_s(set) <= 0.0 || has_sweeps(set)) return;
  if (slope_hz_s(set) == 0.0) {
    complain(who, text("span_hz %d: the sweep has no width, so nothing can be measured", set.chirp.span_hz));
    return;
  }
  if (std::fabs(scope - width) > 0.01 * width) {
    complain(who,
             text("UltraHz_scope %g is not the sweep's width, %g Hz: echoes fold at the wrong place", scope, width));
  }
  if (unit_of(set).empty()) {
    const double ms = 1000.0 * seconds_per_unit(set);
    complain(who, text("UltraHz_period %d does not fit the sweep: a measurement of 1 is %.3g ms; %.0f makes it 1 ms",
                       set.hear.UltraHz_period, ms, 1000.0 * sweep_s(set) * scope / width));
  }
}

}  // namespace

void warn_of(const std::string& who, const zeto_set& set, Side side) {
  if (side != Side::kDetector) warn_of_emitter(who, set);
  if (side == Side::kBoth) warn_of_fit(who, set);
  if (side != Side::kEmitter && set.hear.UltraHz_smooth > 0) {
    complain(who, "UltraHz_smooth above 0: each rejection counts as -1000 and drags the results after it down");
  }
}

}  // namespace zeto::tool
