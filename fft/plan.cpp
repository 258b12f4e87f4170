// Setting up a lookup record: factors, twiddles, and what happens to lengths out of range.
#include <stdio.h>
#include <string.h>

#include "fft/general_passes.hpp"
#include "zeto/fft.h"

static_assert(sizeof(zeto_drft_lookup) == 6276 && offsetof(zeto_drft_lookup, factors) == 6144 &&
              offsetof(zeto_drft_lookup, n) == 6272);

namespace zeto::fft {
namespace {

// Scratch and twiddles take 2n floats, so that is what the record has room for.
constexpr int32_t kTableLenMax = 3 * ZETO_FFT_LEN_MAX / 2;

// 4 first, then 2, 3, 5, then every odd number: composite ones never divide what is left.
int32_t next_trial(int32_t trial) noexcept {
  switch (trial) {
    case 4:
      return 2;
    case 2:
      return 3;
    default:
      return trial + 2;
  }
}

// n = 2 .. 2^31 - 1; at most 19 factors.
int32_t factorise(int32_t n, int32_t* list) noexcept {
  int32_t count = 0;
  for (int32_t trial = 4; n > 1; trial = next_trial(trial)) {
    for (; n > 1 && n % trial == 0; n /= trial) {
      if (trial == 2) {  // at most once, after the fours; it is placed first, so that odd factors meet odd columns only
        memmove(list + 1, list, static_cast<size_t>(count) * sizeof *list);
        list[0] = 2;
      } else {
        list[count] = trial;
      }
      ++count;
    }
  }
  return count;
}

// The last factor works on single values and needs no twiddles.
void build_twiddles(int32_t n, const int32_t* list, int32_t count, float* wa) noexcept {
  const float step = kTwoPi / static_cast<float>(n);
  int32_t l1 = 1;
  for (int32_t f = 0; f + 1 < count; ++f) {
    const int32_t l2 = l1 * list[f];
    const int32_t ido = n / l2;
    for (int32_t j = 1; j < list[f]; ++j, wa += ido) {
      const float row_step = static_cast<float>(j * l1) * step;
      for (int32_t m = 1; 2 * m < ido; ++m) {
        const Pair<float> w = unit_phasor(static_cast<float>(m) * row_step);
        wa[2 * m - 2] = w.re;
        wa[2 * m - 1] = w.im;
      }
    }
    l1 = l2;
  }
}

}  // namespace
}  // namespace zeto::fft

extern "C" {

void fdrffti(int32_t n, float* trig, int32_t* factors) {
  if (n < 2) return;
  factors[0] = n;
  factors[1] = zeto::fft::factorise(n, factors + 2);
  zeto::fft::build_twiddles(n, factors + 2, factors[1], trig + n);
}

void zeto_drft_init(zeto_drft_lookup* lookup, int32_t n) {
  if (n < 1) return;
  if (n > ZETO_FFT_LEN_MAX) {
    fprintf(stderr, "[QANT] zeto_drft init n is %d too large then ZETO_FFT_LEN_MAX n. \n", n);
    n = ZETO_FFT_LEN_MAX;
  }
  memset(lookup, 0, sizeof *lookup);
  lookup->n = n;
  fdrffti(n, lookup->trig, lookup->factors);
}

void zeto_drft_reinit(zeto_drft_lookup* lookup, int32_t n) {
  if (n < 1) return;
  lookup->n = n;
  if (n > ZETO_FFT_LEN_MAX) {
    fprintf(stderr, "[QANT] zeto_drft_reinit n is %d too large then ZETO_FFT_LEN_MAX n. \n", n);
    lookup->n = ZETO_FFT_LEN_MAX;
    if (n > zeto::fft::kTableLenMax) n = ZETO_FFT_LEN_MAX;
  }
  fdrffti(n, lookup->trig, lookup->factors);
}

void zeto_drft_clear(void) {}

}  // extern "C"
