#include "detector/filter.hpp"

#include "detector/high_passes.hpp"
#include "detector/low_pass.hpp"

namespace zeto {
namespace {

constexpr size_t kChunk = kFilterChunk;
constexpr size_t kPairs = kChunk / 2;

// A chunk through the high-passes, and the chunk before it through the low-pass: while the newest output of one is on
// its way, the other's sums are formed. One of them may have nothing to do. Nothing is lost where the outputs turn out
// not to be in the range: it can be done again.
template <Range kRange>
bool step_all(HighPasses* high, LowPass* low) noexcept {
  if (high != nullptr && low != nullptr) {
    for (size_t n = 0; n < kPairs; ++n) {
      high->step<kRange>(2 * n);
      low->step<kRange>(n);
      high->step<kRange>(2 * n + 1);
    }
  } else if (high != nullptr) {
    for (size_t n = 0; n < kChunk; ++n) high->step<kRange>(n);
  } else {
    for (size_t n = 0; n < kPairs; ++n) low->step<kRange>(n);
  }
  return (high == nullptr || high->are_outputs_in<kRange>()) && (low == nullptr || low->are_outputs_in<kRange>());
}

Range likely_range(const HighPasses* high, const LowPass* low) noexcept {
  if (low == nullptr) return high->likely_range();
  if (high == nullptr) return low->likely_range();
  return likely_range(high->likely_range(), low->likely_range());
}

template <Range kRange>
bool run_chunk(HighPasses* high, LowPass* low, f64x2* product) noexcept {
  if (!step_all<kRange>(high, low)) return false;
  if (low != nullptr) low->leave();
  if (high != nullptr) high->leave<kRange>(product);
  return true;
}

void run_chunk(HighPasses* high, LowPass* low, f64x2* product) noexcept {
  const Range likely = likely_range(high, low);
  if (likely == Range::kNormal && run_chunk<Range::kNormal>(high, low, product)) return;
  if (likely == Range::kDenormal && run_chunk<Range::kDenormal>(high, low, product)) return;
  run_chunk<Range::kAny>(high, low, product);
}

}  // namespace

void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept {
  const size_t chunks = n / kChunk;
  if (chunks == 0) return;
  HighPasses high(bank, gain, a, b, n);
  LowPass low(bank, mixed);
  f64x2 product[kPairs];
  for (size_t chunk = 0; chunk <= chunks; ++chunk) {
    HighPasses* const to_high = chunk < chunks ? &high : nullptr;
    LowPass* const to_low = chunk > 0 ? &low : nullptr;
    if (to_high != nullptr) to_high->enter();
    if (to_low != nullptr) to_low->enter(product);
    run_chunk(to_high, to_low, product);
  }
  high.keep();
  low.keep(product);
}

}  // namespace zeto
