// Compares the emitter's sine with the double sine rounded to float, for every STRIDE-th float from 0 to a full turn,
// and its negative. usage: sine_check STRIDE; a stride of 1 looks at all 1086918620 of them and takes some ten seconds.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "emitter/sine.hpp"

int main(int argc, char** argv) {
  const uint32_t stride = argc > 1 ? static_cast<uint32_t>(std::atoi(argv[1])) : 0;
  if (stride == 0) return 2;
  const uint32_t full_turn = std::bit_cast<uint32_t>(6.2831855f);
  uint64_t wrong = 0, seen = 0;
  for (uint64_t bits = 0; bits <= full_turn; bits += stride, ++seen) {
    const double angle = static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(bits)));
    const auto want = static_cast<double>(static_cast<float>(std::sin(angle)));
    const zeto::f64x2 got = zeto::sine(zeto::f64x2{angle, -angle});
    wrong += got[0] != want || got[1] != -want;
  }
  std::printf("%llu of %llu sines differ\n", static_cast<unsigned long long>(wrong),
              static_cast<unsigned long long>(seen));
  return wrong != 0;
}
