// Frames: descriptors of up to four channels over the caller's memory.
#include <math.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "kernels/saturate.hpp"
#include "zeto/kernels.h"

static_assert(offsetof(zeto_frame, num) == 4 * sizeof(void*));
static_assert(offsetof(zeto_frame, size) == 4 * sizeof(void*) + 4);

namespace {

constexpr uint32_t kMaxChannels = 4;

// Sizes are the caller's word, so an address may lie outside any array: plain integers, which may wrap.
void* address_of(void* base, uint32_t samples, size_t sample_bytes) noexcept {
  return reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(base) + uintptr_t{samples} * sample_bytes);
}

zeto_frame load(void* base, uint32_t num, int32_t size, size_t sample_bytes) noexcept {
  zeto_frame frame = {};
  if (!base || num == 0 || num > kMaxChannels || size == 0) return frame;
  frame.num = num;
  frame.size = static_cast<uint32_t>(size);
  uint32_t offset = 0;
  for (uint32_t c = 0; c < num; ++c, offset += frame.size) frame.ch[c] = address_of(base, offset, sample_bytes);
  return frame;
}

bool is_usable(const zeto_frame* frame) noexcept {
  if (!frame || frame->num == 0 || frame->num > kMaxChannels || frame->size == 0) return false;
  for (uint32_t c = 0; c < frame->num; ++c) {
    if (!frame->ch[c]) return false;
  }
  return true;
}

bool are_compatible(const zeto_frame* source, const zeto_frame* destination) noexcept {
  if (is_usable(source) && is_usable(destination) && destination->num <= source->num &&
      destination->size == source->size) {
    return true;
  }
  constexpr zeto_frame kEmpty = {};
  const zeto_frame& from = source ? *source : kEmpty;
  const zeto_frame& to = destination ? *destination : kEmpty;
  using Count = unsigned long;
  fprintf(stderr, "QANT_TX: num info<%lu><%lu>, size info<%lu><%lu>.\n", Count{from.num}, Count{to.num},
          Count{from.size}, Count{to.size});
  return false;
}

template <typename From, typename To, typename Convert>
void convert(const zeto_frame* source, const zeto_frame* destination, Convert sample) noexcept {
  if (!are_compatible(source, destination)) return;
  for (uint32_t c = 0; c < destination->num; ++c) {
    const From* const from = static_cast<const From*>(source->ch[c]);
    To* const to = static_cast<To*>(destination->ch[c]);
    for (uint32_t t = 0; t < destination->size; ++t) to[t] = sample(from[t]);
  }
}

int16_t round_to_short(float x) noexcept {
  const int32_t rounded = zeto::saturate_int32(x + copysignf(0.5f, x));
  if (rounded > INT16_MAX) return INT16_MAX;
  if (rounded < INT16_MIN) return INT16_MIN;
  return static_cast<int16_t>(rounded);
}

}  // namespace

zeto_frame zeto_frame_short_load(int16_t* base, uint32_t num, int32_t size) {
  return load(base, num, size, sizeof(int16_t));
}

zeto_frame zeto_frame_float_load(float* base, uint32_t num, int32_t size) {
  return load(base, num, size, sizeof(float));
}

zeto_frame zeto_frame_short_offside(const zeto_frame* frame, uint32_t offset, uint32_t length) {
  zeto_frame part = {};
  if (!frame || frame->num > kMaxChannels || frame->size < offset) return part;
  const uint32_t left = frame->size - offset;
  part.num = frame->num;
  part.size = left < length ? left : length;
  for (uint32_t c = 0; c < part.num; ++c) part.ch[c] = address_of(frame->ch[c], offset, sizeof(int16_t));
  return part;
}

void zeto_frame_float_copy_to_float(const zeto_frame* source, const zeto_frame* destination) {
  if (!are_compatible(source, destination)) return;
  const size_t bytes = size_t{destination->size} * sizeof(float);
  for (uint32_t c = 0; c < destination->num; ++c) memmove(destination->ch[c], source->ch[c], bytes);
}

void zeto_frame_short_convert_to_float(const zeto_frame* source, const zeto_frame* destination) {
  convert<int16_t, float>(source, destination, [](int16_t x) { return static_cast<float>(x) * 0x1p-15f; });
}

void zeto_frame_float_convert_to_short(const zeto_frame* source, const zeto_frame* destination) {
  convert<float, int16_t>(source, destination, round_to_short);
}

void zeto_frame_short_copy_from_interleaved(const int16_t* interleaved, const zeto_frame* frame) {
  if (!is_usable(frame) || interleaved == frame->ch[0]) return;
  const int16_t* next = interleaved;
  for (uint32_t t = 0; t < frame->size; ++t) {
    for (uint32_t c = 0; c < frame->num; ++c) static_cast<int16_t*>(frame->ch[c])[t] = *next++;
  }
}

void zeto_frame_short_copy_to_interleaved(const zeto_frame* frame, int16_t* interleaved) {
  if (!is_usable(frame) || interleaved == frame->ch[0]) return;
  int16_t* next = interleaved;
  for (uint32_t t = 0; t < frame->size; ++t) {
    for (uint32_t c = 0; c < frame->num; ++c) *next++ = static_cast<const int16_t*>(frame->ch[c])[t];
  }
}
