#include "sensing/observer.hpp"

#include <utility>

#include "detector/analysis.hpp"

namespace zeto::tool {
namespace {

thread_local const Observing* observing = nullptr;

static_assert(kSegments == detector::kSegments && kBins == detector::kNumBins - 1);
static_assert(static_cast<double>(kBinHz) * detector::kFftLen * detector::kDecimation == detector::kSampleRate);

std::vector<float> levels_of(const zeto_tx_state& state, const float* mixed) {
  std::vector<float> levels(size_t{kSegments} * kBins);
  for (int group = 0; group < detector::kGroups; ++group) {
    f32x4 spectra[detector::kFftLen];
    detector::transform_group(state.fft, mixed, group, spectra);
    for (int lane = 0; lane < detector::kLanes; ++lane) {
      float* const of_segment = levels.data() + detector::kSegmentOf[group][lane] * kBins;
      for (int bin = 1; bin <= kBins; ++bin) {
        const float re = spectra[2 * bin - 1][lane];
        const float im = bin < kBins ? spectra[2 * bin][lane] : 0.0F;
        of_segment[bin - 1] = detector::level_of(re * re + im * im + detector::kPowerFloor);
      }
    }
  }
  return levels;
}

Observation observation(const zeto_tx_state& state, const detector::Findings& findings) {
  constexpr double kBlocksPerSecond = 100.0;
  const detector::Agreement& agreed = findings.agreed;
  const detector::Thresholds thresholds{state.cand_ratio, state.spread_ratio};
  const detector::RatioHistory& hits = state.hit_ratio_hist;
  const detector::RatioHistory& levels = state.level_ratio_hist;

  Observation seen{};
  seen.end_s = static_cast<uint32_t>(state.frame_count) / kBlocksPerSecond;
  for (int i = 0; i < kSegments; ++i) {
    const detector::Peak& peak = findings.peaks[i];
    seen.segments[i] = {peak.bin, detector::position_of(peak.bin), peak.level, detector::is_candidate(state, peak)};
  }
  seen.candidates = findings.candidates;
  seen.position = agreed.position;
  seen.level = agreed.level;
  seen.hits = agreed.hits;
  seen.level_hits = agreed.level_hits;
  seen.hit_ratio = {hits.current, hits.previous};
  seen.level_ratio = {levels.current, levels.previous};
  seen.steadiness = detector::steadiness(hits, levels);
  seen.has_hits = detector::has_hits(thresholds, hits);
  seen.has_levels = detector::has_levels(thresholds, levels);
  seen.is_steady = seen.steadiness >= detector::kSteady;
  seen.accepted = findings.accepted;
  seen.span = detector::span_of(state.floor_hz, state.scope_hz);
  seen.folded = detector::fold(agreed.position, seen.span);
  seen.value = detector::measure(agreed.position, state.floor_hz, state.scope_hz, state.period);
  seen.result = state.result_value;
  return seen;
}

struct Observed {
  void operator()(const zeto_tx_state& state, const detector::Findings& findings) const {
    if (observing == nullptr) return;
    Observation seen = observation(state, findings);
    if (observing->with_levels()) seen.levels = levels_of(state, findings.mixed);
    observing->saw(std::move(seen));
  }
};

}  // namespace

Observing::Observing(bool with_levels, Use use) : with_levels_(with_levels), use_(std::move(use)) {
  observing = this;
}

Observing::~Observing() {
  observing = nullptr;
}

}  // namespace zeto::tool

/// In place of the library's, which is weak.
void zeto::detector::analyse(zeto_tx_state& state) noexcept {
  analyse(state, tool::Observed());
}
