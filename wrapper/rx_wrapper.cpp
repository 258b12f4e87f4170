// The downlink handle: playback in, chirp out.
#include "wrapper/handle.hpp"
#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace {

struct Downlink {
  using Handle = zeto_rx_wrapper;
  using Core = zeto_rx_state;
  static constexpr const char* kInit = "zeto_rx_wrapper_init";
  static constexpr const char* kDeinit = "zeto_rx_wrapper_deinit";
  static constexpr const char* kSet = "zeto_rx_wrapper_set_parameters";

  static uint32_t core_bytes() { return cal_zeto_rx_struct_malloc_size(); }
  static void init_core(Core* core) { zeto_rx_init(core); }
  static void reinit_core(Core* core, int32_t rate) { zeto_rx_reinit(core, static_cast<uint32_t>(rate)); }
  static void set_core(Core* core, const zeto_rx_param* param) { zeto_rx_set_param(core, param); }
  static void exit_core(Core* core) { zeto_rx_exit(core); }

  struct Streams {
    zeto_stream* all[1];
  };
  static Streams streams(Handle* handle) { return {{&handle->stream}}; }
};

static_assert(sizeof(void*) != 8 || (zeto::has_common_layout<zeto_rx_wrapper>() &&
                                     offsetof(zeto_rx_wrapper, stream) == 120 && sizeof(zeto_rx_wrapper) == 200));

}  // namespace

zeto_rx_wrapper* zeto_rx_wrapper_init(uint32_t sample_rate, int32_t format_type) {
  return zeto::create<Downlink>(sample_rate, format_type);
}

void zeto_rx_wrapper_deinit(zeto_rx_wrapper* handle) {
  zeto::destroy<Downlink>(handle);
}

void zeto_rx_wrapper_set_parameters(zeto_rx_wrapper* handle, const zeto_rx_param_block* block) {
  zeto::set_parameters<Downlink>(handle, block);
}

void zeto_rx_wrapper_get_parameter(zeto_rx_wrapper* handle, int32_t* out) {
  if (zeto::is_ready(handle)) zeto_rx_get_param(handle->core, out);
}

void zeto_rx_wrapper_process(zeto_rx_wrapper* handle, void* buffer, uint64_t byte_count) {
  if (!zeto::is_ready(handle) || buffer == nullptr || byte_count == 0) return;
  zeto::process<Downlink>(handle, {buffer}, byte_count,
                          [handle] { zeto_rx_process(handle->core, handle->stream.pcm16_block, zeto::kBlockLen); });
}
