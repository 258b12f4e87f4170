// The library's parameters by name: the interface's names, units, meaning and the tool's defaults; and the named sets.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "zeto/cores.h"
#include "zeto/host.h"

namespace zeto::tool {

/// One word of a parameter block.
struct Parameter {
  const char* name;     ///< as in the interface
  const char* unit;     ///< "" if there is none
  const char* meaning;  ///< a line or two
  int32_t* value;       ///< in the block
};

/// In the block's order. The block must outlive them.
std::vector<Parameter> parameters_of(zeto_rx_param& block);
std::vector<Parameter> parameters_of(zeto_tx_param& block);

/// A named set as the verbs take it over and options change it. Throws UserError if there is none of that name.
///
/// Its `chirp` holds what the emitter plays, with or without sweeps that start over; of its `sweep` only `restart_ms`
/// and `fade_us` are used: ask sweep_of().
zeto_set set_of(const std::string& name);

/// The names of all sets, to be told.
std::string set_names();

bool has_sweeps(const zeto_set& set);

/// Whether the host kit plays and hears this set.
bool is_for_kit(const zeto_set& set);

/// The sweeps as changed. `span_hz` of the chirp is their slope per second, `amp_end_milli` their amplitude; that is 0
/// if the emitter is not enabled.
zeto_sweep sweep_of(const zeto_set& set);

/// Their lengths in ms.
std::vector<int32_t> restarts_of(const zeto_set& set);

/// Takes lengths of sweeps over. Throws UserError if they are too many, too short or too long; `where` names them.
void set_restarts(zeto_set& set, const std::string& where, const std::vector<int32_t>& restart_ms);

/// Takes the fade over. Throws UserError if it cannot be; `where` names it.
void set_fade(zeto_set& set, const std::string& where, double ms);

}  // namespace zeto::tool
