// What the two handles have in common. A Side describes one of them:
//   Handle, Core            the types
//   kInit, kDeinit, kSet    the names that the log shows
//   core_bytes, init_core, reinit_core, set_core, exit_core
//   streams(handle)         pointers to its streams, in the order of allocation, release and sample traffic; the first
//                           decides when a block is complete
#pragma once

#include <stddef.h>
#include <string.h>

#include "wrapper/format.hpp"
#include "wrapper/log.hpp"
#include "wrapper/memory.hpp"
#include "wrapper/stream.hpp"

namespace zeto {

constexpr uint32_t kSampleRate = 48000;

template <typename Side>
typename Side::Handle* create(uint32_t sample_rate, int32_t format_type) noexcept {
  if (sample_rate != kSampleRate) {
    log::rate_mismatch(Side::kInit, sample_rate);
    return nullptr;
  }
  auto* handle = allocate<typename Side::Handle>(sizeof(typename Side::Handle));
  if (handle == nullptr) return nullptr;

  const Format format = format_of(format_type);
  handle->sample_rate = kSampleRate;
  handle->format_type = format.format_type;
  handle->bit_width = format.bit_width;
  handle->sample_bytes = format.sample_bytes;

  // A core without memory is not counted as a failure: its calls do nothing.
  handle->core = allocate<typename Side::Core>(Side::core_bytes());
  Side::init_core(handle->core);

  handle->block_len = kBlockLen;
  int32_t error_flag = 0;
  for (zeto_stream* stream : Side::streams(handle).all) error_flag += open_stream(*stream, format);
  handle->state = error_flag == 0;
  log::initialised(Side::kInit, handle->sample_rate, format_type, handle->state, error_flag);
  return handle;
}

template <typename Side>
void destroy(typename Side::Handle* handle) noexcept {
  if (handle == nullptr) return;
  handle->state = 0;
  log::closing(Side::kDeinit);
  Side::exit_core(handle->core);
  release(handle->core);
  for (zeto_stream* stream : Side::streams(handle).all) close_stream(*stream);
  release(handle);
}

template <typename Handle>
bool is_ready(const Handle* handle) noexcept {
  return handle != nullptr && handle->state != 0;
}

template <typename Side, typename Block>
void set_parameters(typename Side::Handle* handle, const Block* block) noexcept {
  static_assert(sizeof(Block) == ZETO_PARAM_BLOCK_BYTES && offsetof(Block, param) == 0);
  if (!is_ready(handle)) return;
  log::parameters(Side::kSet, block);
  Side::set_core(handle->core, &block->param);
  memcpy(handle->params, block, sizeof handle->params);
  Side::reinit_core(handle->core, handle->sample_rate);
}

// Runs a call's host buffers, in the order of the Side's streams, through them. 32-bit PCM counts as right-justified
// 24-bit meanwhile; buffers that are one and the same are converted as often as they are named.
template <typename Side, size_t N, typename RunCore>
void process(typename Side::Handle* handle, void* const (&buffers)[N], uint64_t byte_count, RunCore run_core) noexcept {
  const bool pcm32 = handle->format_type == kFormatPcm32;
  const uint64_t pcm32_len = byte_count / sizeof(int32_t);
  if (pcm32) {
    for (void* buffer : buffers) pcm32_to_pcm24(buffer, pcm32_len);
  }

  const auto streams = Side::streams(handle);
  Lane lanes[N];
  for (size_t i = 0; i < N; ++i) lanes[i] = {streams.all[i], static_cast<char*>(buffers[i])};
  run_streams(lanes, handle->bit_width, handle->sample_bytes, byte_count, run_core);

  if (pcm32) {
    for (void* buffer : buffers) pcm24_to_pcm32(buffer, pcm32_len);
  }
}

// The 80 bytes and the pointers of a handle lie where every C compiler puts them.
template <typename Handle>
constexpr bool has_common_layout() noexcept {
  return offsetof(Handle, state) == 0 && offsetof(Handle, params) == 4 && offsetof(Handle, core) == 88 &&
         offsetof(Handle, sample_rate) == 96 && offsetof(Handle, format_type) == 100 &&
         offsetof(Handle, bit_width) == 104 && offsetof(Handle, sample_bytes) == 108 &&
         offsetof(Handle, block_len) == 112;
}

}  // namespace zeto
