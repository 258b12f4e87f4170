// Fourier transforms, and what they are good for: long filters.
#pragma once
#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace zeto::tool {

/// Of a power of two.
class Fourier {
 public:
  explicit Fourier(size_t len);

  size_t len() const { return len_; }

  /// In place.
  void transform(std::span<std::complex<double>> x) const;
  /// In place, and divided by the length: the transform's inverse.
  void invert(std::span<std::complex<double>> x) const;

 private:
  size_t len_;
  std::vector<std::complex<double>> turns_;
};

/// A filter: tap i weighs the sample `i - lead` samples ago.
struct Filter {
  std::vector<double> taps;
  int64_t lead = 0;
};

/// What the filter makes of x, as many samples. Before and behind x there is silence.
std::vector<float> filtered(std::span<const float> x, const Filter& filter);

/// One behind the other.
Filter joined(const Filter& a, const Filter& b);

}  // namespace zeto::tool
