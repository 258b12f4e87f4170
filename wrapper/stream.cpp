#include "wrapper/stream.hpp"

#include "wrapper/memory.hpp"

namespace zeto {
namespace {

constexpr size_t kNarrowBytes = kBlockLen * sizeof(int16_t);
constexpr size_t kWideBytes = kBlockLen * sizeof(int32_t);

void* open_ring(omru_ringbuf& ring, const Format& format) noexcept {
  ring = {format.bit_width, kBlockLen, 0, 0, 0, nullptr};
  ring.data = allocate<void>(static_cast<size_t>(kBlockLen) * static_cast<size_t>(format.sample_bytes));
  return ring.data;
}

}  // namespace

int32_t open_stream(zeto_stream& stream, const Format& format) noexcept {
  int32_t failed = 0;
  failed += open_ring(stream.in_ring, format) == nullptr;
  failed += open_ring(stream.out_ring, format) == nullptr;
  stream.pcm16_block = allocate<int16_t>(kNarrowBytes);
  failed += stream.pcm16_block == nullptr;
  stream.wide_block = allocate<void>(kWideBytes);
  failed += stream.wide_block == nullptr;
  return failed;
}

void close_stream(zeto_stream& stream) noexcept {
  release(stream.in_ring.data);
  release(stream.out_ring.data);
  release(stream.pcm16_block);
  release(stream.wide_block);
}

uint64_t samples_in(uint64_t byte_count, int32_t sample_bytes) noexcept {
  constexpr uint64_t kCountRange = uint64_t{1} << 32;
  const uint64_t bytes = static_cast<uint64_t>(sample_bytes);
  const uint64_t count = byte_count % kCountRange;
  if (count % bytes != 0) return UINT64_MAX;  // longer than any memory
  return (count == 0 ? kCountRange : count) / bytes;
}

// The volatile access is what makes this loop one that the compiler must keep.
void spin_forever() noexcept {
  volatile uint32_t turn = 0;
  for (;;) turn = turn + 1;
}

void take_block(zeto_stream& stream, int32_t bit_width) noexcept {
  if (bit_width == kWidthPcm16) {
    omru_ringbuf_read(&stream.in_ring, stream.pcm16_block, kBlockLen);
  } else {
    omru_ringbuf_read(&stream.in_ring, stream.wide_block, kBlockLen);
    narrow_block(bit_width, stream.wide_block, stream.pcm16_block);
  }
}

void return_block(zeto_stream& stream, int32_t bit_width) noexcept {
  if (bit_width == kWidthPcm16) {
    omru_ringbuf_write(&stream.out_ring, stream.pcm16_block, kBlockLen);
  } else {
    widen_block(bit_width, stream.pcm16_block, stream.wide_block);
    omru_ringbuf_write(&stream.out_ring, stream.wide_block, kBlockLen);
  }
}

}  // namespace zeto
