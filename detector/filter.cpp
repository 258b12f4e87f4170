#include "detector/filter.hpp"

#include "kernels/lanes.hpp"

namespace zeto {
namespace {

constexpr size_t kOrder = kFilterOrder;
constexpr size_t kChunk = kFilterChunk;

// One filter on its way through a signal, a chunk at a time. V is a double, or a vector of them with a signal in each
// lane. The input sides of a chunk's sums do not wait for outputs and are formed first, all together.
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
  // The outputs of a chunk, with the ten before it, are found here; float values.
  V* outputs() noexcept { return outputs_; }

  // A single signal takes two samples at a time, one in each lane.
  void enter() noexcept {
    constexpr size_t kWidth = sizeof(f64x2) / sizeof(V);
    for (size_t n = 0; n < kChunk; n += kWidth) {
      f64x2 sum = b_[kOrder] * load<f64x2>(inputs_ + n);
      for (size_t i = 1; i <= kOrder; ++i) sum += b_[kOrder - i] * load<f64x2>(inputs_ + n + i);
      store(sum, sums_ + n);
    }
  }

  void step(size_t n) noexcept {
    V sum = sums_[n];
    for (size_t i = 0; i < kOrder; ++i) sum -= a_[kOrder - i] * outputs_[n + i];
    outputs_[n + kOrder] = through_float(sum);
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

// Both high-passes side by side, with the product of their outputs.
class HighPasses {
 public:
  HighPasses(const FilterBank& bank, float gain, float* a, float* b, float* product) noexcept
      : bank_(bank), filter_(bank.high_pass), gain_(static_cast<double>(gain)), a_(a), b_(b), product_(product) {
    for (size_t i = 0; i < kOrder; ++i) {
      filter_.inputs()[i] = to_double(f32x2{bank.memory_a.inputs[i], bank.memory_b.inputs[i]});
      filter_.outputs()[i] = to_double(f32x2{bank.memory_a.outputs[i], bank.memory_b.outputs[i]});
    }
  }

  void enter(size_t chunk) noexcept {
    at_ = chunk * kChunk;
    f64x2* const inputs = filter_.inputs() + kOrder;
    for (size_t n = 0; n < kChunk; ++n) inputs[n] = to_double(f32x2{a_[at_ + n], b_[at_ + n]});
    filter_.enter();
  }

  void step(size_t n) noexcept { filter_.step(n); }

  // A product of floats is exact in double; rounding it once gives what the float product gives, without the
  // processor's detour for denormal operands.
  void leave() noexcept {
    const f64x2* const y = filter_.outputs() + kOrder;
    for (size_t n = 0; n < kChunk; n += 2) {
      const f64x2 a = {y[n][0], y[n + 1][0]};
      const f64x2 b = {y[n][1], y[n + 1][1]};
      store(to_float(a), a_ + at_ + n);
      store(to_float(b), b_ + at_ + n);
      store(to_float(through_float(a * b) * gain_), product_ + at_ + n);
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
  float* product_;
  size_t at_ = 0;
};

class LowPass {
 public:
  LowPass(const FilterBank& bank, float* signal) noexcept : bank_(bank), filter_(bank.low_pass), signal_(signal) {
    for (size_t i = 0; i < kOrder; ++i) {
      filter_.inputs()[i] = static_cast<double>(bank.memory_low.inputs[i]);
      filter_.outputs()[i] = static_cast<double>(bank.memory_low.outputs[i]);
    }
  }

  void enter(size_t chunk) noexcept {
    at_ = chunk * kChunk;
    double* const inputs = filter_.inputs() + kOrder;
    for (size_t n = 0; n < kChunk; ++n) inputs[n] = static_cast<double>(signal_[at_ + n]);
    filter_.enter();
  }

  void step(size_t n) noexcept { filter_.step(n); }

  void leave() noexcept {
    const double* const y = filter_.outputs() + kOrder;
    for (size_t n = 0; n < kChunk; ++n) signal_[at_ + n] = static_cast<float>(y[n]);
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
  float* signal_;
  size_t at_ = 0;
};

}  // namespace

// The low-pass follows one chunk behind the high-passes: while the newest output of one is on its way, the other's sums
// are formed.
void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept {
  HighPasses high(bank, gain, a, b, mixed);
  LowPass low(bank, mixed);
  const size_t chunks = n / kChunk;
  for (size_t chunk = 0; chunk <= chunks; ++chunk) {
    const bool has_high = chunk < chunks;
    const bool has_low = chunk > 0;
    if (has_high) high.enter(chunk);
    if (has_low) low.enter(chunk - 1);
    if (has_high && has_low) {
      for (size_t i = 0; i < kChunk; ++i) {
        high.step(i);
        low.step(i);
      }
    } else if (has_high) {
      for (size_t i = 0; i < kChunk; ++i) high.step(i);
    } else {
      for (size_t i = 0; i < kChunk; ++i) low.step(i);
    }
    if (has_high) high.leave();
    if (has_low) low.leave();
  }
  high.keep();
  low.keep();
}

}  // namespace zeto
