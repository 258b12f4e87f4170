#include "tuning/score.hpp"

#include <algorithm>
#include <cmath>

namespace zeto::tool {

void Counts::add(const Counts& other) {
  right += other.right;
  wrong += other.wrong;
  missed += other.missed;
  falsely += other.falsely;
  silent += other.silent;
}

Counts counts_of(const std::vector<Measured>& all, const Stretch& stretch, double tolerance) {
  constexpr double kAnalysisS = 0.2;
  constexpr double kHalfBlockS = 0.005;
  Counts counts;
  for (const Measured& measured : all) {
    const bool inside =
        measured.end_s - kAnalysisS > stretch.from_s - kHalfBlockS && measured.end_s < stretch.to_s + kHalfBlockS;
    if (!inside || !measured.counts) continue;
    if (stretch.expected == Expected::kNobody) {
      ++(measured.value ? counts.falsely : counts.silent);
    } else if (!measured.value) {
      ++counts.missed;
    } else {
      const bool right = stretch.expected == Expected::kAny || std::fabs(*measured.value - stretch.value) <= tolerance;
      ++(right ? counts.right : counts.wrong);
    }
  }
  return counts;
}

std::vector<Measured> two_of_five(const std::vector<Measured>& all, double tolerance) {
  constexpr size_t kLast = 5;
  std::vector<Measured> shown = all;
  for (size_t i = 0; i < all.size(); ++i) {
    const size_t first = i + 1 > kLast ? i + 1 - kLast : 0;
    shown[i].value.reset();
    for (size_t newest = i + 1; newest-- > first && !shown[i].value;) {
      for (size_t other = first; other < newest && all[newest].value; ++other) {
        if (all[other].value && std::fabs(*all[other].value - *all[newest].value) <= 2.0 * tolerance) {
          shown[i].value = all[newest].value;
        }
      }
    }
  }
  return shown;
}

}  // namespace zeto::tool
