// The tenth-order recursive filters, and the three of the analysis run as one.
//
// Each output is summed in double precision and rounded to float, and the rounded value is what feeds back:
//   y[n] = float(b10 x[n-10] + b9 x[n-9] + ... + b0 x[n] - a10 y[n-10] - ... - a2 y[n-2] - a1 y[n-1])
// summed in this order everywhere. The newest output comes last because it is known last.
#pragma once

#include <stddef.h>

namespace zeto {

constexpr size_t kFilterOrder = 10;

// What a filter remembers between calls, oldest first.
struct FilterMemory {
  float inputs[kFilterOrder];
  float outputs[kFilterOrder];
};

// Coefficients of z^0 .. z^-10. a[0] = 1, and the numerator reads the same both ways: b[k] = b[10 - k].
struct FilterTables {
  const double* b;
  const double* a;
};

struct FilterBank {
  FilterTables high_pass;
  FilterTables low_pass;
  FilterMemory& memory_a;
  FilterMemory& memory_b;
  FilterMemory& memory_low;
};

// High-passes a and b in place, multiplies them, scales the product by the gain and low-passes it into `mixed`.
// @param n  samples of each, a multiple of kFilterChunk.
constexpr size_t kFilterChunk = 160;
void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept;

}  // namespace zeto
