// The block ring buffer. Samples move in runs between the storage's ends; the outcome is that of moving them one by
// one.
#include <stddef.h>
#include <string.h>

#include "zeto/wrappers.h"

static_assert(offsetof(omru_ringbuf, write_pos) == 16 && offsetof(omru_ringbuf, data) == 24 &&
              sizeof(omru_ringbuf) == 24 + sizeof(void*));

namespace {

int64_t least(int64_t a, int64_t b) {
  return a < b ? a : b;
}

// Bytes of a sample, 0 where the ring takes no part.
size_t sample_bytes(const omru_ringbuf* ring) {
  if (ring->capacity < 1) return 0;
  switch (ring->bit_width) {
    case 16:
      return 2;
    case 32:
    case 48:
      return 4;
    default:
      return 0;
  }
}

int32_t advance(int32_t pos, int64_t n, int32_t capacity) {
  return static_cast<int32_t>((pos + n) % capacity);
}

char* sample_at(const omru_ringbuf* ring, int32_t pos, size_t bytes) {
  return static_cast<char*>(ring->data) + static_cast<size_t>(pos) * bytes;
}

}  // namespace

void omru_ringbuf_write(omru_ringbuf* ring, const void* source, int32_t n) {
  const size_t bytes = sample_bytes(ring);
  if (bytes == 0 || n < 1) return;

  const char* from = static_cast<const char*>(source);
  for (int64_t left = n; left > 0;) {
    const int64_t run = least(left, ring->capacity - ring->write_pos);
    const size_t size = static_cast<size_t>(run) * bytes;
    memcpy(sample_at(ring, ring->write_pos, bytes), from, size);
    ring->write_pos = advance(ring->write_pos, run, ring->capacity);
    from += size;
    left -= run;
  }

  // Whatever went in beyond the capacity has overwritten the oldest samples.
  const int64_t held = int64_t{ring->count} + n;
  const int64_t lost = held - ring->capacity;
  if (lost > 0) ring->read_pos = advance(ring->read_pos, lost, ring->capacity);
  ring->count = static_cast<int32_t>(least(held, ring->capacity));
}

void omru_ringbuf_read(omru_ringbuf* ring, void* destination, int32_t n) {
  const size_t bytes = sample_bytes(ring);
  if (bytes == 0 || n < 1) return;

  char* to = static_cast<char*>(destination);
  int64_t left = n;
  while (left > 0 && ring->count > 0) {
    const int64_t run = least(least(left, ring->count), ring->capacity - ring->read_pos);
    const size_t size = static_cast<size_t>(run) * bytes;
    memcpy(to, sample_at(ring, ring->read_pos, bytes), size);
    ring->read_pos = advance(ring->read_pos, run, ring->capacity);
    ring->count -= static_cast<int32_t>(run);
    to += size;
    left -= run;
  }
  if (left == 0) return;

  memset(to, 0, static_cast<size_t>(left) * bytes);
  ring->count = 0;
  ring->write_pos = ring->read_pos;
}
