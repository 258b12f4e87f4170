#include "downlink.hpp"

#include "error.hpp"
#include "library_output.hpp"

namespace zeto::tool {
namespace {

/// set_parameters reads a block of fixed size, longer than the parameters.
struct ParamBlock {
  zeto_rx_param param;
  uint8_t rest[ZETO_PARAM_BLOCK_BYTES - sizeof(zeto_rx_param)];
};

}  // namespace

Downlink::Downlink(HostFormat format, const zeto_rx_param& param) {
  const LibrarySpeaks elsewhere;
  handle_.reset(zeto_rx_wrapper_init(kSampleRate, static_cast<int32_t>(format)));
  if (!handle_ || handle_->state != 1 || handle_->core == nullptr) throw UserError("out of memory");
  const ParamBlock block{param, {}};
  zeto_rx_wrapper_set_parameters(handle_.get(), &block.param);
}

void Downlink::Deinit::operator()(zeto_rx_wrapper* handle) const {
  const LibrarySpeaks elsewhere;
  zeto_rx_wrapper_deinit(handle);
}

}  // namespace zeto::tool
