#include "audio/measured_chirp.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <utility>
#include <vector>

namespace zeto::tool {
namespace {

constexpr size_t kWindow = 960;  // 20 ms, what a frequency is measured over
constexpr size_t kShortest = 96;

/// Hann window; the fades at a sweep's ends count little. u from -1 to 1.
double window_weight(double u) {
  return 0.5 + 0.5 * std::cos(std::numbers::pi * u);
}

/// Radians per sample: the frequency at which the spectrum, taken at every quarter of a cycle per block, is highest.
double coarse_frequency(std::span<const float> x) {
  const double half = 0.5 * static_cast<double>(x.size() - 1);
  std::vector<double> windowed(x.size());
  for (size_t i = 0; i < x.size(); ++i) {
    windowed[i] = window_weight(static_cast<double>(i) / half - 1.0) * static_cast<double>(x[i]);
  }
  const size_t points = 2 * x.size();
  double best = 0.0;
  double highest = -1.0;
  for (size_t point = 0; point <= points; ++point) {
    const double w = std::numbers::pi * static_cast<double>(point) / static_cast<double>(points);
    const std::complex<double> step = std::polar(1.0, w);
    std::complex<double> sum = 0.0;
    for (const double value : windowed) sum = sum * step + value;
    if (std::norm(sum) > highest) {
      highest = std::norm(sum);
      best = w;
    }
  }
  return best;
}

constexpr size_t kTerms = 6;
using Row = std::array<double, kTerms + 1>;
using Equations = std::array<Row, kTerms>;

/// Gauss elimination of symmetric equations; not a number if they do not determine the result.
std::array<double, kTerms> solve(Equations m) {
  for (size_t column = 0; column < kTerms; ++column) {
    const auto pivot =
        std::max_element(m.begin() + static_cast<std::ptrdiff_t>(column), m.end(),
                         [&](const Row& a, const Row& b) { return std::fabs(a[column]) < std::fabs(b[column]); });
    std::swap(m[column], *pivot);
    for (size_t row = 0; row < kTerms; ++row) {
      if (row == column) continue;
      const double factor = m[row][column] / m[column][column];
      for (size_t k = column; k <= kTerms; ++k) m[row][k] -= factor * m[column][k];
    }
  }
  std::array<double, kTerms> result{};
  for (size_t i = 0; i < kTerms; ++i) result[i] = m[i][kTerms] / m[i][i];
  return result;
}

/// A linear chirp around the middle of a window: phase(t) = w t + c t^2 / 2, t in samples.
struct Chirp {
  double w;
  double c;
};

/// Least squares: which slowly varying complex amplitude (a square polynomial) turns the chirp into the samples?
/// Fitting the real signal keeps the mirror image at the negative frequency out, which is close for tones near half the
/// rate.
class Envelope {
 public:
  Envelope(std::span<const float> x, Chirp chirp) {
    const double half = 0.5 * static_cast<double>(x.size() - 1);
    Equations equations{};
    double energy = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
      const double t = static_cast<double>(i) - half;
      const double phase = (chirp.w + 0.5 * chirp.c * t) * t;
      const double u = t / half;
      const double weight = window_weight(u);
      const double in_phase = std::cos(phase);
      const double quadrature = std::sin(phase);
      const Row row{in_phase,       u * in_phase,       u * u * in_phase,         quadrature,
                    u * quadrature, u * u * quadrature, static_cast<double>(x[i])};
      energy += weight * row[kTerms] * row[kTerms];
      for (size_t a = 0; a < kTerms; ++a) {
        for (size_t b = 0; b <= kTerms; ++b) equations[a][b] += weight * row[a] * row[b];
      }
    }
    terms_ = solve(equations);
    for (size_t a = 0; a < kTerms; ++a) explained_ += terms_[a] * equations[a][kTerms] / energy;
  }

  /// The share of the samples' energy that is the chirp's, 0 to 1.
  double explained() const { return explained_; }

