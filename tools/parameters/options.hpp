// Options that several verbs have.
#pragma once

#include "parameters/parameters.hpp"

namespace CLI {
class App;
}  // namespace CLI

namespace zeto::tool {

/// Whose parameters a verb has as options.
enum class Side { kEmitter, kDetector, kBoth };

/// Adds --set, --params and one option per parameter to a verb; for an emitter also --restart-ms and --fade-ms. `set`
/// becomes the default set and then what the options make of it: the named set, over it the file, over that single
/// parameters. The word start_hz becomes --start-hz; --start_hz is understood as well.
void add_parameter_options(CLI::App& verb, zeto_set& set, Side side);

}  // namespace zeto::tool
