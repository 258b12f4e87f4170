// The uplink handle: life, log, memory, and what comes back. Its measurements are compared in sensing_test.cpp.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/plain/stream.hpp"
#include "tests/support/recorders.hpp"
#include "tests/support/uplink.hpp"

namespace {

using Lines = std::vector<std::string>;
using Sizes = std::vector<size_t>;
using support::HeapRecorder;
using support::take_log;
using support::Uplink;

const std::string kInit = "2 MERA_OMRU: zeto_tx_wrapper_init: sample_rate 48000, format_type ";
const std::string kDeinit = "2 MERA_OMRU: zeto_tx_wrapper_deinit";
constexpr zeto_tx_param kParam = {0x00010002, -4000, 1000, -20, 100, 50, 10, 0, 8, 9, 0};

std::string ended(int32_t state, size_t error_flag) {
  return ", state " + std::to_string(state) + ", error_flag " + std::to_string(error_flag);
}

TEST(TxWrapper, LogsToTheLetter) {
  take_log();
  EXPECT_EQ(zeto_tx_wrapper_init(16000, 1), nullptr);
  EXPECT_EQ(zeto_tx_wrapper_init(UINT32_MAX, 1), nullptr);
  const std::string error = "6 MERA_OMRU: zeto_tx_wrapper_init: sample_rate ";
  EXPECT_EQ(take_log(), (Lines{error + "16000 unmatch", error + "4294967295 unmatch"}));
  for (int32_t format : {1, 2, 3, 4, 0, 5, INT32_MIN}) {
    {
      Uplink uplink(format);
      const bool known = format >= 1 && format <= 4;
      EXPECT_EQ(uplink.handle->format_type, known ? format : 0);
      EXPECT_EQ(uplink.handle->sample_bytes, !known ? 0 : format == 1 ? 2 : 4);
    }
    EXPECT_EQ(take_log(), (Lines{kInit + std::to_string(format) + ended(1, 0), kDeinit}));
  }
  zeto_tx_wrapper_deinit(nullptr);
  Uplink uplink(2);
  take_log();
  uplink.set(kParam);
  EXPECT_EQ(take_log(), Lines{"2 MERA_OMRU: zeto_tx_wrapper_set_parameters: 2, 1, -4000, -1, 1000, 0"});
}

TEST(TxWrapper, HandsParametersThroughAndKeepsTheBlock) {
  Uplink uplink(1);
  uint32_t block[ZETO_PARAM_BLOCK_BYTES / 4], words[12] = {};
  for (uint32_t i = 0; i < 20; ++i) block[i] = 0x01010101u * i;
  zeto_tx_wrapper_set_parameters(uplink.handle, reinterpret_cast<zeto_tx_param*>(block));
  zeto_tx_wrapper_get_parameter(uplink.handle, words);
  EXPECT_EQ(0, std::memcmp(words, block, 44));
  EXPECT_EQ(words[11], 0u);
  EXPECT_EQ(0, std::memcmp(uplink.handle->params, block, sizeof block));
}

// Handle, core, and per stream in_ring, out_ring, pcm16_block, wide_block: each fails in turn, then the streams' all.
TEST(TxWrapper, SurvivesEveryFailedAllocation) {
  const Sizes stream = {960, 960, 960, 1920};
  Sizes sizes = {sizeof(zeto_tx_wrapper), 130000};
  for (int i = 0; i < 3; ++i) sizes.insert(sizes.end(), stream.begin(), stream.end());
  constexpr uint32_t kAllStreams = 0x7ff8;
  for (uint32_t k = 2; k <= 15; ++k) {
    const uint32_t failing = k == 15 ? kAllStreams : 1u << k;
    SCOPED_TRACE(failing);
    Sizes freed;
    for (size_t n = 2; n <= 14; ++n) {
      if ((failing >> n & 1u) == 0) freed.push_back(n);
    }
    freed.push_back(1);
    const size_t error_flag = static_cast<size_t>(std::popcount(failing & kAllStreams));
    const bool ready = error_flag == 0;

    take_log();
    const HeapRecorder heap(failing);
    {
      Uplink uplink(1);
      ASSERT_NE(uplink.handle, nullptr);
      EXPECT_EQ(take_log(), Lines{kInit + "1" + ended(ready, error_flag)});
      int16_t a[480] = {5}, b[480] = {6}, out[480] = {7};
      uint32_t words[11] = {77};
      uplink.set(kParam);
      zeto_tx_wrapper_get_parameter(uplink.handle, words);
      EXPECT_EQ(words[0], 77u);  // no state or no core
      uplink.process(a, b, out, sizeof a);
      EXPECT_EQ(a[0], ready ? 0 : 5);
      EXPECT_EQ(a[479] + b[479] * 100 + out[479] * 10000, ready ? 70605 : 0);
      EXPECT_EQ(take_log().size(), size_t{ready});
    }
    EXPECT_EQ(take_log(), Lines{kDeinit});
    EXPECT_EQ(heap.sizes(), sizes);
    EXPECT_EQ(heap.freed(), freed);
  }
  const HeapRecorder heap(1u << 1);
  EXPECT_EQ(zeto_tx_wrapper_init(48000, 1), nullptr);
  EXPECT_EQ(heap.sizes().size(), 1u);
  EXPECT_EQ(take_log(), Lines{});
}

class TxWrapperFormat : public testing::TestWithParam<int32_t> {
 protected:
  const size_t bytes = GetParam() == 1 ? 2 : 4;
};
INSTANTIATE_TEST_SUITE_P(Format, TxWrapperFormat, testing::Range(1, 5));

// Without a core the blocks stay as they are: all three buffers come back through both conversions.
TEST_P(TxWrapperFormat, ReturnsTheHostsSamplesWithoutACore) {
  const HeapRecorder heap(1u << 2);
  Uplink uplink(GetParam());
  ASSERT_EQ(uplink.handle->core, nullptr);
  plain::Streams model(GetParam(), 3, [](int16_t* const*) {});
  std::mt19937 random(6);
  for (size_t n : {1u, 478u, 3u, 480u, 2000u}) {
    std::vector<uint32_t> got[3];
    for (auto& buffer : got) {
      buffer.resize(n);
      for (uint32_t& word : buffer) word = static_cast<uint32_t>(random());
    }
    std::vector<uint32_t> want[3] = {got[0], got[1], got[2]};
    uplink.process(got[0].data(), got[1].data(), got[2].data(), n * bytes);
    void* const buffers[3] = {want[1].data(), want[0].data(), want[2].data()};
    model.process(buffers, n * bytes);
    for (int i : {0, 1, 2}) EXPECT_EQ(got[i], want[i]) << i;
  }
}

// Twenty silent blocks are rejected; the twenty-first returns the twentieth's samples but one.
TEST_P(TxWrapperFormat, ShowsARejectionInTheHostsUnits) {
  const HeapRecorder heap;
  const size_t ring = 480 * bytes;
  Uplink uplink(GetParam());
  const size_t init = heap.sizes().size();
  EXPECT_EQ(heap.sizes(), (Sizes{sizeof(zeto_tx_wrapper), 130000, ring, ring, 960, 1920, ring, ring, 960, 1920, ring,
                                 ring, 960, 1920}));
  uplink.set(kParam);
  std::vector<unsigned char> a(9600 * bytes), b = a, out(9600 * bytes, 0x11);
  uplink.process(a.data(), b.data(), out.data(), out.size());
  EXPECT_EQ(std::vector<unsigned char>((9600 - 1) * bytes),
            std::vector<unsigned char>(out.begin(), out.end() - static_cast<ptrdiff_t>(bytes)));
  const int32_t want[] = {0, -1000, -256000, -65536000, std::bit_cast<int32_t>(-0.030517578125f)};
  int16_t narrow = 0;
  int32_t wide = 0;
  std::memcpy(bytes == 2 ? static_cast<void*>(&narrow) : &wide, &out[9599 * bytes], bytes);
  EXPECT_EQ(bytes == 2 ? narrow : wide, want[GetParam()]);
  EXPECT_EQ(heap.sizes().size(), init);  // nothing taken since
  EXPECT_TRUE(heap.freed().empty());
}

TEST(TxWrapper, IgnoresNulls) {
  Uplink uplink(1);
  int16_t a[480] = {5}, b[480] = {5}, out[480] = {5};
  uint32_t words[11];
  take_log();
  zeto_tx_wrapper_process(nullptr, a, b, out, sizeof a);
  uplink.process(nullptr, b, out, sizeof a);
  uplink.process(a, nullptr, out, sizeof a);
  uplink.process(a, b, nullptr, sizeof a);
  uplink.process(a, b, out, 0);
  zeto_tx_wrapper_set_parameters(nullptr, &kParam);
  zeto_tx_wrapper_get_parameter(nullptr, words);
  EXPECT_EQ(a[0] + b[0] + out[0], 15);
  EXPECT_EQ(uplink.handle->in2_stream.in_ring.count, 0);
  EXPECT_EQ(take_log(), Lines{});
}

}  // namespace