  /// u from -1 at the window's first sample to 1 at its last.
  std::complex<double> at(double u) const {
    return {terms_[0] + u * (terms_[1] + u * terms_[2]), -(terms_[3] + u * (terms_[4] + u * terms_[5]))};
  }

 private:
  std::array<double, kTerms> terms_;
  double explained_ = 0.0;
};

/// Frequencies at the first and the last sample, radians per sample.
std::pair<double, double> edge_frequencies(std::span<const float> x) {
  if (x.size() < kShortest) return {kNotMeasured, kNotMeasured};
  const double half = 0.5 * static_cast<double>(x.size() - 1);
  const double early = coarse_frequency(x.first(x.size() / 2));
  const double late = coarse_frequency(x.subspan(x.size() / 2));
  Chirp chirp{0.5 * (early + late), (late - early) / half};
  constexpr int kRounds = 8;
  constexpr double kClearEnough = 0.75;  // a square wave's fundamental has 0.81
  double explained = 0.0;
  for (int round = 0; round < kRounds; ++round) {
    // What phase is left over at a quarter and at three quarters, against the middle, corrects the chirp.
    const Envelope envelope(x, chirp);
    const double before = std::arg(envelope.at(-0.5) * std::conj(envelope.at(0.0)));
    const double after = std::arg(envelope.at(0.5) * std::conj(envelope.at(0.0)));
    const double distance = 0.5 * half;
    chirp.w += (after - before) / (2.0 * distance);
    chirp.c += (after + before) / (distance * distance);
    explained = envelope.explained();
  }
  if (!(explained >= kClearEnough)) return {kNotMeasured, kNotMeasured};
  return {chirp.w - chirp.c * half, chirp.w + chirp.c * half};
}

/// The lag at which the first 20 ms come again: a sweep restarts with the same samples.
std::optional<size_t> repeat_lag(std::span<const float> x) {
  const auto mismatch = [&](size_t lag, double enough) {
    double sum = 0.0;
    for (size_t i = kWindow; i-- > 0 && sum <= enough;) {  // from the loud end: most lags are out after a few samples
      const double difference = static_cast<double>(x[i]) - static_cast<double>(x[i + lag]);
      sum += difference * difference;
    }
    return sum;
  };
  if (x.size() < 2 * kWindow) return std::nullopt;
  double energy = 0.0;
  for (const float value : x.first(kWindow)) energy += static_cast<double>(value) * static_cast<double>(value);
  const size_t last = x.size() - kWindow;
  for (size_t lag = kWindow; lag <= last; ++lag) {
    double error = mismatch(lag, 0.01 * energy);
    if (error > 0.01 * energy) continue;
    for (; lag < last; ++lag) {  // slow waves come close before they fit best
      const double next = mismatch(lag + 1, error);
      if (next >= error) break;
      error = next;
    }
    return lag;
  }
  return std::nullopt;
}

}  // namespace

MeasuredChirp measure_chirp(std::span<const float> samples, double sample_rate) {
  MeasuredChirp sweep;
  for (const float value : samples) sweep.peak = std::max(sweep.peak, std::fabs(static_cast<double>(value)));
  const auto first = std::find_if(samples.begin(), samples.end(), [](float value) { return value != 0.0f; });
  if (first == samples.end()) return sweep;
  sweep.latency = static_cast<size_t>(first - samples.begin());

  auto chirp = samples.subspan(*sweep.latency);
  sweep.period = repeat_lag(chirp);
  if (sweep.period) chirp = chirp.first(*sweep.period);
  const size_t window = std::min(kWindow, chirp.size());
  const double hz = sample_rate / (2.0 * std::numbers::pi);
  sweep.start_hz = edge_frequencies(chirp.first(window)).first * hz;
  sweep.end_hz = edge_frequencies(chirp.last(window)).second * hz;
  return sweep;
}

}  // namespace zeto::tool
