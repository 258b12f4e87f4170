#include "detector/filter.hpp"

#include <math.h>
#include <string.h>

#include "kernels/lanes.hpp"

namespace zeto {
namespace {

constexpr size_t kOrder = kFilterOrder;
constexpr size_t kChunk = kFilterChunk;

double magnitude(double v) noexcept {
  return fabs(v);
}
f64x2 magnitude(f64x2 v) noexcept {
  return f64_of(bits_of(v) & INT64_MAX);
}
double least_lane(double v) noexcept {
  return v;
}
double least_lane(f64x2 v) noexcept {
  return v[0] < v[1] ? v[0] : v[1];
}

// To float values, in double and as floats, in the way that suits their size.
template <bool kFaint>
f64x2 kept(f64x2 v) noexcept {
  return kFaint ? through_float_denormal(v) : through_float(v);
}
template <bool kFaint>
f32x2 rounded(f64x2 v) noexcept {
  return kFaint ? to_float_denormal(v) : to_float(v);
}

// One filter on its way through a signal, a chunk at a time. V is a double, or a vector of them with a signal in each
// lane; inputs and outputs are float values. The input sides of a chunk's sums do not wait for outputs and are formed
// first, all together.
template <typename V>
class Filter {
 public:
  explicit Filter(const FilterTables& tables) noexcept {
    for (size_t k = 0; k <= kOrder; ++k) {
      b_[k] = f64x2{tables.b[k], tables.b[k]};
      a_[k] = V{} + tables.a[k];
    }
  }

  // The inputs of a chunk, with the ten before it, go here; the first ten are the caller's to set once.
  V* inputs() noexcept { return inputs_; }
  // The outputs of a chunk, with the ten before it, are found here.
  V* outputs() noexcept { return outputs_; }

  // A single signal takes two samples at a time, one in each lane.
  void enter() noexcept {
    constexpr size_t kWidth = sizeof(f64x2) / sizeof(V);  // NOLINT(bugprone-sizeof-expression): 1 where V is f64x2
    for (size_t n = 0; n < kChunk; n += kWidth) {
      f64x2 sum = b_[kOrder] * load<f64x2>(inputs_ + n);
      for (size_t i = 1; i <= kOrder; ++i) sum += b_[kOrder - i] * load<f64x2>(inputs_ + n + i);
      store(sum, sums_ + n);
    }
  }

  // True where a signal has all but come to rest, or never began: within a chunk its outputs, or their products, may then fall below the
  // floats' normal range. From above this limit they do not get there in a chunk.
  bool is_faint() const noexcept {
    V most = {};
    for (size_t i = 0; i < kOrder; ++i) {
      const V m = magnitude(outputs_[i]);
      most = m > most ? m : most;
    }
    return least_lane(most) < 0x1p-35;
  }

  template <bool kFaint>
  void step(size_t n) noexcept {
    V sum = sums_[n];
    for (size_t i = 0; i < kOrder; ++i) sum -= a_[kOrder - i] * outputs_[n + i];
    outputs_[n + kOrder] = kFaint ? through_float_denormal(sum) : through_float(sum);
  }

  // The chunk's last ten become the next one's first.
  void leave() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      inputs_[i] = inputs_[kChunk + i];
      outputs_[i] = outputs_[kChunk + i];
    }
  }

 private:
  f64x2 b_[kOrder + 1];  // in both lanes
  V a_[kOrder + 1];
  V inputs_[kOrder + kChunk];
  V sums_[kChunk];
  V outputs_[kOrder + kChunk];
};

// Both high-passes side by side, with the amplified product of their outputs.
class HighPasses {
 public:
  HighPasses(const FilterBank& bank, float gain, float* a, float* b) noexcept
      : bank_(bank), filter_(bank.high_pass), gain_(static_cast<double>(gain)), a_(a), b_(b) {
    for (size_t i = 0; i < kOrder; ++i) {
      filter_.inputs()[i] = to_double(f32x2{bank.memory_a.inputs[i], bank.memory_b.inputs[i]});
      filter_.outputs()[i] = to_double(f32x2{bank.memory_a.outputs[i], bank.memory_b.outputs[i]});
    }
  }

  Filter<f64x2>& filter() noexcept { return filter_; }

  void enter(size_t chunk) noexcept {
    at_ = chunk * kChunk;
    f64x2* const inputs = filter_.inputs() + kOrder;
    for (size_t n = 0; n < kChunk; ++n) inputs[n] = to_double(f32x2{a_[at_ + n], b_[at_ + n]});
    filter_.enter();
  }

