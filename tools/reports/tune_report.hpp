// How zeto tune tells which parameters are best.
#pragma once
#include <string>

#include "tuning/tuned.hpp"

namespace zeto::tool {

/// @param most  of the ranked sets, at most.
std::string tune_table(const Tuned& tuned, size_t most);
/// A line per set and label.
std::string tune_csv(const Tuned& tuned, bool heading);
/// All of it, one object on a line.
std::string tune_json(const Tuned& tuned);
/// A page that needs nothing else.
std::string tune_page(const Tuned& tuned);

/// The parameters of a candidate, as a file for --params.
std::string parameters_json(const Candidate& candidate);

}  // namespace zeto::tool
