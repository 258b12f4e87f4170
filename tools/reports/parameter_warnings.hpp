// Parameters that are allowed and cannot work, or do not mean what one may think.
#pragma once
#include <string>

#include "parameters/options.hpp"

namespace zeto::tool {

/// A line each on standard error.
/// @param side  which of the parameters are used; with both, whether they fit together.
void warn_of(const std::string& who, const zeto_set& set, Side side);

}  // namespace zeto::tool
