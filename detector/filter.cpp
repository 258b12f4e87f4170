#include "detector/filter.hpp"

#include "kernels/lanes.hpp"

namespace zeto {
namespace {

constexpr size_t kOrder = kFilterOrder;
constexpr size_t kChunk = kFilterChunk;

// After a signal has ended, a filter rings on in denormal numbers, for ever: rounding keeps its last steps from falling
// to zero. A signal whose last outputs are that small is taken to stay so for a chunk, and rounded by other means to the
// same result; where it has not stayed so, the chunk is done again.
constexpr double kLeastNormal = 0x1p-126;

// The greatest magnitude in each lane. What follows not-a-number in a filter is none either, so that it comes out, too.
template <typename V>
f64x2 greatest(const V* y, size_t count) noexcept {
  f64x2 most = {};
  for (size_t i = 0; i < count; i += sizeof(f64x2) / sizeof(V)) {
    const f64x2 magnitude = reinterpret_cast<f64x2>(load<u64x2>(y + i) & ~kSignOf64);
    most = most > magnitude ? most : magnitude;
  }
  return most;
}

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

  // @param quiet  all ones in the lanes that are quiet.
  template <bool kQuiet>
  void step(size_t n, u64x2 quiet) noexcept {
    V sum = sums_[n];
    for (size_t i = 0; i < kOrder; ++i) sum -= a_[kOrder - i] * outputs_[n + i];
    outputs_[n + kOrder] = kQuiet ? rounded(sum, quiet) : through_float(sum);
  }

