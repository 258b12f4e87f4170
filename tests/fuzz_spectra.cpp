// Fuzz target: the transform at any length, its front-ends and layouts, sliding windows and spectral bands, against
// the plain model to the last bit, and sums in double precision.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>
#include <vector>

#include "fft/driver.hpp"
#include "plain/transform.hpp"
#include "tests/support/fuzz_input.hpp"
#include "tests/support/vector_kernels.hpp"
#include "zeto/fft.h"
#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;
using Lanes = zeto::fft::Lanes4;
using support::FuzzInput;
using support::require;

// What is not a number is alike, whatever its sign and payload: those are the machine's own.
bool same_bits(const Floats& a, const Floats& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float x, float y) {
    return std::bit_cast<uint32_t>(x) == std::bit_cast<uint32_t>(y) || (std::isnan(x) && std::isnan(y));
  });
}

// Any bit patterns, of which the input spells out the first, or a row of numbers within +-1.
Floats take_floats(FuzzInput& input, size_t n, bool any) {
  Floats x(n);
  uint32_t state = input.take<uint32_t>();
  for (float& v : x) v = std::bit_cast<float>(support::next_random(state));
  if (any) {
    input.take(x.data(), std::min<size_t>(n, input.below(64)) * sizeof(float));
    return x;
  }
  for (float& v : x) v = static_cast<float>(support::next_random(state) >> 8) / 8388608.0f - 1.0f;
  for (uint32_t spelt = input.below(16); spelt > 0; --spelt) x[input.below(512) % n] = input.take<int16_t>() / 32768.0f;
  return x;
}

// The packed spectrum by its definition.
Doubles spectrum_of(const Floats& x) {
  const size_t n = x.size();
  Doubles cosine(n), sine(n), packed(n);
  for (size_t i = 0; i < n; ++i) {
    const double angle = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n);
    cosine[i] = std::cos(angle);
    sine[i] = std::sin(angle);
  }
  for (size_t k = 0; 2 * k <= n; ++k) {
    double re = 0, im = 0;
    for (size_t j = 0; j < n; ++j) {
      re += static_cast<double>(x[j]) * cosine[j * k % n];
      im -= static_cast<double>(x[j]) * sine[j * k % n];
    }
    packed[k == 0 ? 0 : 2 * k - 1] = re;
    if (k > 0 && 2 * k < n) packed[2 * k] = im;
  }
  return packed;
}

template <typename Got, typename Wanted>
bool is_near(const Got& got, const Wanted& want, double scale, double bound) {
  double error = 0, power = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const double expected = static_cast<double>(want[i]) * scale;
    error += std::pow(static_cast<double>(got[i]) - expected, 2);
    power += expected * expected;
  }
  return error <= power * bound * bound;
}

Floats made(void (*call)(zeto_drft_lookup*, float*), zeto_drft_lookup& lookup, Floats data) {
  call(&lookup, data.data());
  return data;
}

Floats times(Floats data, float scale) {
  for (float& v : data) v *= scale;
  return data;
}

// One of four transforms side by side.
Floats in_a_lane(FuzzInput& input, const zeto_drft_lookup& lookup, bool forward, Floats data) {
  const size_t n = data.size();
  std::vector<Lanes> lanes(n), scratch(n);
  const uint32_t lane = input.below(4);
  for (size_t i = 0; i < n; ++i) lanes[i][lane] = data[i], lanes[i][(lane + 1) % 4] = data[n - 1 - i];
  (forward ? zeto::fft::forward<Lanes> : zeto::fft::backward<Lanes>)(lookup, lanes.data(), scratch.data());
  for (size_t i = 0; i < n; ++i) data[i] = lanes[i][lane];
  return data;
}

// Lanes, front ends and the plain model give the same bits.
void compare_forms(FuzzInput& input, zeto_drft_lookup& lookup, const Floats& x, const Floats& packed,
                   const Floats& back) {
  const auto same = [](const Floats& a, const Floats& b, const char* what) { require(same_bits(a, b), what); };
  same(in_a_lane(input, lookup, true, x), packed, "a lane is a transform of its own");
  same(in_a_lane(input, lookup, false, packed), back, "and backward too");

  const size_t n = x.size();
  const float share = 1.0f / static_cast<float>(n);
  Floats scaled = x, samples = packed, apart(n);
  zeto_spx_fft(&lookup, x.data(), apart.data());
  zeto_spx_fft(&lookup, scaled.data(), scaled.data());
  same(scaled, apart, "in place as apart");
  same(scaled, made(zeto_drft_forward, lookup, times(x, share)), "the scaled spectrum is that of scaled samples");
  zeto_spx_ifft(&lookup, packed.data(), apart.data());
  zeto_spx_ifft(&lookup, samples.data(), samples.data());
  same(samples, apart, "in place as apart");
  same(samples, back, "both ways back are the same");

  Floats padded = x, interleaved = {packed[0], 0.0f}, restored = times(packed, share);
  zeto_drft_backward(&lookup, restored.data());
  padded.resize(n + 2, 42.0f);
  interleaved.insert(interleaved.end(), packed.begin() + 1, packed.end());
  for (Floats* list : {&interleaved, &restored}) list->resize(n + 2);
  const Floats spectrum = made(zeto_rfft_float, lookup, padded);
  same(spectrum, interleaved, "interleaved and packed spectrum are the same");
  same(made(zeto_irfft_float, lookup, spectrum), restored, "and so are their inverses");
  plain::Transform plain(static_cast<int>(n));
  plain.forward(padded.data());
  same(spectrum, padded, "forward, the bits are the plain model's");
  plain.backward(padded.data());
  padded.resize(n);
  same(back, padded, "and backward");
}

