// The uplink handle: two captured inputs in, the measurement out, the inputs handed back.
#include "wrapper/handle.hpp"
#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace {

struct Uplink {
  using Handle = zeto_tx_wrapper;
  using Core = zeto_tx_state;
  static constexpr const char* kInit = "zeto_tx_wrapper_init";
  static constexpr const char* kDeinit = "zeto_tx_wrapper_deinit";
  static constexpr const char* kSet = "zeto_tx_wrapper_set_parameters";

  static uint32_t core_bytes() { return cal_zeto_tx_struct_malloc_size(); }
  static void init_core(Core* core) { zeto_tx_init(core); }
  static void reinit_core(Core* core, int32_t rate) { zeto_tx_reinit(core, rate); }
  static void set_core(Core* core, const zeto_tx_param* param) { zeto_tx_set_param(core, param); }
  static void exit_core(Core* core) { zeto_tx_destroy(core); }

  struct Streams {
    zeto_stream* all[3];
  };
  static Streams streams(Handle* handle) { return {{&handle->in2_stream, &handle->in1_stream, &handle->out_stream}}; }
};

static_assert(sizeof(void*) != 8 ||
              (zeto::has_common_layout<zeto_tx_wrapper>() && offsetof(zeto_tx_wrapper, in2_stream) == 120 &&
               offsetof(zeto_tx_wrapper, in1_stream) == 200 && offsetof(zeto_tx_wrapper, out_stream) == 280 &&
               sizeof(zeto_tx_wrapper) == 360));

}  // namespace

zeto_tx_wrapper* zeto_tx_wrapper_init(uint32_t sample_rate, int32_t format_type) {
  return zeto::create<Uplink>(sample_rate, format_type);
}

void zeto_tx_wrapper_deinit(zeto_tx_wrapper* handle) {
  zeto::destroy<Uplink>(handle);
}

void zeto_tx_wrapper_set_parameters(zeto_tx_wrapper* handle, const zeto_tx_param_block* block) {
  zeto::set_parameters<Uplink>(handle, block);
}

void zeto_tx_wrapper_get_parameter(zeto_tx_wrapper* handle, uint32_t* out) {
  if (zeto::is_ready(handle)) zeto_tx_get_param(handle->core, out);
}

void zeto_tx_wrapper_process(zeto_tx_wrapper* handle, void* in1, void* in2, void* out, uint64_t byte_count) {
  if (!zeto::is_ready(handle) || in1 == nullptr || in2 == nullptr || out == nullptr || byte_count == 0) return;
  zeto::process<Uplink>(handle, {in2, in1, out}, byte_count, [handle] {
    zeto_tx_process(handle->core, handle->in1_stream.pcm16_block, handle->in2_stream.pcm16_block,
                    handle->out_stream.pcm16_block, zeto::kBlockLen);
  });
}
