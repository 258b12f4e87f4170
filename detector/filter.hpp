// The tenth-order recursive filter, direct form.
#pragma once

#include <cstddef>

namespace zeto {

constexpr int kFilterOrder = 10;

// What a filter remembers between calls, oldest first.
struct FilterMemory {
  float inputs[kFilterOrder];
  float outputs[kFilterOrder];
};

// Coefficients of z^0 .. z^-10, a[0] = 1.
struct FilterTables {
  const double* b;
  const double* a;
};

// Filters n samples in place. Each output is summed in double precision and rounded to float, and the rounded value is
// what feeds back. The order of the sum is part of the result and the same everywhere: inputs from the oldest to the
// newest, then outputs from the oldest to the newest. The newest output comes last because it is known last: all
// before it can be summed while it is still in the making.
void filter_in_place(const FilterTables& tables, FilterMemory& memory, float* samples, size_t n) noexcept;

}  // namespace zeto
