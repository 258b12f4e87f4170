#include "plain/transform.hpp"

#include <cmath>
#include <tuple>
#include <utility>

namespace plain {
namespace {

constexpr float kTwoPi = 6.28318530717958648f;

struct Complex {
  float re, im;
};
Complex operator+(Complex a, Complex b) {
  return {a.re + b.re, a.im + b.im};
}
Complex operator-(Complex a, Complex b) {
  return {a.re - b.re, a.im - b.im};
}
Complex operator*(Complex a, Complex b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
Complex operator*(float a, Complex b) {
  return {a * b.re, a * b.im};
}
Complex conj(Complex a) {
  return {a.re, -a.im};
}
Complex times_i(Complex a) {
  return {-a.im, a.re};
}
Complex over_i(Complex a) {
  return {a.im, -a.re};
}

// An array of columns of ido values. Value 0 is real, pairs start at 1, 3, 5 ..., the last value of an even column is
// real again. Every second column of a spectrum goes backwards: its pair at mirror(i) belongs to pair i.
template <typename Value>
struct Columns {
  Value* data;
  int ido, rows;

  Value& operator()(int i, int row, int slab) const { return data[i + ido * (row + rows * slab)]; }
  Complex pair(int i, int row, int slab) const { return {(*this)(i, row, slab), (*this)(i + 1, row, slab)}; }
  void put(int i, int row, int slab, Complex z) const {
    (*this)(i, row, slab) = z.re;
    (*this)(i + 1, row, slab) = z.im;
  }
  int mirror(int i) const { return ido - 2 - i; }
};

// One pass: samples are l1 columns in each of `ip` slabs, spectra `ip` columns in each of l1 slabs.
struct Pass {
  int ip, ido, l1;
  const float* twiddles;

  Complex twiddle(int row, int i) const { return {twiddles[(row - 1) * ido + i - 1], twiddles[(row - 1) * ido + i]}; }
  Columns<const float> samples(const float* from) const { return {from, ido, l1}; }
  Columns<float> samples(float* to) const { return {to, ido, l1}; }
  Columns<const float> spectra(const float* from) const { return {from, ido, ip}; }
  Columns<float> spectra(float* to) const { return {to, ido, ip}; }
};

void forward2(const Pass& pass, const float* from, float* to) {
  const auto in = pass.samples(from);
  const auto out = pass.spectra(to);
  const int last = pass.ido - 1;
  for (int k = 0; k < pass.l1; ++k) {
    out(0, 0, k) = in(0, k, 0) + in(0, k, 1);
    out(last, 1, k) = in(0, k, 0) - in(0, k, 1);
    for (int i = 1; i < last; i += 2) {
      const Complex a = in.pair(i, k, 0), b = conj(pass.twiddle(1, i)) * in.pair(i, k, 1);
      out.put(i, 0, k, a + b);
      out.put(out.mirror(i), 1, k, conj(a) - conj(b));
    }
    if (last % 2 == 0) continue;
    out(last, 0, k) = in(last, k, 0);
    out(0, 1, k) = -in(last, k, 1);
  }
}

void backward2(const Pass& pass, const float* from, float* to) {
  const auto in = pass.spectra(from);
  const auto out = pass.samples(to);
  const int last = pass.ido - 1;
  for (int k = 0; k < pass.l1; ++k) {
    out(0, k, 0) = in(0, 0, k) + in(last, 1, k);
    out(0, k, 1) = in(0, 0, k) - in(last, 1, k);
    for (int i = 1; i < last; i += 2) {
      const Complex a = in.pair(i, 0, k), b = conj(in.pair(in.mirror(i), 1, k));
      out.put(i, k, 0, a + b);
      out.put(i, k, 1, pass.twiddle(1, i) * (a - b));
    }
    if (last % 2 == 0) continue;
    out(last, k, 0) = 2 * in(last, 0, k);
    out(last, k, 1) = -2 * in(0, 1, k);
  }
}

void forward4(const Pass& pass, const float* from, float* to) {
  constexpr float kHalfSqrt2 = 0.70710677f;
  const auto in = pass.samples(from);
  const auto out = pass.spectra(to);
  const int last = pass.ido - 1;
  for (int k = 0; k < pass.l1; ++k) {
    const float odd = in(0, k, 1) + in(0, k, 3), even = in(0, k, 0) + in(0, k, 2);
    out(0, 0, k) = odd + even;
    out(last, 3, k) = even - odd;
    out(last, 1, k) = in(0, k, 0) - in(0, k, 2);
    out(0, 2, k) = in(0, k, 3) - in(0, k, 1);
    if (last % 2 == 0) continue;
    const float im = -kHalfSqrt2 * (in(last, k, 1) + in(last, k, 3));
    const float re = kHalfSqrt2 * (in(last, k, 1) - in(last, k, 3));
    out(last, 0, k) = re + in(last, k, 0);
    out(last, 2, k) = in(last, k, 0) - re;
    out(0, 1, k) = im - in(last, k, 2);
    out(0, 3, k) = im + in(last, k, 2);
  }
  for (int i = 1; i < last; i += 2) {
    const Complex w1 = conj(pass.twiddle(1, i)), w2 = conj(pass.twiddle(2, i)), w3 = conj(pass.twiddle(3, i));
    for (int k = 0; k < pass.l1; ++k) {
      const Complex a = in.pair(i, k, 0), b = w1 * in.pair(i, k, 1), c = w2 * in.pair(i, k, 2),
                    d = w3 * in.pair(i, k, 3);
      const Complex both = a + c, others = b + d, cross = a - c, turn = over_i(b) - over_i(d);
      out.put(i, 0, k, others + both);
      out.put(out.mirror(i), 3, k, conj(both) - conj(others));
      out.put(i, 2, k, turn + cross);
      out.put(out.mirror(i), 1, k, conj(cross) - conj(turn));
    }
  }
}

void backward4(const Pass& pass, const float* from, float* to) {
  constexpr float kSqrt2 = 1.4142135f;
  const auto in = pass.spectra(from);
  const auto out = pass.samples(to);
  const int last = pass.ido - 1;
  for (int k = 0; k < pass.l1; ++k) {
    const float sum = in(0, 0, k) + in(last, 3, k), difference = in(0, 0, k) - in(last, 3, k);
    out(0, k, 0) = sum + 2 * in(last, 1, k);
    out(0, k, 1) = difference - 2 * in(0, 2, k);
    out(0, k, 2) = sum - 2 * in(last, 1, k);
    out(0, k, 3) = difference + 2 * in(0, 2, k);
    for (int i = 1; i < last; i += 2) {
      const Complex a = in.pair(i, 0, k), b = conj(in.pair(in.mirror(i), 1, k));
      const Complex c = in.pair(i, 2, k), d = conj(in.pair(in.mirror(i), 3, k));
      out.put(i, k, 0, (a + d) + (c + b));
      out.put(i, k, 1, pass.twiddle(1, i) * ((a - d) + times_i(c - b)));
      out.put(i, k, 2, pass.twiddle(2, i) * ((a + d) - (c + b)));
      out.put(i, k, 3, pass.twiddle(3, i) * ((a - d) - times_i(c - b)));
    }
    if (last % 2 == 0) continue;
    const float re = in(last, 0, k) - in(last, 2, k), im = in(0, 1, k) + in(0, 3, k);
    out(last, k, 0) = 2 * (in(last, 0, k) + in(last, 2, k));
    out(last, k, 1) = kSqrt2 * (re - im);
    out(last, k, 2) = 2 * (in(0, 3, k) - in(0, 1, k));
    out(last, k, 3) = -kSqrt2 * (re + im);
  }
}

// What an odd factor makes of one value, or one pair, of each row: rows j and ip - j are folded into a sum and a
// difference; each harmonic is row 0 and the sums times cosines, and the differences times sines, over rising j. The
// angles come from a rotation carried on in floats.
template <typename Value>
struct Folded {
  std::vector<Value> sum, difference;  // row 0 is sum[0]

  Value all() const {
    Value total = sum[0];
    for (size_t j = 1; j < sum.size(); ++j) total = total + sum[j];
    return total;
  }
  std::pair<Value, Value> harmonic(Complex step) const {
    Complex angle = step;
    Value even = sum[0] + angle.re * sum[1], odd = angle.im * difference[1];
    for (size_t j = 2; j < sum.size(); ++j) {
      angle = step * angle;
      even = even + angle.re * sum[j];
      odd = odd + angle.im * difference[j];
    }
    return {even, odd};
  }
};

Complex first_angle(int ip) {
  const float angle = kTwoPi / float(ip);
  return {std::cos(angle), std::sin(angle)};
}

void forward_odd(const Pass& pass, const float* from, float* to) {
  const auto in = pass.samples(from);
  const auto out = pass.spectra(to);
  const int half = (pass.ip + 1) / 2, last = pass.ido - 1;
  const Complex first = first_angle(pass.ip);
  for (int k = 0; k < pass.l1; ++k) {
    Folded<float> x = {{in(0, k, 0)}, {0}};
    for (int j = 1; j < half; ++j) {
      x.sum.push_back(in(0, k, j) + in(0, k, pass.ip - j));
      x.difference.push_back(in(0, k, pass.ip - j) - in(0, k, j));
    }
    out(0, 0, k) = x.all();
    Complex step = {1, 0};
    for (int j = 1; j < half; ++j) {
      step = first * step;
      std::tie(out(last, 2 * j - 1, k), out(0, 2 * j, k)) = x.harmonic(step);
    }
    for (int i = 1; i < last; i += 2) {
      Folded<Complex> z = {{in.pair(i, k, 0)}, {{}}};
      for (int j = 1; j < half; ++j) {
        const Complex a = conj(pass.twiddle(j, i)) * in.pair(i, k, j);
        const Complex b = conj(pass.twiddle(pass.ip - j, i)) * in.pair(i, k, pass.ip - j);
        z.sum.push_back(a + b);
        z.difference.push_back(over_i(a) - over_i(b));
      }
      out.put(i, 0, k, z.all());
      step = {1, 0};
      for (int j = 1; j < half; ++j) {
        step = first * step;
        const auto [even, odd] = z.harmonic(step);
        out.put(i, 2 * j, k, even + odd);
        out.put(out.mirror(i), 2 * j - 1, k, conj(even) - conj(odd));
      }
    }
  }
}

void backward_odd(const Pass& pass, const float* from, float* to) {
  const auto in = pass.spectra(from);
  const auto out = pass.samples(to);
  const int half = (pass.ip + 1) / 2, last = pass.ido - 1;
  const Complex first = pass.ip == 3 ? Complex{-0.5f, 0.8660254f} : first_angle(pass.ip);
  for (int k = 0; k < pass.l1; ++k) {
    Folded<float> x = {{in(0, 0, k)}, {0}};
    for (int j = 1; j < half; ++j) {
      x.sum.push_back(2 * in(last, 2 * j - 1, k));
      x.difference.push_back(2 * in(0, 2 * j, k));
    }
    out(0, k, 0) = x.all();
    Complex step = {1, 0};
    for (int j = 1; j < half; ++j) {
      step = first * step;
      const auto [even, odd] = x.harmonic(step);
      out(0, k, j) = even - odd;
      out(0, k, pass.ip - j) = even + odd;
    }
    for (int i = 1; i < last; i += 2) {
      Folded<Complex> z = {{in.pair(i, 0, k)}, {{}}};
      for (int j = 1; j < half; ++j) {
        const Complex a = in.pair(i, 2 * j, k), b = conj(in.pair(in.mirror(i), 2 * j - 1, k));
        z.sum.push_back(a + b);
        z.difference.push_back(a - b);
      }
      out.put(i, k, 0, z.all());
      step = {1, 0};
      for (int j = 1; j < half; ++j) {
        step = first * step;
        const auto [even, odd] = z.harmonic(step);
        out.put(i, k, j, pass.twiddle(j, i) * (even + times_i(odd)));
        out.put(i, k, pass.ip - j, pass.twiddle(pass.ip - j, i) * (even - times_i(odd)));
      }
    }
  }
}

}  // namespace

// Fours first, then odd factors in rising order; a two is placed before all.
Transform::Transform(int n) : n_(n), other_(size_t(n)) {
  int rest = n;
  for (; rest % 4 == 0; rest /= 4) factors_.push_back(4);
  if (rest % 2 == 0) {
    factors_.insert(factors_.begin(), 2);
    rest /= 2;
  }
  for (int odd = 3; rest > 1; odd += 2)
    for (; rest % odd == 0; rest /= odd) factors_.push_back(odd);

  const float step = kTwoPi / float(n);
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

void Transform::forward(float* samples) {
  float* from = samples;
  float* to = other_.data();
  int l1 = n_;
  for (size_t f = factors_.size(); f-- > 0;) {
    const int ip = factors_[f], ido = n_ / l1;
    l1 /= ip;
    const Pass pass = {ip, ido, l1, twiddles_[f].data()};
    (ip == 4 ? forward4 : ip == 2 ? forward2 : forward_odd)(pass, from, to);
    std::swap(from, to);
  }
  // Bin 0 and, of an even length, bin n/2 are real; the others move up by one to make room for bin 0's imaginary part.
  for (int i = n_ - 1; i >= 1; --i) samples[i + 1] = from[i];
  samples[0] = from[0];
  samples[1] = 0.0f;
  samples[n_ + 1] = 0.0f;
}

void Transform::backward(float* spectrum) {
  for (int i = 1; i < n_; ++i) spectrum[i] = spectrum[i + 1];
  float* from = spectrum;
  float* to = other_.data();
  int l1 = 1;
  for (size_t f = 0; f < factors_.size(); ++f) {
    const int ip = factors_[f], ido = n_ / (l1 * ip);
    const Pass pass = {ip, ido, l1, twiddles_[f].data()};
    (ip == 4 ? backward4 : ip == 2 ? backward2 : backward_odd)(pass, from, to);
    std::swap(from, to);
    l1 *= ip;
  }
  for (int i = 0; i < n_ && from != spectrum; ++i) spectrum[i] = from[i];
}

}  // namespace plain
