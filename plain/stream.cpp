#include "plain/stream.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace plain {

int32_t saturated(double x) {
  if (std::isnan(x)) return 0;
  return int32_t(std::clamp(x, -2147483648.0, 2147483647.0));
}

Ring::Ring(int32_t width, int32_t samples) : bit_width(width), capacity(samples) {
  data.resize(size_t(std::max(samples, 0)) * bytes());
}

void Ring::write(const void* source, int32_t n) {
  if (!takes_part()) return;
  for (int32_t i = 0; i < n; ++i) {
    std::memcpy(&data[size_t(write_pos) * bytes()], static_cast<const char*>(source) + size_t(i) * bytes(), bytes());
    write_pos = (write_pos + 1) % capacity;
    if (count < capacity) {
      ++count;
    } else {
      read_pos = (read_pos + 1) % capacity;
    }
  }
}

void Ring::read(void* destination, int32_t n) {
  if (!takes_part()) return;
  for (int32_t i = 0; i < n; ++i) {
    char* slot = static_cast<char*>(destination) + size_t(i) * bytes();
    if (count > 0) {
      std::memcpy(slot, &data[size_t(read_pos) * bytes()], bytes());
      --count;
      read_pos = (read_pos + 1) % capacity;
    } else {
      count = 0;
      std::memset(slot, 0, bytes());
      write_pos = read_pos;
    }
  }
}

int16_t block_from_24(int32_t x) {
  const int32_t t = int32_t(uint32_t(x) + 128u);  // wraps, so that the largest inputs come out as the smallest
  return int16_t(std::clamp(t, -8388608, 8388607) >> 8);
}

int32_t host_24(int16_t s) {
  return s * 256;
}

int16_t block_from_float(float x) {
  return int16_t(saturated(double(std::clamp(x * 32767.0f, -32768.0f, 32767.0f))));
}

float host_float(int16_t s) {
  return float(double(s) / 32768.0);
}

int32_t before_call(int32_t x) {
  const double q = std::floor((double(x) + 128.0) / 256.0);  // exact
  return int32_t(std::min(q, 8388607.0));
}

int32_t after_call(int32_t x) {
  return saturated(double(x) * 256.0);
}

Streams::Streams(int32_t format_type, size_t count, Core core)
    : format_type_(format_type), sample_bytes_(format_type == 1 ? 2 : 4), core_(std::move(core)) {
  const int32_t width = std::array{0, 16, 32, 32, 48}[size_t(format_type)];
  for (size_t i = 0; i < count; ++i) streams.push_back({Ring(width), Ring(width)});
}

void Streams::process(void* const* buffers, uint64_t byte_count) {
  const auto pass = [&](int32_t (*convert)(int32_t)) {
    for (size_t i = 0; i < streams.size() && format_type_ == 3; ++i)
      for (uint64_t n = 0; n < byte_count / 4; ++n) {
        char* const sample = static_cast<char*>(buffers[i]) + n * 4;
        int32_t x;
        std::memcpy(&x, sample, 4);
        x = convert(x);
        std::memcpy(sample, &x, 4);
      }
  };
  const auto at = [&](size_t i, size_t n) { return static_cast<char*>(buffers[i]) + n * size_t(sample_bytes_); };
  if (byte_count == 0) return;
  pass(before_call);
  uint32_t remaining = uint32_t(byte_count);
  size_t n = 0;
  do {
    for (size_t i = 0; i < streams.size(); ++i) streams[i].in.write(at(i, n), 1);
    if (streams[0].in.count == kBlock) block_step();
    for (size_t i = 0; i < streams.size(); ++i) streams[i].out.read(at(i, n), 1);
    ++n;
    remaining -= uint32_t(sample_bytes_);
  } while (remaining != 0);
  pass(after_call);
}

void Streams::block_step() {
  std::vector<int16_t*> blocks;
  for (Stream& s : streams) {
    s.in.read(format_type_ == 1 ? static_cast<void*>(s.pcm16.data()) : s.wide.data(), kBlock);
    for (size_t i = 0; i < kBlock && format_type_ != 1; ++i)
      s.pcm16[i] = format_type_ == 4 ? block_from_float(std::bit_cast<float>(s.wide[i]))
                                     : block_from_24(std::bit_cast<int32_t>(s.wide[i]));
    blocks.push_back(s.pcm16.data());
  }
  core_(blocks.data());
  for (Stream& s : streams) {
    for (size_t i = 0; i < kBlock && format_type_ != 1; ++i)
      s.wide[i] = format_type_ == 4 ? std::bit_cast<uint32_t>(host_float(s.pcm16[i]))
                                    : std::bit_cast<uint32_t>(host_24(s.pcm16[i]));
    s.out.write(format_type_ == 1 ? static_cast<const void*>(s.pcm16.data()) : s.wide.data(), kBlock);
  }
}

}  // namespace plain
