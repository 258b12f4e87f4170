// Parameter sets that compete: named ones and files, and over each a grid.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "parameters/parameters.hpp"

namespace zeto::tool {

/// A parameter and the values that it takes.
struct GridAxis {
  std::string name;
  std::vector<int32_t> values;
};

struct Candidate {
  std::string name;  ///< "default UltraHz_cand_dB=-40"
  zeto_set set;
  size_t base;                  ///< which of the sets
  std::vector<int32_t> values;  ///< one for each axis
};

/// @param sets   names, or files of parameters over the default set.
/// @param grids  each "NAME=FROM:TO:STEP" or "NAME=A,B,C"; all their combinations, over each set, and before
///               them the set as it is. Later axes change faster.
/// Throws UserError.
std::vector<Candidate> candidates_of(const std::vector<std::string>& sets, const std::vector<std::string>& grids,
                                     std::vector<GridAxis>& axes);

}  // namespace zeto::tool
