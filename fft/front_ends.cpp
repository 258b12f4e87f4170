// Scaling and spectrum layouts on top of the transform.
#include <stddef.h>
#include <string.h>

#include "zeto/fft.h"

namespace {

float one_over(int32_t n) noexcept {
  return 1.0f / static_cast<float>(n);
}

}  // namespace

extern "C" {

void zeto_fft_init(zeto_drft_lookup* lookup, int32_t n) {
  zeto_drft_init(lookup, n);
}

void zeto_fft_reinit(zeto_drft_lookup* lookup, int32_t n) {
  zeto_drft_reinit(lookup, n);
}

void zeto_fft_destroy(void) {
  zeto_drft_clear();
}

// Plain ascending loops, no __restrict: `out` may be `in`.

void zeto_spx_fft(zeto_drft_lookup* lookup, const float* in, float* out) {
  const float scale = one_over(lookup->n);
  for (int32_t i = 0; i < lookup->n; ++i) out[i] = in[i] * scale;
  zeto_drft_forward(lookup, out);
}

void zeto_spx_ifft(zeto_drft_lookup* lookup, const float* in, float* out) {
  if (in != out)
    for (int32_t i = 0; i < lookup->n; ++i) out[i] = in[i];
  zeto_drft_backward(lookup, out);
}

void zeto_rfft_float(zeto_drft_lookup* lookup, float* buf) {
  zeto_drft_forward(lookup, buf);
  zeto_freq_layout_expand_toN_plus2(buf, lookup->n + 2);
}

void zeto_irfft_float(zeto_drft_lookup* lookup, float* buf) {
  zeto_freq_layout_compact_toN(buf, lookup->n + 2, one_over(lookup->n));
  zeto_drft_backward(lookup, buf);
}

void zeto_freq_layout_compact_toN(float* buf, int32_t len, float scale) {
  const ptrdiff_t last = ptrdiff_t{len} - 1;
  buf[0] *= scale;
  for (ptrdiff_t k = 1; k < last; ++k) buf[k] = buf[k + 1] * scale;
  buf[last] = 0.0f;
}

void zeto_freq_layout_expand_toN_plus2(float* buf, int32_t len) {
  const ptrdiff_t last = ptrdiff_t{len} - 1;
  if (last > 2) memmove(buf + 2, buf + 1, static_cast<size_t>(last - 2) * sizeof *buf);
  buf[last] = 0.0f;
  buf[1] = 0.0f;
}

}  // extern "C"
