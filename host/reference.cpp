#include "host/reference.hpp"

#include <string.h>

namespace zeto::host {

int sweeps_of(const zeto_sweep& sweep) noexcept {
  int count = 0;
  while (count < ZETO_SWEEP_MAX && sweep.restart_ms[count] != 0) ++count;
  return count;
}

bool fits_frame(const zeto_sweep& sweep) noexcept {
  const uint32_t len = zeto_sweep_len(&sweep);
  if (len == 0 || kFrame % len != 0) return false;
  const int own = sweeps_of(sweep);
  for (int i = 0; i < own; ++i) {
    if (sweep.restart_ms[i] % 2 != 0) return false;
  }
  return own * (kFrame / static_cast<int>(len)) <= ZETO_SWEEP_MAX;
}

void Reference::init(const zeto_sweep& sweep, BandFilter& filter, void* scratch) noexcept {
  const int len = static_cast<int>(zeto_sweep_len(&sweep));
  zeto_sweep_make(&sweep, scratch, table_);
  for (int i = len; i < kFrame + kBlock; ++i) table_[i] = table_[i - len];

  sweeps_ = {};
  const int own = sweeps_of(sweep);
  for (int at = 0, i = 0; at < kFrame; i = i + 1 < own ? i + 1 : 0) {
    sweeps_.start[sweeps_.count++] = at / kDecimation;
    at += sweep.restart_ms[i] * kSamplesPerMs;
  }
  sweeps_.start[sweeps_.count] = kBandFrame;

  for (int late = 0; late < kDecimation; ++late) {
    filter.restart();
    for (int block = -1; block < kFrameBlocks; ++block) {  // block -1 fills the filter
      float samples[kBlock];
      for (int i = 0; i < kBlock; ++i) samples[i] = static_cast<float>(table_[wrapped(block * kBlock + i - late)]);
      const auto band = filter.run(samples);
      if (block < 0) continue;
      copies_[late].set(block * kBandBlock, band.from(0), kBandBlock);
      copies_[late].set(kBandFrame + block * kBandBlock, band.from(0), kBandBlock);
    }
  }
  for (int s = 0; s < sweeps_.count; ++s) {
    const int first = sweeps_.start[s];
    const float played = energy(copies_[0].from(first), sweeps_.start[s + 1] - first);
    inverse_energy_[s] = played > 1.0f ? 1.0f / played : 0.0f;
  }
}

BandRun Reference::in_band(int late) const noexcept {
  late = wrapped(late);
  return copies_[late % kDecimation].from(kBandFrame - late / kDecimation);
}

float Reference::explained(BandRun heard, int late) const noexcept {
  const BandRun played = in_band(late);
  float sum = 0.0f;
  for (int s = 0; s < sweeps_.count; ++s) {
    const int first = sweeps_.start[s];
    const int n = sweeps_.start[s + 1] - first;
    sum += power_of(dot(played.from(first), heard.from(first), n)) * inverse_energy_[s];
  }
  return sum;
}

Complex Reference::first_sweep(BandRun heard) const noexcept {
  return dot(copies_[0].from(0), heard, sweeps_.start[1]);
}

}  // namespace zeto::host
