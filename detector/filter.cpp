#include "detector/filter.hpp"

#include <math.h>
#include <string.h>

#include "detector/filter_inputs.hpp"
#include "detector/recursions.hpp"

namespace zeto {
namespace {

constexpr size_t kMostPairs = kFilterMost / 2;

// The amplified product of two samples of both. A product of floats is exact in double, and rounding it once gives what
// the float product gives; that of two denormal ones is too small for a float: a zero.
template <Rounding kRounding>
f64x2 amplified_product(const Rounded& first, const Rounded& second, float gain) noexcept {
  if constexpr (kRounding == Rounding::kConverted) {
    const f32x4 both = __builtin_shufflevector(first.narrow, second.narrow, 0, 4, 1, 5);
    const f32x4 b = __builtin_shufflevector(both, both, 2, 3, 2, 3);
    return low_to_double(both * b * gain);
  }
  const f64x2 a = __builtin_shufflevector(first.wide, second.wide, 0, 2);
  const f64x2 b = __builtin_shufflevector(first.wide, second.wide, 1, 3);
  if constexpr (kRounding == Rounding::kDenormal) {
    return f64_of((bits_of(a) ^ bits_of(b)) & INT64_MIN) * static_cast<double>(gain);
  }
  return rounded<kRounding>(rounded<kRounding>(a * b).wide * static_cast<double>(gain)).wide;
}

// All outputs of a block. The low-pass is two pairs further behind than it must, so that neither waits for the other.
// False if outputs turn out not to be in the range that they were rounded for; the memories are then as before.
template <Rounding kHigh, Rounding kLow>
bool run(const FilterBank& bank, float gain, const f64x2* sums, f64x2* high, float* mixed, size_t n) noexcept {
  HighPasses<kHigh> high_passes(bank, sums);
  PairInputs inputs(bank.low_pass.b, bank.memory_low.inputs);
  f64x2 product[kMostPairs];
  const auto step_high = [&](size_t i) __attribute__((always_inline)) {
    const auto outputs = high_passes.step();
    high[2 * i] = outputs.first.wide;
    high[2 * i + 1] = outputs.second.wide;
    product[i] = amplified_product<kHigh>(outputs.first, outputs.second, gain);
  };

  constexpr size_t kBehind = kFilterPairs + 2;
  f64x2 begun[kFilterPairs];
  for (size_t i = 0; i < kBehind; ++i) step_high(i);
  for (size_t i = 0; i < kFilterPairs; ++i) begun[i] = inputs.step(product[i]);
  LowPass<kLow> low_pass(bank, begun, mixed);
  f64x2 sum = inputs.step(product[kFilterPairs]);
  for (size_t i = kBehind; i < n / 2; ++i) {
    low_pass.step(sum);
    sum = inputs.step(product[i - 1]);
    step_high(i);
  }
  low_pass.step(sum);
  low_pass.step(inputs.step(product[n / 2 - 1]));
  for (size_t i = 0; i < kFilterPairs; ++i) low_pass.step(f64x2{});
  if (kHigh == Rounding::kDenormal && !high_passes.all_denormal()) return false;
  if (kLow == Rounding::kDenormal && !low_pass.all_denormal()) return false;

  for (size_t i = 0; i < kFilterOrder; ++i) {
    const size_t t = n - kFilterOrder + i;
    bank.memory_low.inputs[i] = static_cast<float>(product[t / 2][t % 2]);
    bank.memory_a.outputs[i] = static_cast<float>(high[t][0]);
    bank.memory_b.outputs[i] = static_cast<float>(high[t][1]);
  }
  memcpy(bank.memory_low.outputs, mixed + n - kFilterOrder, sizeof bank.memory_low.outputs);
  return true;
}

#if defined(__SSE2__)
constexpr float kLeastNormal = 0x1p-126f;

bool are_below(float limit, const float* values, size_t n) noexcept {
  for (size_t i = 0; i < n; ++i)
    if (fabsf(values[i]) >= limit) return false;
  return true;
}
bool are_denormal(const FilterMemory& memory) noexcept {
  return are_below(kLeastNormal, memory.outputs, kFilterOrder);
}

// What an input's high-passed samples will hardly differ from.
enum class Likely { kNormal, kDenormal, kEither };

Likely likely(const FilterMemory& memory, const float* input, size_t n) noexcept {
  constexpr float kLeastSample = 0x1p-15f, kFarFromDenormal = 0x1p-20f, kDenormalLimit = 0x1p-149f;
  if (are_below(kLeastSample, input, n)) return are_denormal(memory) ? Likely::kDenormal : Likely::kEither;
  const bool goes_on = !are_below(kFarFromDenormal, memory.outputs, kFilterOrder);
  const bool begins = are_below(kDenormalLimit, memory.outputs, kFilterOrder);
  return goes_on || begins ? Likely::kNormal : Likely::kEither;
}

void run_as_likely(const FilterBank& bank, float gain, const f64x2* sums, Likely a, Likely b, f64x2* high, float* mixed,
                   size_t n) noexcept {
  using enum Rounding;
  if (a == Likely::kNormal && b == Likely::kNormal) {
    run<kConverted, kConverted>(bank, gain, sums, high, mixed, n);
    return;
  }
  if (are_denormal(bank.memory_low)) {
    const bool all = a == Likely::kDenormal && b == Likely::kDenormal;
    const bool one = a == Likely::kDenormal || b == Likely::kDenormal;
    if (all && run<kDenormal, kDenormal>(bank, gain, sums, high, mixed, n)) return;
    if (one && run<kEither, kDenormal>(bank, gain, sums, high, mixed, n)) return;
  }
  run<kEither, kEither>(bank, gain, sums, high, mixed, n);
}
#endif

bool are_zero(const float* values, size_t n) noexcept {
  for (size_t i = 0; i < n; ++i) {
    uint32_t bits;
    memcpy(&bits, values + i, sizeof bits);
    if (bits != 0) return false;
  }
  return true;
}

// The input sides of both high-passes' sums. Those of silence, which has no -0 in it, are +0.
void sum_inputs(const FilterBank& bank, Width width, const float* a, const float* b, size_t n, f64x2* sums) noexcept {
  if (width == Width::kAny) return sum_inputs(bank, a, b, n, sums);
  const bool silent = are_zero(a, n) && are_zero(b, n) && are_zero(bank.memory_a.inputs, kFilterOrder) &&
                      are_zero(bank.memory_b.inputs, kFilterOrder);
  if (!silent) return sum_inputs_of_16_bits(bank, a, b, n, sums);
  memset(sums, 0, (n + kFilterOrder) * sizeof *sums);
}

}  // namespace

void filter_block(const FilterBank& bank, float gain, Width width, const float* a, const float* b, f64x2* high,
                  float* mixed, size_t n) noexcept {
  f64x2 sums[kFilterMost + kFilterOrder];
  sum_inputs(bank, width, a, b, n, sums);
  memcpy(bank.memory_a.inputs, a + n - kFilterOrder, sizeof bank.memory_a.inputs);
  memcpy(bank.memory_b.inputs, b + n - kFilterOrder, sizeof bank.memory_b.inputs);
#if defined(__SSE2__)
  run_as_likely(bank, gain, sums, likely(bank.memory_a, a, n), likely(bank.memory_b, b, n), high, mixed, n);
#else
  run<Rounding::kConverted, Rounding::kConverted>(bank, gain, sums, high, mixed, n);
#endif
}

void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept {
  for (size_t at = 0; at < n; at += kFilterMost) {
    f64x2 high[kFilterMost];
    filter_block(bank, gain, Width::kAny, a + at, b + at, high, mixed + at, kFilterMost);
    for (size_t i = 0; i < kFilterMost; ++i) {
      a[at + i] = static_cast<float>(high[i][0]);
      b[at + i] = static_cast<float>(high[i][1]);
    }
  }
}

}  // namespace zeto
