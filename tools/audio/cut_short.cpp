#include "audio/cut_short.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

namespace zeto::tool {
namespace {

// Lengths from here on were not known when the file was begun. Sox writes 0x7ffff000 into WAV and 0x7f000000 into AIFF.
constexpr uint64_t kUnknownWav = 0x7ffff000;
constexpr uint64_t kUnknownBig = 0x7f000000;

class Bytes {
 public:
  explicit Bytes(const std::string& path) : file_(path, std::ios::binary), total_(std::filesystem::file_size(path)) {}

  uint64_t total() const { return total_; }

  bool holds(uint64_t at, std::string_view text) {
    std::array<char, 16> buffer{};
    return read(at, buffer.data(), text.size()) && std::string_view(buffer.data(), text.size()) == text;
  }

  /// Of `size` bytes at most 8; nothing behind the end.
  std::optional<uint64_t> number(uint64_t at, size_t size, bool big_endian) {
    std::array<char, 8> buffer{};
    if (!read(at, buffer.data(), size)) return std::nullopt;
    if (!big_endian) std::reverse(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size));
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) value = value << 8 | static_cast<unsigned char>(buffer[i]);
    return value;
  }

  /// Of samples that start at `at` and should be so many bytes.
  uint64_t beyond_end(uint64_t at, uint64_t size) const {
    const uint64_t there = at < total_ ? total_ - at : 0;
    return size > there ? size - there : 0;
  }

 private:
  bool read(uint64_t at, char* to, size_t size) {
    file_.clear();
    return file_.seekg(static_cast<std::streamoff>(at)).read(to, static_cast<std::streamsize>(size)).good();
  }

  std::ifstream file_;
  uint64_t total_;
};

/// Chunks of a name, a size and as many bytes, one behind the other.
struct Chunks {
  uint64_t first;             ///< where they start
  std::string_view samples;   ///< what the chunk of samples is called
  size_t name_len, size_len;  ///< bytes
  bool big_endian;
  uint64_t counted;  ///< bytes of a chunk's own head within its size
  uint64_t padding;  ///< to multiples of so many bytes
  uint64_t unknown;  ///< a size from which on it means nothing
};

uint64_t missing_from(Bytes& bytes, const Chunks& chunks) {
  const uint64_t head = chunks.name_len + chunks.size_len;
  uint64_t long_size = 0;  // RF64 tells it beforehand
  for (uint64_t at = chunks.first; at < bytes.total();) {
    const auto told = bytes.number(at + chunks.name_len, chunks.size_len, chunks.big_endian);
    if (!told || *told < chunks.counted) return 0;
    const uint64_t size = *told - chunks.counted;
    if (bytes.holds(at, "ds64")) long_size = bytes.number(at + head + 8, 8, false).value_or(0);
    if (bytes.holds(at, chunks.samples)) {
      if (*told == UINT32_MAX && long_size > 0 && long_size < UINT64_MAX / 2)
        return bytes.beyond_end(at + head, long_size);
      return *told >= chunks.unknown ? 0 : bytes.beyond_end(at + head, size);
    }
    if (size > bytes.total()) return 0;
    at += (head + size + chunks.padding - 1) / chunks.padding * chunks.padding;
  }
  return 0;
}

}  // namespace

Missing missing_from(const std::string& path) {
  constexpr uint64_t kMostOf64 = UINT64_MAX / 2;
  Bytes bytes(path);
  if (bytes.holds(0, "RIFF") && bytes.holds(8, "WAVE")) {
    return {missing_from(bytes, {12, "data", 4, 4, false, 0, 2, kUnknownWav}), true};
  }
  if ((bytes.holds(0, "RF64") || bytes.holds(0, "BW64")) && bytes.holds(8, "WAVE")) {
    return {missing_from(bytes, {12, "data", 4, 4, false, 0, 2, kUnknownWav}), false};
  }
  if (bytes.holds(0, "riff\x2e\x91\xcf\x11")) {  // W64: a chunk's name is 16 bytes, its size counts its head
    return {missing_from(bytes, {40, "data\xf3\xac\xd3\x11", 16, 8, false, 24, 8, kMostOf64}), false};
  }
  if (bytes.holds(0, "FORM") && (bytes.holds(8, "AIFF") || bytes.holds(8, "AIFC"))) {
    return {missing_from(bytes, {12, "SSND", 4, 4, true, 0, 2, kUnknownBig}), false};
  }
  const bool big = bytes.holds(0, ".snd");
  if (!big && !bytes.holds(0, "dns.")) return {};
  const auto first = bytes.number(4, 4, big);
  const auto size = bytes.number(8, 4, big);
  return {first && size && *size < kUnknownBig ? bytes.beyond_end(*first, *size) : 0, false};
}

}  // namespace zeto::tool
