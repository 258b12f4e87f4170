// The library's parameters by name: the interface's names, units, meaning and the tool's defaults.
#pragma once
#include <cstdint>
#include <vector>

#include "zeto/cores.h"

namespace zeto::tool {

/// The core's own defaults. It has none for the period (it is silent until one is set); a second is the shortest.
constexpr zeto_rx_param kEmitterDefaults{19600, 4000, 10, 160, 1000, 1};

/// The core itself starts from zeros. These fit the emitter's defaults, with the result in milliseconds; docs/tool.md
/// says why each.
constexpr zeto_tx_param kDetectorDefaults{19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0};

/// One word of a parameter block.
struct Parameter {
  const char* name;     ///< as in the interface
  const char* unit;     ///< "" where there is none
  const char* meaning;  ///< a line or two
  int32_t* value;       ///< in the block
};

/// In the block's order. The block must outlive them.
std::vector<Parameter> parameters_of(zeto_rx_param& block);
std::vector<Parameter> parameters_of(zeto_tx_param& block);

}  // namespace zeto::tool
