#include "detector/filter.hpp"

#include <cstring>

namespace zeto {
namespace {

// One output from the ten inputs and outputs before it, oldest first, and the input at inputs[10].
float filter_step(const FilterTables& t, const float* inputs, const float* outputs) noexcept {
  double sum = t.b[kFilterOrder] * static_cast<double>(inputs[0]);
  for (int i = 1; i <= kFilterOrder; ++i) sum += t.b[kFilterOrder - i] * static_cast<double>(inputs[i]);
  for (int i = 0; i < kFilterOrder; ++i) sum -= t.a[kFilterOrder - i] * static_cast<double>(outputs[i]);
  return static_cast<float>(sum);
}

}  // namespace

void filter_in_place(const FilterTables& tables, FilterMemory& memory, float* samples, size_t n) noexcept {
  float inputs[kFilterOrder + 1];
  float* const outputs = memory.outputs;
  std::memcpy(inputs, memory.inputs, sizeof memory.inputs);
  for (size_t i = 0; i < n; ++i) {
    inputs[kFilterOrder] = samples[i];
    samples[i] = filter_step(tables, inputs, outputs);
    std::memmove(inputs, inputs + 1, kFilterOrder * sizeof *inputs);
    std::memmove(outputs, outputs + 1, (kFilterOrder - 1) * sizeof *outputs);
    outputs[kFilterOrder - 1] = samples[i];
  }
  std::memcpy(memory.inputs, inputs, sizeof memory.inputs);
}

}  // namespace zeto
