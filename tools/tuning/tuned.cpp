#include "tuning/tuned.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>

#include "audio/channel_check.hpp"
#include "error.hpp"
#include "sensing/kit.hpp"
#include "sensing/observer.hpp"
#include "sensing/sensing.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kKitTolerance = 2.5;  // cm
constexpr size_t kAtATime = 256;       // listeners; each takes 0.4 MB

/// A step of the detector, in the unit of UltraHz_period.
double step_of(const zeto_tx_param& param) {
  const double step = std::fabs(static_cast<double>(kBinHz) * param.UltraHz_period / param.UltraHz_scope);
  return std::isfinite(step) ? step : 0.0;
}

/// One candidate that listens to a recording.
class Listener {
 public:
  Listener(const Candidate& candidate, HostFormat format, const HostSteps& steps) {
    if (is_by_kit(candidate, steps)) {
      kit_ = std::make_unique<Kit>(candidate.set, steps.spacing_cm);
      tolerance_ = kKitTolerance;
    } else {
      sensing_ = std::make_unique<Sensing>(SensingOptions{format, SensingOptions{}.buffer, candidate.set.hear});
      tolerance_ = step_of(candidate.set.hear);
    }
  }

  void take(std::span<const double> values, std::span<const float> microphone) {
    kit_ ? kit_->take(microphone, readings_) : sensing_->take(values);
  }

  std::vector<Measured> measured(const Scoring& scoring) const {
    std::vector<Measured> all;
    for (const Reading& reading : readings_) {
      std::optional<double> cm;
      if (reading.state == ZETO_HOST_TARGET) cm = static_cast<double>(reading.distance_cm);
      all.push_back({end_s(reading), cm, reading.state != ZETO_HOST_LEARNING});
    }
    if (kit_) return all;
    for (const Analysis& analysis : sensing_->analyses()) {
      all.push_back(
          {analysis.end_s, analysis.accepted() ? std::optional(static_cast<double>(analysis.value)) : std::nullopt});
    }
    return scoring.two_of_five ? two_of_five(all, tolerance(scoring)) : all;
  }

  double tolerance(const Scoring& scoring) const { return scoring.tolerance.value_or(tolerance_); }

 private:
  std::unique_ptr<Kit> kit_;
  std::unique_ptr<Sensing> sensing_;
  std::vector<Reading> readings_;
  double tolerance_;
};

/// Plays the whole recording to them.
/// @param on_read  is called with shares of it.
void play(AudioReader& reader, Prepared prepared, std::vector<Listener>& listeners, ChannelCheck& check,
          const std::function<void(double)>& on_read) {
  constexpr int64_t kPiece = 48000;
  std::vector<double> values;
  std::vector<float> microphone;
  for (int64_t left = reader.frames(); left > 0; left -= kPiece) {
    values.resize(static_cast<size_t>(2 * std::min(left, kPiece)));
    reader.read(values);
    check.take(values);
    prepared.apply(values);
    microphone.resize(values.size() / 2);
    for (size_t i = 0; i < microphone.size(); ++i) microphone[i] = to_float(values[2 * i + 1]);
    for (Listener& listener : listeners) listener.take(values, microphone);
    on_read(static_cast<double>(microphone.size()) / static_cast<double>(reader.frames()));
  }
}

}  // namespace

std::string Scoring::words() const {
  return (tolerance ? text("tolerance %g", *tolerance) : "") + (cost != kCost ? text("cost %g", cost) : "") +
         (two_of_five ? "two of five" : "");
}

bool is_by_kit(const Candidate& candidate, const HostSteps& steps) {
  return is_for_kit(candidate.set) && !steps.any();
}

FileCounts count_file(const std::string& path, const std::vector<Stretch>& stretches,
                      const std::vector<Candidate>& candidates, const HostSteps& steps, const Scoring& scoring,
                      std::atomic<double>& read) {
  FileCounts counts;
  try {
    const Prepared prepared(path, open_recording(path, {}).frames(), steps);
    for (size_t first = 0; first < candidates.size(); first += kAtATime) {
      const auto group = std::span(candidates).subspan(first, std::min(kAtATime, candidates.size() - first));
      const double part = static_cast<double>(group.size()) / static_cast<double>(candidates.size());
      AudioReader reader = open_recording(path, {});
      std::vector<Listener> listeners;
      for (const Candidate& candidate : group) listeners.emplace_back(candidate, reader.host_format(), steps);
      ChannelCheck check;
      play(reader, prepared, listeners, check, [&](double share) { read += part * share; });
      for (const Listener& listener : listeners) {
        const auto measured = listener.measured(scoring);
        counts.of.emplace_back();
        for (const Stretch& stretch : stretches) {
          counts.of.back().push_back(counts_of(measured, stretch, listener.tolerance(scoring)));
        }
      }
      if (first > 0) continue;
      counts.warnings = {reader.warning()};
      for (const auto& warning : check.warnings()) counts.warnings.push_back(path + ": " + warning);
    }
  } catch (const FileError& error) {
    counts.of.clear();
    counts.fault = error.what();
  }
  return counts;
}

void Tuned::prepare() {
  total.resize(candidates.size());
  by_label.assign(candidates.size(), std::vector<Counts>(truth.labels.size()));
  by_file.assign(candidates.size(), std::vector<Counts>(truth.files.size()));
  faults.resize(truth.files.size());
}

void Tuned::add(size_t file, const std::vector<Stretch>& stretches, const FileCounts& counts) {
  faults[file] = counts.fault;
  for (size_t c = 0; c < counts.of.size(); ++c) {
    for (size_t s = 0; s < stretches.size(); ++s) {
      total[c].add(counts.of[c][s]);
      by_label[c][stretches[s].label].add(counts.of[c][s]);
      by_file[c][file].add(counts.of[c][s]);
    }
  }
}

void Tuned::rank() {
  ranking.resize(candidates.size());
  std::iota(ranking.begin(), ranking.end(), size_t{0});
  const auto bad = [&](size_t c) { return total[c].wrong + total[c].falsely; };
  std::stable_sort(ranking.begin(), ranking.end(), [&](size_t a, size_t b) {
    const double score_a = total[a].score(scoring.cost);
    const double score_b = total[b].score(scoring.cost);
    return score_a != score_b ? score_a > score_b : bad(a) < bad(b);
  });
}

}  // namespace zeto::tool
