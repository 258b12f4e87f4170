// Streams: what carries the host's buffers of any length through a core that wants whole blocks. Shared by the
// wrappers.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "wrapper/format.hpp"
#include "zeto/wrappers.h"

namespace zeto {

// Allocates a stream's four buffers and prepares its rings; returns how many allocations failed.
int32_t open_stream(zeto_stream& stream, const Format& format) noexcept;
void close_stream(zeto_stream& stream) noexcept;

// One stream and the host buffer that it works through during a call.
struct Lane {
  zeto_stream* stream;
  char* host;
};

// Samples that a byte count stands for. The count is 32 bits wide and runs down to exactly zero by one sample's bytes
// at a time: 0 stands for 2^32, and a count that is not a multiple of the sample never ends.
uint64_t samples_in(uint64_t byte_count, int32_t sample_bytes) noexcept;

// Never returns.
[[noreturn]] void spin_forever() noexcept;

// Collects the waiting block of a stream as 16-bit samples, and hands the processed one back.
void take_block(zeto_stream& stream, int32_t bit_width) noexcept;
void return_block(zeto_stream& stream, int32_t bit_width) noexcept;

// Walks the lanes' host buffers. Per sample position: every lane's sample goes into its in_ring; when the first lane's
// holds a block, `run_core` processes the blocks of all; then every lane's position takes a sample from its out_ring.
// Positions up to the one that completes a block touch the out_rings only by reading, so a whole run of them moves at
// once, and only its last read waits for the block.
template <size_t N, typename Core>
void run_streams(Lane (&lanes)[N], int32_t bit_width, int32_t sample_bytes, uint64_t byte_count,
                 Core run_core) noexcept {
  if (sample_bytes == 0) spin_forever();
  const auto bytes = static_cast<size_t>(sample_bytes);

  for (uint64_t left = samples_in(byte_count, sample_bytes); left > 0;) {
    const int32_t missing = kBlockLen - lanes[0].stream->in_ring.count;
    const bool completes = left >= static_cast<uint64_t>(missing);
    const int32_t run = completes ? missing : static_cast<int32_t>(left);
    const int32_t before = completes ? run - 1 : run;  // reads that come before the block

    for (Lane& lane : lanes) omru_ringbuf_write(&lane.stream->in_ring, lane.host, run);
    for (Lane& lane : lanes) omru_ringbuf_read(&lane.stream->out_ring, lane.host, before);
    if (completes) {
      for (Lane& lane : lanes) take_block(*lane.stream, bit_width);
      run_core();
      for (Lane& lane : lanes) return_block(*lane.stream, bit_width);
      for (Lane& lane : lanes) {
        omru_ringbuf_read(&lane.stream->out_ring, lane.host + static_cast<size_t>(before) * bytes, 1);
      }
    }
    for (Lane& lane : lanes) lane.host += static_cast<size_t>(run) * bytes;
    left -= static_cast<uint64_t>(run);
  }
}

}  // namespace zeto
