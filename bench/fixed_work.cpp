// A fixed number of blocks through a handle, for counting the instructions of its process calls.
// usage: zeto_fixed_work uplink|downlink library|plain FORMAT BUFFER BLOCKS
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/handles.hpp"

namespace {

struct Work {
  int32_t format;
  size_t buffer, blocks;  // samples in a call; blocks in all
  size_t bytes() const { return buffer * support::sample_bytes(format); }
  size_t calls() const { return blocks * bench::kBlock / buffer; }
};

template <typename Downlink>
void downlink(const Work& work) {
  Downlink handle(work.format);
  std::vector<unsigned char> audio(work.bytes());
  for (size_t call = 0; call < work.calls(); ++call) handle.process(audio.data(), audio.size());
}

template <typename Uplink>
void uplink(const Work& work) {
  Uplink handle(work.format);
  const auto in1 = bench::hosted(bench::capture(0), work.format);
  const auto in2 = bench::hosted(bench::capture(1), work.format);
  const size_t bytes = work.bytes();
  std::vector<unsigned char> a(bytes), b(bytes), out(bytes);
  for (size_t call = 0; call < work.calls(); ++call) {
    const size_t at = call * bytes % (in1.size() - bytes);
    std::memcpy(a.data(), &in1[at], bytes);
    std::memcpy(b.data(), &in2[at], bytes);
    handle.process(a.data(), b.data(), out.data(), bytes);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return std::fprintf(stderr, "usage: see the first lines of fixed_work.cpp\n"), 2;
  const bool up = std::string(argv[1]) == "uplink", plainly = std::string(argv[2]) == "plain";
  const Work work = {std::atoi(argv[3]), size_t(std::atoi(argv[4])), size_t(std::atoi(argv[5]))};
  using namespace bench;
  if (up) {
    plainly ? uplink<PlainUplink>(work) : uplink<LibraryUplink>(work);
  } else {
    plainly ? downlink<PlainDownlink>(work) : downlink<LibraryDownlink>(work);
  }
}
