// The real transform said plainly: one pass per factor, element by element from index formulas. It shares no code with
// the library, which must give the same bits.
#pragma once

#include <vector>

namespace plain {

// Forward transform of one length, a product of fours and at most one two.
class Transform {
 public:
  explicit Transform(int n);
  // n samples in, n + 2 values out: real and imaginary part of bins 0 .. n/2, unscaled.
  void forward(float* samples);

 private:
  static void pass2(int ido, int l1, const float* from, float* to, const float* wa);
  static void pass4(int ido, int l1, const float* from, float* to, const float* wa);

  int n_;
  std::vector<int> factors_;
  std::vector<std::vector<float>> twiddles_;  // per factor: rows 1 .. factor - 1 of ido floats, pairs of cosine, sine
  std::vector<float> other_;
};

}  // namespace plain
