// Prints a checksum per subject, over output that must not differ by a bit between compilers, levels and machines.
// scripts/check-sums compares the lines of several builds; the cores' own information lines are dropped there.
#include <cstdio>
#include <cstring>
#include <vector>

#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace {

// FNV-1a, 64 bits.
class Sum {
 public:
  void add(const void* data, size_t bytes) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < bytes; ++i) hash_ = (hash_ ^ p[i]) * 0x100000001b3u;
  }
  void print(const char* subject) const {
    std::printf("sum %-24s %016llx\n", subject, static_cast<unsigned long long>(hash_));
  }

 private:
  uint64_t hash_ = 0xcbf29ce484222325u;
};

union RxBlock {
  zeto_rx_param param;
  uint8_t bytes[ZETO_PARAM_BLOCK_BYTES];
};

// Ten seconds of chirp in each format, in buffers of an odd length.
void chirp(const char* subject, const zeto_rx_param& param) {
  constexpr int kSamples = 480000;
  constexpr int kBuffer = 1001;
  Sum sum;
  for (int32_t format = 1; format <= 4; ++format) {
    zeto_rx_wrapper* handle = zeto_rx_wrapper_init(48000, format);
    RxBlock block = {};
    block.param = param;
    zeto_rx_wrapper_set_parameters(handle, &block.param);
    const size_t bytes = format == 1 ? 2 : 4;
    std::vector<unsigned char> audio(kSamples * bytes);
    for (size_t at = 0; at < audio.size(); at += kBuffer * bytes) {
      const size_t left = audio.size() - at;
      zeto_rx_wrapper_process(handle, &audio[at], left < kBuffer * bytes ? left : kBuffer * bytes);
    }
    sum.add(audio.data(), audio.size());
    zeto_rx_wrapper_deinit(handle);
  }
  sum.print(subject);
}

}  // namespace

int main() {
  chirp("chirp default", {19600, 4000, 10, 160, 1000, 1});
  chirp("chirp wide loud", {17000, 6500, 1500, 900, 3000, 1});
  chirp("chirp downward", {21000, -3000, 300, 40, 2000, 1});
  return 0;
}
