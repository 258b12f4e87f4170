#include "reports/profile.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zeto::tool {
namespace {

constexpr double kLowestDb = -250.0;
constexpr double kStepDb = 0.1;
constexpr double kLeastProminenceDb = 2.0;
constexpr double kLeastOverFloorDb = 6.0;
constexpr double kNoisePeakDb = 10.0;  // the strongest of 256 bins of noise over their median
constexpr double kQuiet = 0.25;        // of the spectra that show the peak: a sweep starts quietly

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
/// the inverse distances. The first bin also shows what is below it; no bin tells how far below.
double between_bins(const std::array<double, kBins>& levels, size_t at) {
  if (at == 0) return 1.0;
  const double left = levels[at - 1];
  const double right = at + 1 < kBins ? levels[at + 1] : kLowestDb;
  const double ratio = std::pow(10.0, (std::max(left, right) - levels[at]) / 20.0);
  const double away = ratio / (1.0 + ratio);
  return static_cast<double>(at + 1) + (right > left ? away : -away);
}

}  // namespace

void LevelStatistics::add(const std::vector<float>& levels) {
  for (size_t first = 0; first < levels.size(); first += kBins) {
    size_t strongest = 0;
    size_t highest = 0;
    for (size_t at = 0; at < kBins; ++at) {
      const double steps = (static_cast<double>(levels[first + at]) - kLowestDb) / kStepDb;
      const size_t step = steps > 0.0 ? std::min(static_cast<size_t>(steps), kSteps - 1) : 0;  // NaN is lowest
      ++all_[at * kSteps + step];
      if (step <= highest) continue;
      highest = step;
      strongest = at;
    }
    ++strongest_[strongest * kSteps + highest];
  }
}

double LevelStatistics::strongest_quantile(size_t at, double share) const {
  return quantile(strongest_, at > 0 ? at - 1 : 0, std::min(at + 1, size_t{kBins - 1}), share);
}

double LevelStatistics::quantile(const Counts& counts, size_t first, size_t last, double share) {
  std::vector<double> together(kSteps);
  for (size_t i = first * kSteps; i < (last + 1) * kSteps; ++i) together[i % kSteps] += counts[i];
  const double wanted = share * std::accumulate(together.begin(), together.end(), 0.0);
  double seen = 0.0;
  for (size_t step = 0; step < kSteps; ++step) {
    seen += together[step];
    if (seen > wanted) return kLowestDb + kStepDb * (static_cast<double>(step) + 0.5);
  }
  return kLowestDb;
}

Profile profile_of(const LevelStatistics& levels, std::optional<double> direct_bin, size_t most) {
  Profile profile{};
  for (size_t i = 0; i < kBins; ++i) profile.median_db[i] = levels.quantile(i, 0.5);
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
    const double echo = levels.strongest_quantile(bins.front(), kQuiet);
    const double noise = profile.floor_db + kNoisePeakDb;
    if (echo > noise) profile.threshold_db = static_cast<int>(std::floor(0.5 * (echo + noise)));
  }
  return profile;
}

}  // namespace zeto::tool