  // A product of floats is exact in double; rounding it once gives what the float product gives.
  // @param product  kChunk float values.
  template <bool kFaint>
  void leave(double* product) noexcept {
    const f64x2* const y = filter_.outputs() + kOrder;
    for (size_t n = 0; n < kChunk; n += 2) {
      const f64x2 a = {y[n][0], y[n + 1][0]};
      const f64x2 b = {y[n][1], y[n + 1][1]};
      store(rounded<kFaint>(a), a_ + at_ + n);
      store(rounded<kFaint>(b), b_ + at_ + n);
      store(kept<kFaint>(kept<kFaint>(a * b) * gain_), product + n);
    }
    filter_.leave();
  }

  void keep() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      bank_.memory_a.inputs[i] = static_cast<float>(filter_.inputs()[i][0]);
      bank_.memory_b.inputs[i] = static_cast<float>(filter_.inputs()[i][1]);
      bank_.memory_a.outputs[i] = static_cast<float>(filter_.outputs()[i][0]);
      bank_.memory_b.outputs[i] = static_cast<float>(filter_.outputs()[i][1]);
    }
  }

 private:
  const FilterBank& bank_;
  Filter<f64x2> filter_;
  double gain_;
  float* a_;
  float* b_;
  size_t at_ = 0;
};

class LowPass {
 public:
  LowPass(const FilterBank& bank, float* output) noexcept : bank_(bank), filter_(bank.low_pass), output_(output) {
    for (size_t i = 0; i < kOrder; ++i) {
      filter_.inputs()[i] = static_cast<double>(bank.memory_low.inputs[i]);
      filter_.outputs()[i] = static_cast<double>(bank.memory_low.outputs[i]);
    }
  }

  Filter<double>& filter() noexcept { return filter_; }

  // @param input  kChunk float values.
  void enter(size_t chunk, const double* input) noexcept {
    at_ = chunk * kChunk;
    memcpy(filter_.inputs() + kOrder, input, kChunk * sizeof *input);
    filter_.enter();
  }

  template <bool kFaint>
  void leave() noexcept {
    const double* const y = filter_.outputs() + kOrder;
    for (size_t n = 0; n < kChunk; n += 2) store(rounded<kFaint>(load<f64x2>(y + n)), output_ + at_ + n);
    filter_.leave();
  }

  void keep() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      bank_.memory_low.inputs[i] = static_cast<float>(filter_.inputs()[i]);
      bank_.memory_low.outputs[i] = static_cast<float>(filter_.outputs()[i]);
    }
  }

 private:
  const FilterBank& bank_;
  Filter<double> filter_;
  float* output_;
  size_t at_ = 0;
};

// A chunk through the high-passes, and the chunk before it through the low-pass: while the newest output of one is on its
// way, the other's sums are formed. Either may have nothing to do.
template <bool kFaint>
void run_chunk(HighPasses* high, LowPass* low, double* product) noexcept {
  if (high != nullptr && low != nullptr) {
    for (size_t n = 0; n < kChunk; ++n) {
      high->filter().template step<kFaint>(n);
      low->filter().template step<kFaint>(n);
    }
  } else if (high != nullptr) {
    for (size_t n = 0; n < kChunk; ++n) high->filter().template step<kFaint>(n);
  } else {
    for (size_t n = 0; n < kChunk; ++n) low->filter().template step<kFaint>(n);
  }
  if (low != nullptr) low->leave<kFaint>();
  if (high != nullptr) high->leave<kFaint>(product);
}

}  // namespace

void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept {
  HighPasses high(bank, gain, a, b);
  LowPass low(bank, mixed);
  double product[kChunk];
  const size_t chunks = n / kChunk;
  for (size_t chunk = 0; chunk <= chunks; ++chunk) {
    const bool has_high = chunk < chunks;
    const bool has_low = chunk > 0;
    if (has_high) high.enter(chunk);
    if (has_low) low.enter(chunk - 1, product);
    const bool faint = high.filter().is_faint() || low.filter().is_faint();
    HighPasses* const to_high = has_high ? &high : nullptr;
    LowPass* const to_low = has_low ? &low : nullptr;
    faint ? run_chunk<true>(to_high, to_low, product) : run_chunk<false>(to_high, to_low, product);
  }
  high.keep();
  low.keep();
}

}  // namespace zeto
