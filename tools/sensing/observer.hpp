// Watches the detector's analyses from inside. The program holds the library's own objects and defines their one
// observed function itself: what is seen is the computation that made the result, not a second one. What that does not
// keep (levels of bins other than the peaks', the value of a rejected analysis) the library's own functions form again.
#pragma once
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace zeto::tool {

constexpr int kSegments = 18;      ///< spectra of an analysis
constexpr int kBins = 256;         ///< bins of a spectrum, without bin 0
constexpr float kBinHz = 15.625F;  ///< width of a bin: 8000 Hz over 512

/// One spectrum's strongest bin.
struct Segment {
  uint32_t bin;       ///< 1 to 256
  float position;     ///< Hz, as the detector counts it: rounded down
  float level;        ///< dB
  bool is_candidate;  ///< above UltraHz_cand_dB
};

/// A ratio of this analysis, and of the one before.
struct Ratio {
  float current;
  float previous;
};

struct Observation {
  double end_s;  ///< end of the 200 ms, seconds of input since the detector was initialised
  Segment segments[kSegments];
  int candidates;

  // What the candidates agree on; 0 if there are none.
  float position;  ///< median, Hz
  float level;     ///< median, dB
  int hits;        ///< candidates near the median position
  int level_hits;  ///< candidates near the median level
  Ratio hit_ratio;
  Ratio level_ratio;
  float steadiness;  ///< both ratios together with the previous ones, at least 2

  // The three conditions; accepted are analyses that meet all.
  bool has_hits;
  bool has_levels;
  bool is_steady;
  bool accepted;

  // What the median position measures, accepted or not.
  float span;    ///< Hz, the sweep's width as the detector counts it
  float folded;  ///< Hz, the position after the fold
  float value;   ///< in the unit of UltraHz_period, before smoothing
  float result;  ///< smoothed, or -1000

  std::vector<float> levels;  ///< kSegments times kBins, dB; empty unless asked for
};

/// While it lives, every analysis on this thread is observed, in whichever handle. One at a time.
class Observing {
 public:
  using Use = std::function<void(Observation&&)>;

  /// @param with_levels  the spectra's levels too.
  Observing(bool with_levels, Use use);
  ~Observing();
  Observing(const Observing&) = delete;
  Observing& operator=(const Observing&) = delete;

  bool with_levels() const { return with_levels_; }
  void saw(Observation&& observation) const { use_(std::move(observation)); }

 private:
  bool with_levels_;
  Use use_;
};

}  // namespace zeto::tool
