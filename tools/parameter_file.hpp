// Files of parameters.
#pragma once
#include <string>
#include <vector>

#include "parameters.hpp"

namespace zeto::tool {

/// Sets what the file sets. It is a JSON object of the interface's names, each with a whole number, or with an object
/// whose "value" that is, as `zeto params --json` prints them. Names of the other core are left aside, and anything
/// else is a UserError that names the nearest name. What is missing stays, and a line on standard error names it.
void read_parameters(const std::string& path, const std::vector<Parameter>& parameters);

}  // namespace zeto::tool
