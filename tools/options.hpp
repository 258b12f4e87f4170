// The library's parameters as options, with the interface's names, units and defaults.
#pragma once
#include <CLI/CLI.hpp>

#include "zeto/cores.h"

namespace zeto::tool {

/// The core's own defaults. It has none for the period (it is silent until one is set); a second is the shortest.
constexpr zeto_rx_param kEmitterDefaults{19600, 4000, 10, 160, 1000, 1};

/// The core itself starts from zeros. These fit the emitter's defaults, with the result in milliseconds; docs/tool.md
/// says why each.
constexpr zeto_tx_param kDetectorDefaults{19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0};

/// Adds one option per word of `param`, which holds the defaults and receives the values. The word start_hz becomes
/// --start-hz; --start_hz is understood as well.
void add_emitter_options(CLI::App& verb, zeto_rx_param& param);
void add_detector_options(CLI::App& verb, zeto_tx_param& param);

}  // namespace zeto::tool
