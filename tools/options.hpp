// The library's parameters as options, with the interface's names, units and defaults.
#pragma once
#include <CLI/CLI.hpp>

#include "zeto/cores.h"

namespace zeto::tool {

/// The core's own defaults. It has none for the period (it is silent until one is set); a second is the shortest.
constexpr zeto_rx_param kEmitterDefaults{19600, 4000, 10, 160, 1000, 1};

/// Adds one option per word of `param`, which holds the defaults and receives the values.
void add_emitter_options(CLI::App& verb, zeto_rx_param& param);

}  // namespace zeto::tool
