// Fuzz target: the arena, rings and frames against models of a few lines each.
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "plain/stream.hpp"
#include "tests/support/fuzz_input.hpp"
#include "zeto/arena.h"
#include "zeto/kernels.h"
#include "zeto/wrappers.h"

namespace {

using support::FuzzInput;
using support::require;

// The mask of log2(alignment) rounded to nearest: 4^shift is at least alignment^2 / 2. None without a logarithm.
uint64_t mask_of(int32_t alignment) {
  uint32_t shift = 0;
  const auto square = static_cast<uint64_t>(int64_t{alignment} * alignment);
  while (alignment > 0 && uint64_t{2} << 2 * shift <= square) ++shift;
  return ~uint64_t{0} << shift;
}

// Any addresses, none of them touched; or those of a block, which malloc_buffer clears.
void fuzz_arena(FuzzInput& input) {
  const auto slot = input.take<int32_t>() % 3;
  const uint64_t limit = slot == 0 ? 130000 : 50000;
  std::vector<char> block(input.below(2) == 0 ? limit + 7 : 0, 'x');
  const bool real = !block.empty();
  const uint64_t base = real ? reinterpret_cast<uintptr_t>(block.data()) + input.below(8) : input.take<uint64_t>();
  const auto pointer = [](uint64_t number) { return reinterpret_cast<void*>(static_cast<uintptr_t>(number)); };
  uint64_t current = (base + 7) & ~uint64_t{7}, mark = current;
  zeto_set_malloc_addr(slot, pointer(base));
  zeto_get_curr_ptr(slot);
  for (uint32_t calls = input.below(32); calls > 0; --calls) {
    const uint32_t call = input.below(8);
    if (call == 0) {
      const uint64_t to = base + input.take<uint16_t>();
      zeto_set_cur_addr(slot, pointer(to));
      current = (to + 7) & ~uint64_t{7};
    } else if (call == 1) {
      zeto_get_curr_ptr(slot);
      mark = current;
    } else {
      const bool clears = real && input.below(2) == 0;
      const int32_t alignment = real || call < 6 ? 4 << input.below(12) : input.take<int32_t>();
      const uint32_t size = call == 7   ? input.take<uint32_t>()
                            : call == 6 ? static_cast<uint32_t>(base + limit - current) + input.below(3) - 1
                                        : input.take<uint16_t>();
      uint64_t want = 0;
      if (clears || alignment % 4 == 0) {
        if (!clears) current = (current + static_cast<uint64_t>(int64_t{alignment} - 1)) & mask_of(alignment);
        const bool fits = current + size - base <= limit;
        want = fits ? current : 0;
        current += fits ? size : 0;
      }
      char* const got = static_cast<char*>(clears ? malloc_buffer(slot, size) : align_malloc(slot, alignment, size));
      require(got == pointer(want), "what is handed out is the rounded address, or nothing");
      if (clears && got != nullptr) {
        require(std::all_of(got, got + size, [](char c) { return c == 0; }), "and zero");
        std::fill(got, got + size, 'y');
      }
    }
    require(zeto_get_use_size(slot) == static_cast<int64_t>(current - mark), "the arena counts what it hands out");
  }
}

void fuzz_ring(FuzzInput& input) {
  const int32_t width = std::array{16, 32, 48, int32_t{input.take<int8_t>()}}[input.below(4)];
  const int32_t capacity = input.below(4) == 0 ? 480 : static_cast<int32_t>(input.below(40)) - 1;
  plain::Ring model(width, capacity);
  std::vector<unsigned char> storage = model.data;
  omru_ringbuf ring = {width, capacity, 0, 0, 0, storage.data()};
  for (uint32_t calls = input.below(32); calls > 0; --calls) {
    const int32_t n =
        input.below(8) == 0 ? -static_cast<int32_t>(input.take<uint32_t>() >> 1) : input.take<uint16_t>() % 1100;
    if (input.below(16) == 0) ring.count = model.count = -3;  // an underflow repairs it
    std::vector<char> a(static_cast<size_t>(std::max(n, 0)) * 4);
    input.take(a.data(), std::min(a.size(), size_t{64}));
    std::vector<char> b = a;
    const bool writes = input.below(2) == 0;
    writes ? omru_ringbuf_write(&ring, a.data(), n) : omru_ringbuf_read(&ring, a.data(), n);
    writes ? model.write(b.data(), n) : model.read(b.data(), n);
    require(a == b, "a ring gives back what a plain one does");
    require(ring.count == model.count && ring.read_pos == model.read_pos && ring.write_pos == model.write_pos,
            "a ring's positions are a plain one's");
  }
  require(storage == model.data, "a ring stores what a plain one does");
}

int16_t to_short(float x) {
  if (std::isnan(x)) return 0;
  return static_cast<int16_t>(std::clamp(std::trunc(x + std::copysign(0.5f, x)), -32768.0f, 32767.0f));
}

// A frame over four arrays of the given number of samples, with counts that may be bad, or none at all.
template <typename Sample>
struct Frame {
  std::array<std::vector<Sample>, 4> samples;
  zeto_frame frame = {};
  const zeto_frame* given;
  bool usable;
  Frame(FuzzInput& input, uint32_t size) {
    frame.num = input.below(16) == 0 ? input.take<uint32_t>() : input.below(6);
    frame.size = size;
    given = input.below(32) == 0 ? nullptr : &frame;
    usable = given != nullptr && frame.num > 0 && frame.num < 5;
    for (uint32_t c = 0; c < 4; ++c) {
      samples[c].resize(size);
      input.take(samples[c].data(), size * sizeof(Sample));
      frame.ch[c] = size == 0 || input.below(32) == 0 ? nullptr : samples[c].data();
      usable &= c >= frame.num || frame.ch[c] != nullptr;
    }
  }
  Frame(const Frame&) = delete;
};

template <typename From, typename To, auto kCall, auto kConvert>
void fuzz_conversion(FuzzInput& input) {
  const uint32_t size = input.below(20);
  const Frame<From> from(input, size);
  Frame<To> to(input, input.below(8) == 0 ? input.below(20) : size);
  auto want = to.samples;
  if (from.usable && to.usable && from.frame.size == to.frame.size && from.frame.num >= to.frame.num) {
    for (uint32_t c = 0; c < to.frame.num; ++c)
      std::transform(from.samples[c].begin(), from.samples[c].end(), want[c].begin(), kConvert);
  }
  kCall(from.given, to.given);
  for (size_t c = 0; c < 4; ++c)
    require(want[c].empty() || std::memcmp(want[c].data(), to.samples[c].data(), want[c].size() * sizeof(To)) == 0,
            "a frame converts sample by sample");
}

void fuzz_interleaving(FuzzInput& input) {
  Frame<int16_t> frame(input, input.below(20));
  const uint32_t num = frame.frame.num, size = frame.frame.size;
  std::vector<int16_t> wide(frame.usable ? size_t{num} * size : 1), before = wide;
  zeto_frame_short_copy_to_interleaved(frame.given, wide.data());
  for (size_t i = 0; frame.usable && i < wide.size(); ++i) before[i] = frame.samples[i % num][i / num];
  require(wide == before, "samples interleave");
  const auto samples = frame.samples;
  zeto_frame_short_copy_from_interleaved(wide.data(), frame.given);
  require(samples == frame.samples, "and come back");
}

// Descriptors from any numbers; nothing behind them is touched.
template <typename Sample, auto kLoad>
void fuzz_builders(FuzzInput& input) {
  const auto address = input.below(16) == 0 ? 0 : input.take<uint64_t>();
  const uint32_t num = input.below(6);
  const int32_t size = input.below(16) == 0 ? 0 : input.take<int32_t>();
  const zeto_frame frame = kLoad(reinterpret_cast<Sample*>(static_cast<uintptr_t>(address)), num, size);
  const bool good = address != 0 && num > 0 && num < 5 && size != 0;
  require(frame.num == (good ? num : 0) && frame.size == (good ? static_cast<uint32_t>(size) : 0), "counts as asked");
  const uint32_t offset = input.below(2) == 0 ? input.take<uint32_t>() : frame.size + input.below(3) - 1;
  const auto length = input.take<uint32_t>();
  const zeto_frame part = zeto_frame_short_offside(&frame, offset, length);
  require(part.size == (offset > frame.size ? 0 : std::min(length, frame.size - offset)), "a part is what there is");
  require(part.num == (offset > frame.size ? 0 : frame.num), "of every channel");
  for (uint32_t c = 0; c < 4; ++c) {
    const uint64_t whole = c < frame.num ? address + uint64_t{c * frame.size} * sizeof(Sample) : 0;
    require(reinterpret_cast<uintptr_t>(frame.ch[c]) == whole, "channels lie one after another");
    require(reinterpret_cast<uintptr_t>(part.ch[c]) == (c < part.num ? whole + uint64_t{offset} * 2 : 0), "parts too");
  }
}

constexpr void (*kSubjects[])(FuzzInput&) = {
    fuzz_arena,
    fuzz_builders<int16_t, zeto_frame_short_load>,
    fuzz_builders<float, zeto_frame_float_load>,
    fuzz_conversion<float, float, zeto_frame_float_copy_to_float, [](float x) { return x; }>,
    fuzz_conversion<int16_t, float, zeto_frame_short_convert_to_float, [](int16_t x) { return float(x / 32768.0); }>,
    fuzz_conversion<float, int16_t, zeto_frame_float_convert_to_short, to_short>,
    fuzz_interleaving,
    fuzz_ring};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  while (!input.empty()) kSubjects[input.below(std::size(kSubjects))](input);
  return 0;
}
