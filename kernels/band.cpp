// Band compression after the edges in zeto/tables.h, and the statistics that go with it.
#include <math.h>

#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace {

void compress(const int32_t* edge, int32_t count, const float* spectrum, float* bands) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    bands[i] = zeto_vf_get_mean(spectrum + edge[i] + 1, static_cast<uint32_t>(edge[i + 1] - edge[i]));
  }
}

void uncompress(const int32_t* edge, int32_t count, const float* bands, float* spectrum) noexcept {
  spectrum[0] = 0.0f;
  for (int32_t i = 0; i < count; ++i) {
    zeto_vf_fill(spectrum + edge[i] + 1, static_cast<uint32_t>(edge[i + 1] - edge[i]), bands[i]);
  }
}

}  // namespace

void compress48b(const float* spectrum, float* bands) {
  compress(KT_band48b, 48, spectrum, bands);
}
void compress33b(const float* spectrum, float* bands) {
  compress(KT_band33b, 33, spectrum, bands);
}
void compress4b(const float* spectrum, float* bands) {
  compress(band4b, 4, spectrum, bands);
}
void compress2b(const float* spectrum, float* bands) {
  compress(band2b, 2, spectrum, bands);
}

void uncompress48b(const float* bands, float* spectrum) {
  uncompress(KT_band48b, 48, bands, spectrum);
}
void uncompress33b(const float* bands, float* spectrum) {
  uncompress(KT_band33b, 33, bands, spectrum);
}
void uncompress4b(const float* bands, float* spectrum) {
  uncompress(band4b, 4, bands, spectrum);
}
void uncompress2b(const float* bands, float* spectrum) {
  uncompress(band2b, 2, bands, spectrum);
}

void copyx2y(const float* x, float* y, int32_t n) {
  for (int32_t i = 0; i < n; ++i) y[i] = x[i];
}

float stdVec(const float* values, int32_t n, float mean) {
  float sum = 0.0f;
  for (int32_t i = 0; i < n; ++i) {
    const float apart = values[i] - mean;
    sum += apart * apart;
  }
  return sqrtf(sum / (n > 1 ? static_cast<float>(n - 1) : 1.0f));
}

float energy_db_cal(const float* x, const float* w, uint32_t n, float offset) {
  float energy = 0.0f;
  for (uint32_t i = 0; i < n; ++i) energy += w[i] * (x[i] * w[i]);
  const auto divisor = static_cast<float>(2u * n * (n - 1u));
  return 10.0f * log10f(energy / divisor + 1e-15f) - offset;
}
