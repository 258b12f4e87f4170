// Files of parameters.
#pragma once
#include <string>

#include "parameters/options.hpp"

namespace zeto::tool {

/// Sets what the file sets. It is a JSON object of the interface's names, each with a whole number, or with an object
/// whose "value" that is, as `zeto params --json` prints them; beside them `restart_ms`, an array of whole numbers,
/// `fade_ms`, a number, and "set", the name of a set: then the file changes that one, and what `set` was is lost.
/// Anything else is a UserError that names the nearest name. What is missing stays. A unit that is not the parameter's
/// is told on standard error; with --verbose also what is missing of the verb's side.
void read_parameters(const std::string& path, zeto_set& set, Side side);

}  // namespace zeto::tool
