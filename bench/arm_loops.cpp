// The hot loops alone, between the marks that llvm-mca looks for; compiled for arm64 by scripts/bench --arm, never run.
#include "detector/recursions.hpp"
#include "emitter/sine.hpp"

#define LOOP_BEGINS(name) asm volatile("// LLVM-MCA-BEGIN " name)
#define LOOP_ENDS() asm volatile("// LLVM-MCA-END")

namespace {

using namespace zeto;
constexpr Rounding kRounding = Rounding::kConverted;

}  // namespace

// Two samples of both recursions, as detector/filter.cpp steps them.
void recursions(const FilterBank& bank, const f64x2* sums, const f64x2* low_sums, f64x2* high, float* mixed, size_t n) {
  HighPasses<kRounding> high_passes(bank, sums);
  LowPass<kRounding> low_pass(bank, low_sums, mixed);
  for (size_t i = 0; i < n; ++i) {
    LOOP_BEGINS("both recursions, two samples");
    low_pass.step(low_sums[i]);
    const auto outputs = high_passes.step();
    high[2 * i] = outputs.first.wide;
    high[2 * i + 1] = outputs.second.wide;
    LOOP_ENDS();
  }
}

// Two samples of the low-pass's inputs.
void low_inputs(const double* b, const float* memory, const f64x2* product, f64x2* sums, size_t n) {
  PairInputs inputs(b, memory);
  for (size_t i = 0; i < n; ++i) {
    LOOP_BEGINS("low-pass inputs, two samples");
    sums[i] = inputs.step(product[i]);
    LOOP_ENDS();
  }
}

// One sample of the high-passes' inputs.
void high_inputs(const Numerator& b, const f64x2* x, f64x2* sums, size_t n) {
  const Numerator own = b;
  for (size_t i = 0; i < n; ++i, ++x) {
    LOOP_BEGINS("high-pass inputs, one sample");
    const f64x2 outer = own.times(0, x[0] + x[10]) + own.times(1, x[1] + x[9]);
    const f64x2 inner = own.times(2, x[2] + x[8]) + own.times(3, x[3] + x[7]);
    sums[i] = outer + inner + (own.times(4, x[4] + x[6]) + own.times(5, x[5]));
    LOOP_ENDS();
  }
}

// Two samples of the chirp's sine.
void sines(f64x2* values, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    LOOP_BEGINS("sine, two samples");
    values[i] = sine(values[i]);
    LOOP_ENDS();
  }
}
