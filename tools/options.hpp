// Options that several verbs have.
#pragma once
#include <CLI/CLI.hpp>

#include "parameters.hpp"

namespace zeto::tool {

/// Adds --params and one option per parameter to a verb that has an emitter, a detector or both. The blocks hold the
/// defaults and receive the values: what the file says, and over it what the options say. The word start_hz becomes
/// --start-hz; --start_hz is understood as well.
void add_parameter_options(CLI::App& verb, zeto_rx_param& emitter);
void add_parameter_options(CLI::App& verb, zeto_tx_param& detector);
void add_parameter_options(CLI::App& verb, zeto_rx_param& emitter, zeto_tx_param& detector);

}  // namespace zeto::tool
