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
void Transform::pass2(int ido, int l1, const float* from, float* to, const float* wa) const {
  const auto in = [=](int i, int k, int j) { return from[i + ido * (k + l1 * j)]; };
  const auto out = [=](int i, int j, int k) -> float& { return to[i + ido * (j + 2 * k)]; };
  for (int k = 0; k < l1; ++k) {
    out(0, 0, k) = in(0, k, 0) + in(0, k, 1);
    out(ido - 1, 1, k) = in(0, k, 0) - in(0, k, 1);
    for (int i = 1; i + 1 < ido; i += 2) {
      const float c = wa[i - 1], s = wa[i];
      const float re = c * in(i, k, 1) + s * in(i + 1, k, 1);
      const float im = c * in(i + 1, k, 1) - s * in(i, k, 1);
      out(i, 0, k) = in(i, k, 0) + re;
      out(i + 1, 0, k) = in(i + 1, k, 0) + im;
      out(ido - 2 - i, 1, k) = in(i, k, 0) - re;
      out(ido - 1 - i, 1, k) = im - in(i + 1, k, 0);
    }
    if (ido % 2 == 0) {
      out(ido - 1, 0, k) = in(ido - 1, k, 0);
      out(0, 1, k) = -in(ido - 1, k, 1);
    }
  }
}

void Transform::pass4(int ido, int l1, const float* from, float* to, const float* wa) const {
  const auto in = [=](int i, int k, int j) { return from[i + ido * (k + l1 * j)]; };
  const auto out = [=](int i, int j, int k) -> float& { return to[i + ido * (j + 4 * k)]; };
  for (int k = 0; k < l1; ++k) {
    const float odd = in(0, k, 1) + in(0, k, 3);
    const float even = in(0, k, 0) + in(0, k, 2);
    out(0, 0, k) = odd + even;
    out(ido - 1, 3, k) = even - odd;
    out(ido - 1, 1, k) = in(0, k, 0) - in(0, k, 2);
    out(0, 2, k) = in(0, k, 3) - in(0, k, 1);
    for (int i = 1; i + 1 < ido; i += 2) {
      float re[4] = {in(i, k, 0)}, im[4] = {in(i + 1, k, 0)};
      for (int j = 1; j < 4; ++j) {
        const float c = wa[(j - 1) * ido + i - 1], s = wa[(j - 1) * ido + i];
        re[j] = c * in(i, k, j) + s * in(i + 1, k, j);
        im[j] = c * in(i + 1, k, j) - s * in(i, k, j);
      }
      const float even_re = re[0] + re[2], even_im = im[0] + im[2];
      const float odd_re = re[1] + re[3], odd_im = im[1] + im[3];
      out(i, 0, k) = odd_re + even_re;
      out(i + 1, 0, k) = odd_im + even_im;
      out(ido - 2 - i, 3, k) = even_re - odd_re;
      out(ido - 1 - i, 3, k) = odd_im - even_im;
      const float cross_re = re[0] - re[2], cross_im = im[0] - im[2];
      const float turned_re = im[1] - im[3], turned_im = re[3] - re[1];
      out(i, 2, k) = turned_re + cross_re;
      out(i + 1, 2, k) = turned_im + cross_im;
      out(ido - 2 - i, 1, k) = cross_re - turned_re;
      out(ido - 1 - i, 1, k) = turned_im - cross_im;
    }
    if (ido % 2 == 0) {
      constexpr float kHalfSqrt2 = 0.70710677f;
      const int last = ido - 1;
      const float im = -kHalfSqrt2 * (in(last, k, 1) + in(last, k, 3));
      const float re = kHalfSqrt2 * (in(last, k, 1) - in(last, k, 3));
      out(last, 0, k) = re + in(last, k, 0);
      out(last, 2, k) = in(last, k, 0) - re;
      out(0, 1, k) = im - in(last, k, 2);
      out(0, 3, k) = im + in(last, k, 2);
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
