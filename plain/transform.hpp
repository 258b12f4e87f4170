// The real transform said plainly: one pass per factor, element by element from index formulas. It shares no code with
// the library, which must give the same bits.
#pragma once

#include <vector>

namespace plain {

// Both directions for one length, 1 and up.
class Transform {
 public:
  explicit Transform(int n);
  // n samples in, n + 2 values out: real and imaginary part of bins 0 .. n/2, unscaled. Behind an odd length's last bin
  // comes a zero.
  void forward(float* samples);
  // The same the other way round: n times the samples; what comes after them stays. The imaginary parts of bin 0 and,
  // if the length is even, of bin n/2 do not count.
  void backward(float* spectrum);

 private:
  int n_;
  std::vector<int> factors_;
  std::vector<std::vector<float>> twiddles_;  // per factor: rows 1 .. factor - 1 of ido floats, pairs of cosine, sine
  std::vector<float> other_;
};

}  // namespace plain
