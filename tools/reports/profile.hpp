// The median of all spectra of a recording: which delays sound comes back with, and how strongly.
#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "observer.hpp"

namespace zeto::tool {

/// Quantiles of the levels of each bin, over any number of spectra, in steps of 0.1 dB: memory does not grow.
class LevelStatistics {
 public:
  LevelStatistics() : counts_(size_t{kBins} * kSteps) {}

  /// @param levels  kSegments times kBins, dB.
  void add(const std::vector<float>& levels);
  uint64_t spectra() const { return spectra_; }

  /// @param bin  1 to 256.
  double quantile(int bin, double share) const;

 private:
  static constexpr int kSteps = 4000;
  std::vector<uint32_t> counts_;
  uint64_t spectra_ = 0;
};

struct ProfilePeak {
  double bin;  ///< between bins: where a tone of that spectrum lies
  double level_db;
  bool direct;  ///< where the correlation of both channels is strongest
};

struct Profile {
  std::array<double, kBins> median_db;  ///< bins 1 to 256
  double floor_db;                      ///< the median of these
  std::vector<ProfilePeak> peaks;       ///< the strongest first
  std::optional<int> threshold_db;      ///< proposed for UltraHz_cand_dB; nothing if no peak stands out of the noise
};

/// @param direct_bin  where the correlation is strongest; nothing if it is not known.
/// @param most        peaks at most.
Profile profile_of(const LevelStatistics& levels, std::optional<double> direct_bin, size_t most);

}  // namespace zeto::tool
