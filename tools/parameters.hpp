// The library's parameters by name: the interface's names, units, meaning and the tool's defaults.
#pragma once
#include <cstdint>
#include <vector>

#include "zeto/cores.h"

namespace zeto::tool {

constexpr zeto_rx_param kEmitterDefaults = ZETO_RX_PARAM_DEFAULTS;
constexpr zeto_tx_param kDetectorDefaults = ZETO_TX_PARAM_DEFAULTS;

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
