#include "detector/filter.hpp"

#include <math.h>
#include <string.h>

#include "detector/filter_inputs.hpp"
#include "kernels/rounding.hpp"

namespace zeto {
namespace {

constexpr size_t kOrder = kFilterOrder;
constexpr size_t kChunk = kFilterChunk;
constexpr size_t kPairs = kChunk / 2;

// How outputs are rounded. The first two are fast and right only where all of a chunk's outputs lie in that range, which is
// looked at afterwards; the third is right for all.
enum class Range { kNormal, kDenormal, kAny };

template <Range kRange>
Rounded rounded(f64x2 v) noexcept {
  if (kRange == Range::kNormal) return round_normal(v);
  if (kRange == Range::kDenormal) return round_denormal(v);
  return round_any(v);
}

template <Range kRange>
bool are_in(const f64x2* outputs, const f32x2* floats, size_t n) noexcept {
  if (kRange == Range::kNormal) return are_normal(floats, n);
  if (kRange == Range::kDenormal) return are_denormal(outputs, n);
  return true;
}

// Where the magnitudes of the last outputs lie, lane by lane.
f64x2 largest(const f64x2* outputs, size_t n) noexcept {
  f64x2 most = {};
  for (size_t i = 0; i < n; ++i) {
    const f64x2 magnitude = magnitude_of(outputs[i]);
    most = magnitude > most ? magnitude : most;
  }
  return most;
}

// What the next chunk is likely to be like, by the largest of a signal's last ten outputs. From above the upper limit no
// signal falls below the floats' normal range within a chunk, and no product of two does.
Range likely_range(double most) noexcept {
  if (most >= 0x1p-35) return Range::kNormal;
  return most < kLeastNormalFloat ? Range::kDenormal : Range::kAny;
}
Range likely_range(Range one, Range other) noexcept {
  return one == other ? one : Range::kAny;
}

// Both high-passes side by side, with the amplified product of their outputs.
class HighPasses {
 public:
  HighPasses(const FilterBank& bank, float gain, float* a, float* b, size_t n) noexcept
      : bank_(bank),
        inputs_(bank.high_pass.b, bank.memory_a.inputs, bank.memory_b.inputs),
        gain_(gain),
        next_a_(a),
        next_b_(b) {
    for (size_t k = 0; k <= kOrder; ++k) a_[k] = f64x2{bank.high_pass.a[k], bank.high_pass.a[k]};
    for (size_t i = 0; i < kOrder; ++i)
      outputs_[i] = to_double(f32x2{bank.memory_a.outputs[i], bank.memory_b.outputs[i]});
    memcpy(bank.memory_a.inputs, a + n - kOrder, sizeof bank.memory_a.inputs);  // before the outputs replace them
    memcpy(bank.memory_b.inputs, b + n - kOrder, sizeof bank.memory_b.inputs);
  }

  void enter() noexcept { inputs_.enter(next_a_, next_b_, sums_); }

  Range likely_range() const noexcept {
    const f64x2 most = largest(outputs_, kOrder);
    return zeto::likely_range(zeto::likely_range(most[0]), zeto::likely_range(most[1]));
  }

  template <Range kRange>
  void step(size_t n) noexcept {
    f64x2 sum = sums_[n];
    for (size_t i = 0; i < kOrder; ++i) sum -= a_[kOrder - i] * outputs_[n + i];
    const Rounded y = rounded<kRange>(sum);
    outputs_[n + kOrder] = y.wide;
    floats_[n] = y.narrow;
  }

  template <Range kRange>
  bool are_outputs_in() const noexcept {
    return are_in<kRange>(outputs_ + kOrder, floats_, kChunk);
  }

  template <Range kRange>
  void leave(f64x2* product) noexcept {
    for (size_t n = 0; n < kChunk; n += 4) {
      const f32x4 low = load<f32x4>(floats_ + n);
      const f32x4 high = load<f32x4>(floats_ + n + 2);
      const f32x4 a = __builtin_shufflevector(low, high, 0, 2, 4, 6);
      const f32x4 b = __builtin_shufflevector(low, high, 1, 3, 5, 7);
      store(a, next_a_ + n);
      store(b, next_b_ + n);
      if (kRange != Range::kAny) {
        const f32x4 mixed = (kRange == Range::kNormal ? a * b : product_of_denormals(a, b)) * gain_;
        product[n / 2] = to_double(__builtin_shufflevector(mixed, mixed, 0, 1));
        product[n / 2 + 1] = to_double(__builtin_shufflevector(mixed, mixed, 2, 3));
      } else {
        for (size_t i = n; i < n + 4; i += 2) product[i / 2] = careful_product(i);
      }
    }
    next_a_ += kChunk;
    next_b_ += kChunk;
    for (size_t i = 0; i < kOrder; ++i) outputs_[i] = outputs_[kChunk + i];
  }

  void keep() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      bank_.memory_a.outputs[i] = static_cast<float>(outputs_[i][0]);
      bank_.memory_b.outputs[i] = static_cast<float>(outputs_[i][1]);
    }
  }

