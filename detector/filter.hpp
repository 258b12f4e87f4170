// The tenth-order recursive filters, and the three of the analysis run as one.
//
// Each output is summed in double precision and rounded to float, and the rounded value is what feeds back:
//   y[n] = float(b10 x[n-10] + b9 x[n-9] + ... + b0 x[n] - a10 y[n-10] - ... - a2 y[n-2] - a1 y[n-1])
// summed in this order everywhere. The newest output comes last because it is known last.
#pragma once

#include <stddef.h>

#include "kernels/lanes.hpp"

namespace zeto {

constexpr size_t kFilterOrder = 10;

// What a filter remembers between calls, oldest first.
struct FilterMemory {
  float inputs[kFilterOrder];
  float outputs[kFilterOrder];
};

// Coefficients of z^0 .. z^-10. a[0] = 1, and the numerator reads the same both ways: b[k] = b[10 - k]. The high-pass's
// are floats: the product of one with a sample is exact in double precision.
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

// How wide samples are. If they have 16 bits, full scale 1.0, and so have the inputs that the memories hold, the sums
// of a high-pass's inputs are exact in any order.
enum class Width { k16Bits, kAny };

// High-passes a and b, multiplies them, scales the product by the gain and low-passes it into `mixed`; the memories go
// on. Samples of one length, any of which may be in the same place.
// @param n     samples of each: even, from 14 (twice what the low-pass is behind) to kFilterMost.
// @param high  n pairs of high-passed samples, which are floats widened.
constexpr size_t kFilterMost = 480;
void filter_block(const FilterBank& bank, float gain, Width width, const float* a, const float* b, f64x2* high,
                  float* mixed, size_t n) noexcept;

// The same block by block, and the high-passed samples replace a and b.
// @param n  a multiple of kFilterMost.
void filter_and_mix(const FilterBank& bank, float gain, float* a, float* b, float* mixed, size_t n) noexcept;

}  // namespace zeto
