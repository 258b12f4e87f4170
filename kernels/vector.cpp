// Float vectors. The plain loops define the results; the compiler vectorises the element-wise ones behind its own
// overlap tests. Sums stay scalar, since their order is part of the result.
#include <math.h>
#include <string.h>

#include "kernels/minmax.hpp"
#include "zeto/kernels.h"

namespace {

// Applies f element by element, ascending. No promise of separate arrays is made to the compiler: in-place and partly
// overlapping calls must see the elements written before.
template <typename Op>
inline void each(const float* x, uint32_t n, float* out, Op op) noexcept {
  for (uint32_t i = 0; i < n; ++i) out[i] = op(x[i]);
}

template <typename Op>
inline void each(const float* a, const float* b, uint32_t n, float* out, Op op) noexcept {
  for (uint32_t i = 0; i < n; ++i) out[i] = op(a[i], b[i]);
}

template <typename Beats>
inline uint32_t find_extreme(const float* x, uint32_t n, float* value, Beats beats) noexcept {
  float best = x[0];
  uint32_t index = 0;
  for (uint32_t i = 1; i < n; ++i) {
    if (beats(x[i], best)) {
      best = x[i];
      index = i;
    }
  }
  *value = best;
  return index;
}

inline uint32_t count_of(int32_t n) noexcept {
  return n > 0 ? static_cast<uint32_t>(n) : 0;
}

inline void move(float* dst, const float* src, uint32_t n) noexcept {
  memmove(dst, src, static_cast<size_t>(n) * sizeof(float));
}

}  // namespace

float zeto_vf_dot_mult_get_sum(const float* a, const float* b, uint32_t n) {
  float sum = 0.0f;
  for (uint32_t i = 0; i < n; ++i) sum += a[i] * b[i];
  return sum;
}

float zeto_vf_dot_power_get_sum(const float* x, uint32_t n) {
  const uint32_t paired = n & ~15u;
  float even = 0.0f;
  float odd = 0.0f;
  for (uint32_t i = 0; i < paired; i += 2) {
    even += x[i] * x[i];
    odd += x[i + 1] * x[i + 1];
  }
  for (uint32_t i = paired; i < n; ++i) even += x[i] * x[i];
  return odd + even;
}

const float* zeto_vf_dot_mult_vf(const float* a, const float* b, int32_t n, float* out) {
  each(a, b, count_of(n), out, [](float p, float q) { return p * q; });
  return a;
}

const float* zeto_vf_smooth(const float* x, int32_t n, float* y, float alpha) {
  each(x, y, count_of(n), y, [alpha](float now, float before) { return now + (before - now) * alpha; });
  return x;
}

uint32_t zeto_vf_get_max(const float* x, uint32_t n, float* value) {
  return find_extreme(x, n, value, [](float p, float q) { return p > q; });
}

uint32_t zeto_vf_get_min(const float* x, uint32_t n, float* value) {
  return find_extreme(x, n, value, [](float p, float q) { return p < q; });
}

float zeto_vf_get_sum(const float* x, uint32_t n) {
  float sum = 0.0f;
  for (uint32_t i = 0; i < n; ++i) sum += x[i];
  return sum;
}

float zeto_vf_get_mean(const float* x, uint32_t n) {
  return zeto_vf_get_sum(x, n) / static_cast<float>(n);
}

void zeto_vf_add_vf(const float* a, const float* b, uint32_t n, float* out) {
  each(a, b, n, out, [](float p, float q) { return p + q; });
}

void zeto_vf_sub_vf(const float* a, const float* b, uint32_t n, float* out) {
  each(a, b, n, out, [](float p, float q) { return p - q; });
}

void zeto_vf_dot_pow(const float* x, uint32_t n, float* out, float p) {
  each(x, n, out, [p](float v) { return expf(logf(v) * p); });
}

void zeto_vf_dot_div(const float* a, const float* b, uint32_t n, float* out, float eps) {
  each(a, b, n, out, [eps](float numerator, float denominator) {
    const float sign = copysignf(1.0f, denominator);
    const float reciprocal = 1.0f / zeto::max_num(fabsf(denominator), eps);
    return numerator * sign * reciprocal;
  });
}

const float* zeto_vf_add_scalar(const float* x, uint32_t n, float* out, float s) {
  each(x, n, out, [s](float v) { return v + s; });
  return x;
}

const float* zeto_vf_mult_scalar(const float* x, uint32_t n, float* out, float s) {
  each(x, n, out, [s](float v) { return v * s; });
  return x;
}

const float* zeto_vf_maxim_limit(const float* x, uint32_t n, float* out, float limit) {
  each(x, n, out, [limit](float v) { return zeto::min_num(v, limit); });
  return x;
}

const float* zeto_vf_minim_limit(const float* x, uint32_t n, float* out, float limit) {
  each(x, n, out, [limit](float v) { return zeto::max_num(v, limit); });
  return x;
}

void zeto_vf_10log10(const float* x, uint32_t n, float* out, float floor) {
  each(x, n, out, [floor](float v) { return log10f(zeto::max_num(v, floor)) * 10.0f; });
}

float* zeto_vf_fill(float* x, uint32_t n, float v) {
  for (uint32_t i = 0; i < n; ++i) x[i] = v;
  return x;
}

void zeto_vf_copy(const float* src, uint32_t n, float* dst) {
  move(dst, src, n);
}

void zeto_vf_shift_and_insert_start(float* buf, const float* new_samples, int32_t len, uint32_t k) {
  move(buf + k, buf, static_cast<uint32_t>(len) - k);
  move(buf, new_samples, k);
}

void zeto_vf_shift_and_insert_end(float* buf, const float* new_samples, uint32_t len, uint32_t k) {
  const uint32_t kept = len - k;
  move(buf, buf + k, kept);
  move(buf + kept, new_samples, k);
}