 private:
  // A product of floats is exact in double; rounding it once gives what the float product gives.
  f64x2 careful_product(size_t n) const noexcept {
    const f64x2* const y = outputs_ + kOrder + n;
    const f64x2 product = f64x2{y[0][0], y[1][0]} * f64x2{y[0][1], y[1][1]};
    return round_any(round_any(product).wide * static_cast<double>(gain_)).wide;
  }

  const FilterBank& bank_;
  TwinInputs inputs_;
  float gain_;
  float* next_a_;
  float* next_b_;
  f64x2 a_[kOrder + 1];
  f64x2 sums_[kChunk];
  f64x2 outputs_[kOrder + kChunk];  // of the chunk, with the ten before it
  f32x2 floats_[kChunk];
};

// The low-pass, two samples at a time.
class LowPass {
 public:
  LowPass(const FilterBank& bank, float* output) noexcept
      : bank_(bank), inputs_(bank.low_pass.b, bank.memory_low.inputs), next_(output) {
    for (size_t k = 0; k <= kOrder; ++k) a_[k] = f64x2{bank.low_pass.a[k], bank.low_pass.a[k]};
    const float* const y = bank.memory_low.outputs;
    for (size_t i = 0; i < kBefore; ++i) even_[i] = to_double(load<f32x2>(y + 2 * i));
    for (size_t i = 1; i < kBefore; ++i) odd_[i] = to_double(load<f32x2>(y + 2 * i - 1));
  }

  // @param product  of a chunk, two samples in each.
  void enter(const f64x2* product) noexcept {
    inputs_.enter(product, sums_);
    for (size_t i = 0; i < kOrder; ++i) {
      bank_.memory_low.inputs[i] = static_cast<float>(product[kPairs - kBefore + i / 2][i % 2]);
    }
  }

  Range likely_range() const noexcept {
    const f64x2 most = largest(even_, kBefore);
    return zeto::likely_range(most[0] > most[1] ? most[0] : most[1]);
  }

  // Nine of the ten outputs that a sum holds are known for both samples. The newest is that of the pair before for the
  // first, and the first for the second.
  template <Range kRange>
  void step(size_t n) noexcept {
    f64x2 sum = sums_[n];
    for (size_t i = 0; i + 1 < kBefore; ++i) {
      sum -= a_[kOrder - 2 * i] * even_[n + i];
      sum -= a_[kOrder - 2 * i - 1] * odd_[n + i + 1];
    }
    sum -= a_[2] * even_[n + kBefore - 1];
    const f64x2 newest = __builtin_shufflevector(even_[n + kBefore - 1], f64x2{}, 1, 1);
    const f64x2 first = rounded<kRange>(sum - a_[1] * newest).wide;
    odd_[n + kBefore] = __builtin_shufflevector(newest, first, 0, 2);
    even_[n + kBefore] = rounded<kRange>(sum - a_[1] * odd_[n + kBefore]).wide;
    floats_[n] = rounded<kRange>(even_[n + kBefore]).narrow;
  }

  template <Range kRange>
  bool are_outputs_in() const noexcept {
    return are_in<kRange>(even_ + kBefore, floats_, kPairs);
  }

  void leave() noexcept {
    memcpy(next_, floats_, sizeof floats_);
    next_ += kChunk;
    for (size_t i = 0; i < kBefore; ++i) {
      even_[i] = even_[kPairs + i];
      odd_[i] = odd_[kPairs + i];
    }
  }

  void keep() noexcept {
    for (size_t i = 0; i < kOrder; ++i) bank_.memory_low.outputs[i] = static_cast<float>(even_[i / 2][i % 2]);
  }

 private:
  static constexpr size_t kBefore = kOrder / 2;

  const FilterBank& bank_;
  PairInputs inputs_;
  float* next_;
  f64x2 a_[kOrder + 1];
  f64x2 sums_[kPairs];
  f64x2 even_[kBefore + kPairs] = {};  // outputs of the chunk and the ten before it: times (0, 1), (2, 3), ...
  f64x2 odd_[kBefore + kPairs] = {};   // the same, those between: times (-1, 0), (1, 2), ...; the first is not used
  f32x2 floats_[kPairs];
};

// A chunk through the high-passes, and the chunk before it through the low-pass: while the newest output of one is on its
// way, the other's sums are formed. Either may have nothing to do. Nothing is lost where the outputs turn out not to be in
// the range: it can be done again.
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
  } else if (low != nullptr) {
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
  HighPasses high(bank, gain, a, b, n);
  LowPass low(bank, mixed);
  f64x2 product[kPairs];
  const size_t chunks = n / kChunk;
  for (size_t chunk = 0; chunk <= chunks; ++chunk) {
    HighPasses* const to_high = chunk < chunks ? &high : nullptr;
    LowPass* const to_low = chunk > 0 ? &low : nullptr;
    if (to_high != nullptr) to_high->enter();
    if (to_low != nullptr) to_low->enter(product);
    run_chunk(to_high, to_low, product);
  }
  high.keep();
  low.keep();
}

}  // namespace zeto
