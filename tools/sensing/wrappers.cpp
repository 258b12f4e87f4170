#include "sensing/wrappers.hpp"

#include "error.hpp"
#include "text/library_output.hpp"

namespace zeto::tool {
namespace {

template <class Handle>
void expect_ready(const Handle& handle) {
  if (!handle || handle->state != 1 || handle->core == nullptr) throw UserError("out of memory");
}

}  // namespace

Downlink::Downlink(HostFormat format, const zeto_rx_param& param) {
  const LibrarySpeaks elsewhere;
  handle_.reset(zeto_rx_wrapper_init(kSampleRate, static_cast<int32_t>(format)));
  expect_ready(handle_);
  const zeto_rx_param_block block{param};
  zeto_rx_wrapper_set_parameters(handle_.get(), &block);
}

Uplink::Uplink(HostFormat format, const zeto_tx_param& param) {
  const LibrarySpeaks elsewhere;
  handle_.reset(zeto_tx_wrapper_init(kSampleRate, static_cast<int32_t>(format)));
  expect_ready(handle_);
  const zeto_tx_param_block block{param};
  zeto_tx_wrapper_set_parameters(handle_.get(), &block);
}

void Deinit::operator()(zeto_rx_wrapper* handle) const {
  const LibrarySpeaks elsewhere;
  zeto_rx_wrapper_deinit(handle);
}

void Deinit::operator()(zeto_tx_wrapper* handle) const {
  const LibrarySpeaks elsewhere;
  zeto_tx_wrapper_deinit(handle);
}

}  // namespace zeto::tool
