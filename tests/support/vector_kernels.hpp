// The vector kernels under one face, each beside a plain rendering of its own: every operation is taken in double
// precision and rounded to single at once. That is exact: a double has more than twice the digits of a float, so the
// first rounding never spoils the second.
#pragma once

#include <cmath>
#include <cstdint>

#include "zeto/kernels.h"

namespace support {

constexpr uint32_t kKernelLengths[] = {0, 1, 3, 4, 5, 15, 16, 17, 31, 257, 480, 509, 512};

using VectorCall = void (*)(const float* a, const float* b, uint32_t n, float* out);
struct VectorMap {
  const char* name;
  VectorCall run;
  float (*plain)(double a, double b);
  bool onto_first = true;  // the output may be the first input
};
struct VectorReduction {
  const char* name;
  VectorCall run, plain;  // one or two results
};

inline float to_float(double x) {
  return static_cast<float>(x);
}
// Of a number and none, the number; of two zeros, the negative one.
inline double lowest(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) ? b : a;
  return a < b || (a == b && std::signbit(a)) ? a : b;
}
inline double highest(double a, double b) {
  return -lowest(-a, -b);
}

#define ZETO_CALL(call) [](const float* a, const float* b, uint32_t n, float* out) { (void)a, (void)b, call; }
#define ZETO_PLAIN(value) [](double p, double q) { return (void)q, to_float(value); }
inline constexpr VectorMap kVectorMaps[] = {
    {"add_vf", ZETO_CALL(zeto_vf_add_vf(a, b, n, out)), ZETO_PLAIN(p + q)},
    {"sub_vf", ZETO_CALL(zeto_vf_sub_vf(a, b, n, out)), ZETO_PLAIN(p - q)},
    {"dot_mult_vf", ZETO_CALL(zeto_vf_dot_mult_vf(a, b, int32_t(n), out)), ZETO_PLAIN(p* q)},
    {"dot_div", ZETO_CALL(zeto_vf_dot_div(a, b, n, out, 1e-6f)),
     ZETO_PLAIN(double(to_float(p* std::copysign(1, q))) * double(to_float(1 / highest(std::fabs(q), double(1e-6f)))))},
    {"add_scalar", ZETO_CALL(zeto_vf_add_scalar(a, n, out, 0.7f)), ZETO_PLAIN(p + double(0.7f))},
    {"mult_scalar", ZETO_CALL(zeto_vf_mult_scalar(a, n, out, 0.7f)), ZETO_PLAIN(p* double(0.7f))},
    {"maxim_limit", ZETO_CALL(zeto_vf_maxim_limit(a, n, out, -0.0f)), ZETO_PLAIN(lowest(p, -0.0))},
    {"minim_limit", ZETO_CALL(zeto_vf_minim_limit(a, n, out, 0.0f)), ZETO_PLAIN(highest(p, 0.0))},
    {"smooth", ZETO_CALL((zeto_vf_copy(b, n, out), zeto_vf_smooth(a, int32_t(n), out, 0.3f))),  // it works in place
     ZETO_PLAIN(p + double(to_float(double(to_float(q - p)) * double(0.3f)))), false}};

// Adds up every `step`-th product, in single precision.
inline float sum_of_products(const float* a, const float* b, uint32_t from, uint32_t to, uint32_t step, float sum = 0) {
  for (uint32_t i = from; i < to; i += step)
    sum = to_float(double(sum) + double(to_float(double(a[i]) * double(b[i]))));
  return sum;
}
inline float plain_sum(const float* x, uint32_t n) {
  float sum = 0;
  for (uint32_t i = 0; i < n; ++i) sum = to_float(double(sum) + double(x[i]));
  return sum;
}
inline void plain_extreme(const float* x, uint32_t n, float sign, float* out) {
  for (uint32_t i = 0; i < n; ++i)
    if (i == 0 || sign * x[i] > sign * out[0]) out[0] = x[i], out[1] = static_cast<float>(i);
}
inline void search(uint32_t (*kernel)(const float*, uint32_t, float*), const float* x, uint32_t n, float* out) {
  if (n > 0) out[1] = static_cast<float>(kernel(x, n, out));
}
inline constexpr VectorReduction kVectorReductions[] = {
    {"dot_mult_get_sum", ZETO_CALL(*out = zeto_vf_dot_mult_get_sum(a, b, n)),
     ZETO_CALL(*out = sum_of_products(a, b, 0, n, 1))},
    {"dot_power_get_sum", ZETO_CALL(*out = zeto_vf_dot_power_get_sum(a, n)),
     ZETO_CALL(*out =
                   to_float(double(sum_of_products(a, a, 1, n - n % 16, 2)) +
                            double(sum_of_products(a, a, n - n % 16, n, 1, sum_of_products(a, a, 0, n - n % 16, 2)))))},
    {"get_sum", ZETO_CALL(*out = zeto_vf_get_sum(a, n)), ZETO_CALL(*out = plain_sum(a, n))},
    {"get_mean", ZETO_CALL(*out = zeto_vf_get_mean(a, n)),
     ZETO_CALL(*out = to_float(double(plain_sum(a, n)) / static_cast<double>(n)))},
    {"get_max", ZETO_CALL(search(zeto_vf_get_max, a, n, out)), ZETO_CALL(plain_extreme(a, n, 1, out))},
    {"get_min", ZETO_CALL(search(zeto_vf_get_min, a, n, out)), ZETO_CALL(plain_extreme(a, n, -1, out))}};
#undef ZETO_CALL
#undef ZETO_PLAIN

}  // namespace support
