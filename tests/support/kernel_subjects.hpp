// Checksums over the kernels and the transform. No NaN comes up: its sign and payload are the machine's own.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/seeded.hpp"
#include "zeto/fft.h"
#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace support {

inline constexpr uint32_t kKernelLengths[] = {1, 3, 4, 5, 15, 16, 17, 257, 480, 512};

// All lengths, forward and back.
inline uint64_t fft_sum() {
  Sum sum;
  Seeded seeded(1);
  for (int32_t n = 1; n <= ZETO_FFT_LEN_MAX; ++n) {
    zeto_drft_lookup lookup = {};
    zeto_fft_init(&lookup, n);
    const size_t bytes = static_cast<size_t>(n) * sizeof(float);
    std::vector<float> data(static_cast<size_t>(n));
    for (float& x : data) x = seeded.unit();
    zeto_drft_forward(&lookup, data.data());
    sum.add(data.data(), bytes);
    zeto_drft_backward(&lookup, data.data());
    sum.add(data.data(), bytes);
  }
  return sum.value();
}

inline uint64_t vector_sum() {
  Sum sum;
  Seeded seeded(2);
  for (const uint32_t n : kKernelLengths) {
    float a[512], b[512], out[512];
    for (float& x : a) x = seeded.wide();
    for (float& x : b) x = seeded.wide();
    const auto with_output = [&](auto kernel) {
      for (float& x : out) x = 0.25f;
      kernel();
      sum.add(out);
    };
    const auto add_found = [&](auto find) {
      float value;
      const uint32_t index = find(a, n, &value);
      sum.add(&index, sizeof index);
      sum.add(value);
    };
    sum.add(zeto_vf_dot_mult_get_sum(a, b, n));
    sum.add(zeto_vf_dot_power_get_sum(a, n));
    sum.add(zeto_vf_get_sum(a, n));
    sum.add(zeto_vf_get_mean(a, n));
    add_found(zeto_vf_get_max);
    add_found(zeto_vf_get_min);
    with_output([&] { zeto_vf_dot_mult_vf(a, b, static_cast<int32_t>(n), out); });
    with_output([&] { zeto_vf_smooth(a, static_cast<int32_t>(n), out, 0.9f); });
    with_output([&] { zeto_vf_add_vf(a, b, n, out); });
    with_output([&] { zeto_vf_sub_vf(a, b, n, out); });
    with_output([&] { zeto_vf_dot_div(a, b, n, out, 1e-3f); });
    with_output([&] { zeto_vf_add_scalar(a, n, out, 0.7f); });
    with_output([&] { zeto_vf_mult_scalar(a, n, out, 0.7f); });
    with_output([&] { zeto_vf_maxim_limit(a, n, out, 0.5f); });
    with_output([&] { zeto_vf_minim_limit(a, n, out, -0.5f); });
    with_output([&] { zeto_vf_fill(out, n, 0.3f); });
    with_output([&] { zeto_vf_copy(a, n, out); });
    with_output([&] { zeto_vf_shift_and_insert_start(out, a, 512, n); });
    with_output([&] { zeto_vf_shift_and_insert_end(out, a, 512, n); });
  }
  return sum.value();
}

inline uint64_t window_sum() {
  Sum sum;
  Seeded seeded(3);
  zeto_window_state analysis, synthesis, plain;
  zeto_window_init(&analysis, Kaiser470_A_512_160, 512, 160);
  zeto_window_init(&synthesis, Kaiser470_S_512_160, 512, 160);
  zeto_window_init(&plain, KT_Hann512, 512, 160);
  for (int frame = 0; frame < 20; ++frame) {
    float in[160], windowed[512], out[160];
    for (float& x : in) x = seeded.unit();
    zeto_window_en(&analysis, in, windowed);
    sum.add(windowed);
    zeto_window_de(&synthesis, windowed, out);
    sum.add(out);
    zeto_window_de2(&plain, windowed, out);
    sum.add(out);
  }
  for (const uint32_t len : kKernelLengths) sum.add(zeto_window_To0dBFs(symetric_sqrt_w512, len));
  return sum.value();
}

inline uint64_t frame_and_band_sum() {
  Sum sum;
  Seeded seeded(4);
  int16_t shorts[2 * 480], interleaved[2 * 480];
  float floats[2 * 480];
  for (float& x : floats) x = static_cast<float>(seeded.sample16()) * 1.01f + seeded.unit();  // some clip
  const zeto_frame narrow = zeto_frame_short_load(shorts, 2, 480);
  const zeto_frame wide = zeto_frame_float_load(floats, 2, 480);
  zeto_frame_float_convert_to_short(&wide, &narrow);
  sum.add(shorts);
  zeto_frame_short_convert_to_float(&narrow, &wide);
  sum.add(floats);
  zeto_frame_short_copy_to_interleaved(&narrow, interleaved);
  sum.add(interleaved);

  float spectrum[257], bands[48];
  const auto add_bands = [&](auto compress, auto expand) {
    for (float& x : spectrum) x = seeded.wide();
    for (float& x : bands) x = 0.0f;
    compress(spectrum, bands);
    sum.add(bands);
    expand(bands, spectrum);
    sum.add(spectrum);
  };
  add_bands(compress48b, uncompress48b);
  add_bands(compress33b, uncompress33b);
  add_bands(compress4b, uncompress4b);
  add_bands(compress2b, uncompress2b);
  for (const uint32_t n : kKernelLengths) sum.add(stdVec(floats, static_cast<int32_t>(n), 0.01f));
  return sum.value();
}

// What goes through logf, expf and log10f: those are the platform's, so a difference here need not be the library's.
inline uint64_t logarithm_sum() {
  Sum sum;
  Seeded seeded(5);
  for (const uint32_t n : kKernelLengths) {
    float x[512], out[512] = {};
    for (float& v : x) v = std::bit_cast<float>(std::bit_cast<uint32_t>(seeded.wide()) & 0x7fffffffu);
    zeto_vf_dot_pow(x, n, out, 0.37f);
    sum.add(out);
    zeto_vf_10log10(x, n, out, 1e-6f);
    sum.add(out);
    sum.add(zeto_window_cali_db(KT_Hann512, n));
    if (n > 1) sum.add(energy_db_cal(x, KT_Hann512, n, 3.0f));
  }
  return sum.value();
}

}  // namespace support
