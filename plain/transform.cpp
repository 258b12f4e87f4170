#include "plain/transform.hpp"

#include <cmath>
#include <utility>

namespace plain {

Transform::Transform(int n) : n_(n), other_(size_t(n)) {
  int rest = n;
  for (; rest % 4 == 0; rest /= 4) factors_.push_back(4);
  if (rest == 2) factors_.insert(factors_.begin(), 2);

  const float step = 6.28318530717958648f / float(n);
  int l1 = 1;
  for (int factor : factors_) {
    const int ido = n / (l1 * factor);
    std::vector<float> rows(size_t((factor - 1) * ido));
    for (int row = 1; row < factor; ++row) {
      const float row_step = float(row * l1) * step;
      for (int m = 1; 2 * m < ido; ++m) {
        const size_t at = size_t((row - 1) * ido + 2 * (m - 1));
        rows[at] = std::cos(float(m) * row_step);
        rows[at + 1] = std::sin(float(m) * row_step);
      }
    }
    twiddles_.push_back(rows);
    l1 *= factor;
  }
}

// In: column k of row j starts at ido (k + l1 j). Out: row j of column k starts at ido (j + 2 k). Odd i are real parts,
// the even i that follow them imaginary ones; rows of odd number go backwards.
void Transform::pass2(int ido, int l1, const float* __restrict from, float* __restrict to, const float* __restrict wa) {
  for (int k = 0; k < l1; ++k) {
    const float *in0 = from + ido * k, *in1 = from + ido * (k + l1);
    float *out0 = to + 2 * ido * k, *out1 = out0 + ido;
    out0[0] = in0[0] + in1[0];
    out1[ido - 1] = in0[0] - in1[0];
    for (int i = 1; i + 1 < ido; i += 2) {
      const float c = wa[i - 1], s = wa[i];
      const float re = c * in1[i] + s * in1[i + 1];
      const float im = c * in1[i + 1] - s * in1[i];
      out0[i] = in0[i] + re;
      out0[i + 1] = in0[i + 1] + im;
      out1[ido - 2 - i] = in0[i] - re;
      out1[ido - 1 - i] = im - in0[i + 1];
    }
    if (ido % 2 == 0) {
      out0[ido - 1] = in0[ido - 1];
      out1[0] = -in1[ido - 1];
    }
  }
}

void Transform::pass4(int ido, int l1, const float* __restrict from, float* __restrict to, const float* __restrict wa) {
  const int row = ido * l1, last = ido - 1;
  const float *wa1 = wa, *wa2 = wa + ido, *wa3 = wa + 2 * ido;
  for (int k = 0; k < l1; ++k) {
    const float* in = from + ido * k;
    float* out = to + 4 * ido * k;
    const float odd = in[row] + in[3 * row];
    const float even = in[0] + in[2 * row];
    out[0] = odd + even;
    out[3 * ido + last] = even - odd;
    out[ido + last] = in[0] - in[2 * row];
    out[2 * ido] = in[3 * row] - in[row];
    if (ido % 2 != 0) continue;
    constexpr float kHalfSqrt2 = 0.70710677f;
    const float im = -kHalfSqrt2 * (in[row + last] + in[3 * row + last]);
    const float re = kHalfSqrt2 * (in[row + last] - in[3 * row + last]);
    out[last] = re + in[last];
    out[2 * ido + last] = in[last] - re;
    out[ido] = im - in[2 * row + last];
    out[3 * ido] = im + in[2 * row + last];
  }
  for (int i = 1; i + 1 < ido; i += 2) {
    const float c1 = wa1[i - 1], s1 = wa1[i], c2 = wa2[i - 1], s2 = wa2[i], c3 = wa3[i - 1], s3 = wa3[i];
    for (int k = 0; k < l1; ++k) {
      const float* in = from + ido * k + i;
      float* out = to + 4 * ido * k + i;
      float* mirrored = to + 4 * ido * k + ido - 2 - i;
      const float re1 = c1 * in[row] + s1 * in[row + 1], im1 = c1 * in[row + 1] - s1 * in[row];
      const float re2 = c2 * in[2 * row] + s2 * in[2 * row + 1], im2 = c2 * in[2 * row + 1] - s2 * in[2 * row];
      const float re3 = c3 * in[3 * row] + s3 * in[3 * row + 1], im3 = c3 * in[3 * row + 1] - s3 * in[3 * row];
      const float even_re = in[0] + re2, even_im = in[1] + im2, odd_re = re1 + re3, odd_im = im1 + im3;
      out[0] = odd_re + even_re;
      out[1] = odd_im + even_im;
      mirrored[3 * ido] = even_re - odd_re;
      mirrored[3 * ido + 1] = odd_im - even_im;
      const float cross_re = in[0] - re2, cross_im = in[1] - im2, turned_re = im1 - im3, turned_im = re3 - re1;
      out[2 * ido] = turned_re + cross_re;
      out[2 * ido + 1] = turned_im + cross_im;
      mirrored[ido] = cross_re - turned_re;
      mirrored[ido + 1] = turned_im - cross_im;
    }
  }
}

void Transform::forward(float* samples) {
  float* from = samples;
  float* to = other_.data();
  int l1 = n_;
  for (size_t f = factors_.size(); f-- > 0;) {
    const int ido = n_ / l1;
    l1 /= factors_[f];
    const float* wa = twiddles_[f].data();
    factors_[f] == 4 ? pass4(ido, l1, from, to, wa) : pass2(ido, l1, from, to, wa);
    std::swap(from, to);
  }
  // Bin 0 and bin n/2 are real; the others move up by one to make room for the imaginary part of bin 0.
  for (int i = n_ - 1; i >= 1; --i) samples[i + 1] = from[i];
  samples[0] = from[0];
  samples[1] = 0.0f;
  samples[n_ + 1] = 0.0f;
}

}  // namespace plain
