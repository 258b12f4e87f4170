#include "sensing/sweep_table.hpp"

#include "text/library_output.hpp"
#include "zeto/cores.h"

namespace zeto::tool {

SweepTable::SweepTable(const zeto_sweep& sweep) : table_(zeto_sweep_len(&sweep)) {
  std::vector<uint64_t> scratch((cal_zeto_rx_struct_malloc_size() + sizeof(uint64_t) - 1) / sizeof(uint64_t));
  const LibrarySpeaks elsewhere;
  zeto_sweep_make(&sweep, scratch.data(), table_.data());
}

}  // namespace zeto::tool
