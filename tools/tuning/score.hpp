// Measurements against the truth.
#pragma once
#include <cstdint>
#include <optional>
#include <vector>

#include "tuning/truth.hpp"

namespace zeto::tool {

/// What is shown for 200 ms, whoever measures.
struct Measured {
  double end_s;
  std::optional<double> value;  ///< in the measurement's unit; nothing if it was rejected
  bool counts = true;           ///< not while the host kit learns
};

struct Counts {
  uint32_t right = 0;
  uint32_t wrong = 0;
  uint32_t missed = 0;   ///< somebody there, nothing shown
  uint32_t falsely = 0;  ///< nobody there, something shown
  uint32_t silent = 0;   ///< nobody there, nothing shown

  void add(const Counts& other);
  uint32_t all() const { return right + wrong + missed + falsely + silent; }
  /// Right less `cost` for each that is wrong or false.
  double score(double cost) const { return right - cost * (wrong + falsely); }
};

/// Counts the analyses that lie in the stretch with all of their 200 ms.
Counts counts_of(const std::vector<Measured>& all, const Stretch& stretch, double tolerance);

/// What a host shows that waits until two of the last five agree to twice the tolerance: the newest that another
/// confirms.
std::vector<Measured> two_of_five(const std::vector<Measured>& all, double tolerance);

}  // namespace zeto::tool
