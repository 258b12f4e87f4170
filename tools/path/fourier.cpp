#include "path/fourier.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <utility>

namespace zeto::tool {
namespace {

using Complex = std::complex<double>;

// The language's own product looks for infinities first.
Complex product(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

double sample(std::span<const float> x, int64_t at) {
  return at >= 0 && at < static_cast<int64_t>(x.size()) ? static_cast<double>(x[static_cast<size_t>(at)]) : 0.0;
}

}  // namespace

Fourier::Fourier(size_t len) : len_(len), turns_(len / 2) {
  for (size_t i = 0; i < turns_.size(); ++i) {
    turns_[i] = std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(len));
  }
}

void Fourier::transform(std::span<Complex> x) const {
  for (size_t i = 1, reversed = 0; i < len_; ++i) {
    size_t bit = len_ / 2;
    for (; (reversed & bit) != 0; bit /= 2) reversed ^= bit;
    reversed ^= bit;
    if (i < reversed) std::swap(x[i], x[reversed]);
  }
  for (size_t half = 1; half < len_; half *= 2) {
    const size_t stride = len_ / (2 * half);
    for (size_t first = 0; first < len_; first += 2 * half) {
      for (size_t i = first; i < first + half; ++i) {
        const Complex turned = product(x[i + half], turns_[(i - first) * stride]);
        x[i + half] = x[i] - turned;
        x[i] += turned;
      }
    }
  }
}

void Fourier::invert(std::span<Complex> x) const {
  transform(x);
  std::reverse(x.begin() + 1, x.end());
  for (Complex& value : x) value /= static_cast<double>(len_);
}

/// Block by block; two at a time, the second in place of the imaginary part, which real taps keep apart.
std::vector<float> filtered(std::span<const float> x, const Filter& filter) {
  const size_t taps = filter.taps.size();
  const Fourier fourier(std::bit_ceil(std::max<size_t>(4 * taps, 1024)));
  const auto block = static_cast<int64_t>(fourier.len() - taps + 1);
  std::vector<Complex> response(fourier.len());
  std::copy(filter.taps.begin(), filter.taps.end(), response.begin());
  fourier.transform(response);

  const auto n = static_cast<int64_t>(x.size());
  const int64_t before = static_cast<int64_t>(taps) - 1 - filter.lead;
  std::vector<float> y(x.size());
  std::vector<Complex> piece(fourier.len());
  for (int64_t first = 0; first < n; first += 2 * block) {
    for (size_t i = 0; i < piece.size(); ++i) {
      const int64_t at = first - before + static_cast<int64_t>(i);
      piece[i] = {sample(x, at), sample(x, at + block)};
    }
    fourier.transform(piece);
    for (size_t i = 0; i < piece.size(); ++i) piece[i] = product(piece[i], response[i]);
    fourier.invert(piece);
    for (int64_t i = 0; i < block; ++i) {
      const Complex value = piece[taps - 1 + static_cast<size_t>(i)];
      if (first + i < n) y[static_cast<size_t>(first + i)] = static_cast<float>(value.real());
      if (first + block + i < n) y[static_cast<size_t>(first + block + i)] = static_cast<float>(value.imag());
    }
  }
  return y;
}

Filter joined(const Filter& a, const Filter& b) {
  const size_t taps = a.taps.size() + b.taps.size() - 1;
  const Fourier fourier(std::bit_ceil(taps));
  std::vector<Complex> x(fourier.len());
  std::vector<Complex> y(fourier.len());
  std::copy(a.taps.begin(), a.taps.end(), x.begin());
  std::copy(b.taps.begin(), b.taps.end(), y.begin());
  fourier.transform(x);
  fourier.transform(y);
  for (size_t i = 0; i < x.size(); ++i) x[i] = product(x[i], y[i]);
  fourier.invert(x);
  Filter both{std::vector<double>(taps), a.lead + b.lead};
  for (size_t i = 0; i < taps; ++i) both.taps[i] = x[i].real();
  return both;
}

}  // namespace zeto::tool
