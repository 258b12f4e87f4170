#include "reports/profile.hpp"

#include <algorithm>
#include <cmath>

namespace zeto::tool {
namespace {

constexpr double kLowestDb = -250.0;
constexpr double kStepDb = 0.1;
constexpr double kLeastProminenceDb = 2.0;
constexpr double kLeastOverFloorDb = 6.0;
constexpr double kNoisePeakDb = 10.0;  // the strongest of 256 bins of noise over their median
constexpr double kQuiet = 0.25;        // of the spectra: the sweep starts quietly, and restarts put the beat elsewhere

/// How far one must go down from a bin before it goes up to a higher one; at the edges there is nothing higher.
double prominence(const std::array<double, kBins>& levels, size_t at) {
  const auto lowest_on_the_way = [&](int step) {
    double lowest = levels[at];
    for (auto i = static_cast<std::ptrdiff_t>(at) + step; i >= 0 && i < kBins; i += step) {
      const double level = levels[static_cast<size_t>(i)];
      if (level > levels[at]) return lowest;
      lowest = std::min(lowest, level);
    }
    return kLowestDb;
  };
  return levels[at] - std::max(lowest_on_the_way(-1), lowest_on_the_way(1));
}

/// Where a tone lies that shows in bin `at` and its louder neighbour. Without a window the two amplitudes are as
/// the inverse distances.
double between_bins(const std::array<double, kBins>& levels, size_t at) {
  const double left = at > 0 ? levels[at - 1] : kLowestDb;
  const double right = at + 1 < kBins ? levels[at + 1] : kLowestDb;
  const double ratio = std::pow(10.0, (std::max(left, right) - levels[at]) / 20.0);
  const double away = ratio / (1.0 + ratio);
  return static_cast<double>(at + 1) + (right > left ? away : -away);
}

}  // namespace

void LevelStatistics::add(const std::vector<float>& levels) {
  for (size_t i = 0; i < levels.size(); ++i) {
    const double step = (static_cast<double>(levels[i]) - kLowestDb) / kStepDb;
    const auto at = step > 0.0 ? std::min(static_cast<size_t>(step), size_t{kSteps - 1}) : 0;  // NaN is lowest
    ++counts_[i % kBins * kSteps + at];
  }
  spectra_ += levels.size() / kBins;
}

double LevelStatistics::quantile(int bin, double share) const {
  const uint32_t* const counts = counts_.data() + static_cast<size_t>(bin - 1) * kSteps;
  const double wanted = share * static_cast<double>(spectra_);
  double seen = 0.0;
  for (int step = 0; step < kSteps; ++step) {
    seen += counts[step];
    if (seen > wanted) return kLowestDb + kStepDb * (step + 0.5);
  }
  return kLowestDb;
}

Profile profile_of(const LevelStatistics& levels, std::optional<double> direct_bin, size_t most) {
  Profile profile{};
  for (int bin = 1; bin <= kBins; ++bin) profile.median_db[static_cast<size_t>(bin - 1)] = levels.quantile(bin, 0.5);
  auto sorted = profile.median_db;
  std::nth_element(sorted.begin(), sorted.begin() + kBins / 2, sorted.end());
  profile.floor_db = sorted[kBins / 2];

  std::vector<size_t> bins;
  for (size_t i = 0; i < kBins; ++i) {
    const double level = profile.median_db[i];
    const bool is_top =
        (i == 0 || level >= profile.median_db[i - 1]) && (i + 1 == kBins || level > profile.median_db[i + 1]);
    if (is_top && level > profile.floor_db + kLeastOverFloorDb &&
        prominence(profile.median_db, i) > kLeastProminenceDb) {
      bins.push_back(i);
    }
  }
  std::stable_sort(bins.begin(), bins.end(),
                   [&](size_t a, size_t b) { return profile.median_db[a] > profile.median_db[b]; });
  if (bins.size() > most) bins.resize(most);
  for (const size_t i : bins) {
    const double bin = between_bins(profile.median_db, i);
    profile.peaks.push_back({bin, profile.median_db[i], direct_bin && std::fabs(bin - *direct_bin) < 1.0});
  }
  if (!bins.empty()) {
    const double echo = levels.quantile(static_cast<int>(bins.front()) + 1, kQuiet);
    const double noise = profile.floor_db + kNoisePeakDb;
    if (echo > noise) profile.threshold_db = static_cast<int>(std::floor(0.5 * (echo + noise)));
  }
  return profile;
}

}  // namespace zeto::tool
