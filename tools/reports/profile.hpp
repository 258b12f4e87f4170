// The median of all spectra of a recording: which delays sound comes back with, and how strongly.
#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "sensing/observer.hpp"

namespace zeto::tool {

/// Quantiles of the levels of each bin, over any number of spectra, in steps of 0.1 dB: memory does not grow.
class LevelStatistics {
 public:
  /// @param levels  spectra of kBins each, dB.
  void add(const std::vector<float>& levels);

  /// @param at  bin, counted from 0.
  double quantile(size_t at, double share) const { return quantile(all_, at, at, share); }
  /// Of the strongest bin of each spectrum in which it is this one or its neighbour.
  double strongest_quantile(size_t at, double share) const;

 private:
  static constexpr size_t kSteps = 4000;
  using Counts = std::vector<uint32_t>;  // kSteps for each bin
  static double quantile(const Counts& counts, size_t first, size_t last, double share);

  Counts all_ = Counts(kBins * kSteps);
  Counts strongest_ = Counts(kBins * kSteps);
};

struct ProfilePeak {
  double bin;  ///< between bins: the position of a tone with that spectrum; 1 for all below 1.5
  double level_db;
  bool direct;  ///< the correlation of both channels is strongest here
};

struct Profile {
  std::array<double, kBins> median_db;  ///< bins 1 to 256
  double floor_db;                      ///< the median of these
  std::vector<ProfilePeak> peaks;       ///< the strongest first
  std::optional<int> threshold_db;      ///< proposed for UltraHz_cand_dB; nothing if no peak is clear of the noise
};

/// @param direct_bin  at which the correlation is strongest; nothing if it is not known.
/// @param most        peaks at most.
Profile profile_of(const LevelStatistics& levels, std::optional<double> direct_bin, size_t most);

}  // namespace zeto::tool