  // The chunk's last ten become the next one's first.
  void leave() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      inputs_[i] = inputs_[kChunk + i];
      outputs_[i] = outputs_[kChunk + i];
    }
  }

 private:
  static f64x2 rounded(f64x2 v, u64x2 quiet) noexcept {
    const f64x2 loud = reinterpret_cast<f64x2>(reinterpret_cast<u64x2>(v) & ~quiet);
    const u64x2 denormal = reinterpret_cast<u64x2>(through_denormal_float(v)) & quiet;
    return reinterpret_cast<f64x2>(reinterpret_cast<u64x2>(through_float(loud)) | denormal);
  }
  static double rounded(double v, u64x2) noexcept { return through_denormal_float(v); }

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

  // Takes note of the signals that seem quiet; whether there is one.
  bool seems_quiet() noexcept {
    quiet_ = denormal_lanes(0, kOrder);
    return (quiet_[0] | quiet_[1]) != 0;
  }
  bool stayed_quiet() noexcept {
    const u64x2 still = denormal_lanes(kOrder, kChunk);
    return ((quiet_[0] & ~still[0]) | (quiet_[1] & ~still[1])) == 0;
  }

  template <bool kQuiet>
  void step(size_t n) noexcept {
    filter_.step<kQuiet>(n, quiet_);
  }

  // A product of floats is exact in double; rounding it once gives what the float product gives, without the
  // processor's detour for denormal operands.
  template <bool kQuiet>
  void leave() noexcept {
    const auto narrowed = [](f64x2 v) { return kQuiet ? to_small_float(v) : to_float(v); };
    const f64x2* const y = filter_.outputs() + kOrder;
    const bool both = (quiet_[0] & quiet_[1]) != 0;
    for (size_t n = 0; n < kChunk; n += 2) {
      const f64x2 a = {y[n][0], y[n + 1][0]};
      const f64x2 b = {y[n][1], y[n + 1][1]};
      if (kQuiet && both) {  // their product vanishes, but for its sign
        store(to_denormal_float(a), a_ + at_ + n);
        store(to_denormal_float(b), b_ + at_ + n);
        store(to_float(zero_like(a, b) * gain_), product_ + at_ + n);
        continue;
      }
      store(narrowed(a), a_ + at_ + n);
      store(narrowed(b), b_ + at_ + n);
      store(narrowed(to_double(narrowed(a * b)) * gain_), product_ + at_ + n);
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
  u64x2 denormal_lanes(size_t from, size_t count) noexcept {
    return reinterpret_cast<u64x2>(greatest(filter_.outputs() + from, count) < kLeastNormal);
  }

  const FilterBank& bank_;
  Filter<f64x2> filter_;
  u64x2 quiet_ = {};
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

  bool seems_quiet() noexcept { return all_denormal(0, kOrder); }
  bool stayed_quiet() noexcept { return all_denormal(kOrder, kChunk); }

  template <bool kQuiet>
  void step(size_t n) noexcept {
    filter_.step<kQuiet>(n, u64x2{});
  }

  template <bool kQuiet>
  void leave() noexcept {
    const double* const y = filter_.outputs() + kOrder;
    for (size_t n = 0; n < kChunk; n += 2) {
      const f64x2 v = load<f64x2>(y + n);
      store(kQuiet ? to_denormal_float(v) : to_float(v), signal_ + at_ + n);
    }
    filter_.leave();
  }

  void keep() noexcept {
    for (size_t i = 0; i < kOrder; ++i) {
      bank_.memory_low.inputs[i] = static_cast<float>(filter_.inputs()[i]);
      bank_.memory_low.outputs[i] = static_cast<float>(filter_.outputs()[i]);
    }
  }

 private:
  bool all_denormal(size_t from, size_t count) noexcept {
    const f64x2 most = greatest(filter_.outputs() + from, count);
    return most[0] < kLeastNormal && most[1] < kLeastNormal;
  }

  const FilterBank& bank_;
  Filter<double> filter_;
  float* signal_;
  size_t at_ = 0;
};

// The steps of a chunk of either or both. The low-pass is one chunk behind the high-passes: while the newest output of
// one is on its way, the other's sums are formed.
template <bool kHighQuiet, bool kLowQuiet>
void run_steps(HighPasses* high, LowPass* low) noexcept {
  if (high != nullptr && low != nullptr) {
    for (size_t i = 0; i < kChunk; ++i) {
      high->step<kHighQuiet>(i);
      low->step<kLowQuiet>(i);
    }
  } else if (high != nullptr) {
    for (size_t i = 0; i < kChunk; ++i) high->step<kHighQuiet>(i);
  } else {
    for (size_t i = 0; i < kChunk; ++i) low->step<kLowQuiet>(i);
  }
}

void run_chunk(HighPasses* high, LowPass* low) noexcept {
  bool high_quiet = high != nullptr && high->seems_quiet();
  bool low_quiet = low != nullptr && low->seems_quiet();
  if (high_quiet) {
    low_quiet ? run_steps<true, true>(high, low) : run_steps<true, false>(high, low);
  } else {
    low_quiet ? run_steps<false, true>(high, low) : run_steps<false, false>(high, low);
  }
  if (high_quiet && !high->stayed_quiet()) {
    run_steps<false, false>(high, nullptr);
    high_quiet = false;
  }
  if (low_quiet && !low->stayed_quiet()) {
    run_steps<false, false>(nullptr, low);
    low_quiet = false;
  }
  if (high != nullptr) high_quiet ? high->leave<true>() : high->leave<false>();
  if (low != nullptr) low_quiet ? low->leave<true>() : low->leave<false>();
}

}  // namespace

void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept {
  HighPasses high(bank, gain, a, b, mixed);
  LowPass low(bank, mixed);
  const size_t chunks = n / kChunk;
  for (size_t chunk = 0; chunk <= chunks; ++chunk) {
    HighPasses* const now = chunk < chunks ? &high : nullptr;
    LowPass* const behind = chunk > 0 ? &low : nullptr;
    if (now != nullptr) now->enter(chunk);
    if (behind != nullptr) behind->enter(chunk - 1);
    run_chunk(now, behind);
  }
  high.keep();
  low.keep();
}

}  // namespace zeto