// Lengths from below to beyond the range, on one record that is prepared over and over.
void fuzz_transform(FuzzInput& input) {
  zeto_drft_lookup lookup = {};
  for (uint32_t turns = input.below(6) + 1; turns > 0; --turns) {
    const auto asked = static_cast<int32_t>(input.one_in(32)  ? input.take<uint32_t>()
                                            : input.one_in(8) ? input.below(4)
                                                              : input.below(800));
    const bool reused = input.one_in(2);
    (reused ? zeto_fft_reinit : zeto_fft_init)(&lookup, asked);
    if (lookup.n < 1) continue;
    require(lookup.n == std::min(asked, 512) || asked < 1, "the length is the one asked for");
    const auto n = static_cast<size_t>(lookup.n);
    const bool any = input.one_in(3);
    const Floats x = take_floats(input, n, any);
    const Floats packed = made(zeto_drft_forward, lookup, x), back = made(zeto_drft_backward, lookup, packed);
    if (reused && asked > 512 && asked <= 768) {
      require(same_bits(packed, x) && same_bits(back, x), "a record beyond the range leaves the samples");
      zeto_fft_init(&lookup, 512);
      continue;
    }
    compare_forms(input, lookup, x, packed, back);
    // Factors above 5 turn by a recurrence that loses precision with the square of the factor.
    const int32_t largest = n == 1 ? 1 : *std::max_element(lookup.factors + 2, lookup.factors + 2 + lookup.factors[1]);
    const double bound = 3.5e-7 + (largest > 5 ? 1e-8 * largest * largest : 0.0);
    require(any || is_near(packed, spectrum_of(x), 1.0, bound), "the spectrum is the sum that defines it");
    require(any || is_near(spectrum_of(back), packed, static_cast<double>(n), bound), "and backward is its inverse");
  }
}

struct Bands {
  void (*compress)(const float*, float*);
  void (*expand)(const float*, float*);
  const int32_t* edge;
  size_t bands, bins;
};
const std::array<Bands, 4> kBands = {{{compress48b, uncompress48b, KT_band48b, 48, 257},
                                      {compress33b, uncompress33b, KT_band33b, 33, 129},
                                      {compress4b, uncompress4b, band4b, 4, 257},
                                      {compress2b, uncompress2b, band2b, 2, 129}}};

void fuzz_bands(FuzzInput& input) {
  const Bands& layout = kBands[input.below(4)];
  const Floats spectrum = take_floats(input, layout.bins, input.below(2) == 0);
  Floats bands(layout.bands), means(layout.bands), wide(layout.bins, 42.0f), want(layout.bins);
  layout.compress(spectrum.data(), bands.data());
  layout.expand(bands.data(), wide.data());
  for (size_t band = 0; band < layout.bands; ++band) {
    const auto from = static_cast<uint32_t>(layout.edge[band] + 1),
               to = static_cast<uint32_t>(layout.edge[band + 1] + 1);
    std::fill(want.begin() + from, want.begin() + to, bands[band]);
    means[band] = support::plain_sum(&spectrum[from], to - from) / static_cast<float>(to - from);
  }
  require(same_bits(bands, means), "a band is the mean of its bins");
  require(same_bits(wide, want), "a band spreads bit for bit");
}

// A frame in front of another by `hop`: the latest samples times the window; and the sums of frames on the way back.
void fuzz_windows(FuzzInput& input) {
  const uint32_t len = input.below(512) + 1, hop = input.below(len) + 1;
  const Floats window = take_floats(input, len, input.below(2) == 0);
  zeto_window_state cut, add;
  (hop < len ? zeto_window_init : zeto_window_reinit)(&cut, window.data(), len, hop);
  zeto_window_reinit(&add, window.data(), len, hop);
  Floats latest(len), sums(len);
  for (uint32_t turns = input.below(6); turns > 0; --turns) {
    const bool any = input.below(2) == 0, windowed = input.below(2) == 0;
    const Floats in = take_floats(input, hop, any), frame = take_floats(input, len, any);
    Floats out(len), want(len), ready(hop);
    latest.erase(latest.begin(), latest.begin() + hop);
    latest.insert(latest.end(), in.begin(), in.end());
    zeto_window_en(&cut, in.data(), out.data());
    for (size_t i = 0; i < len; ++i) want[i] = latest[i] * window[i];
    require(same_bits(out, want), "a frame is the latest samples times the window");
    (windowed ? zeto_window_de : zeto_window_de2)(&add, frame.data(), ready.data());
    for (size_t i = 0; i < len; ++i) sums[i] += windowed ? frame[i] * window[i] : frame[i];
    const auto alike = [](float a, float b) {
      return a == b || (std::isnan(a) && std::isnan(b));
    };  // zeros of any sign
    require(std::equal(ready.begin(), ready.end(), sums.begin(), alike), "what is complete is the sum of the frames");
    sums.erase(sums.begin(), sums.begin() + hop);
    sums.resize(len);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  while (!input.empty()) {
    const uint32_t subject = input.below(4);
    subject == 0 ? fuzz_bands(input) : subject == 1 ? fuzz_windows(input) : fuzz_transform(input);
  }
  return 0;
}
