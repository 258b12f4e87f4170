#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tests/plain/chirp.hpp"
#include "tests/support/downlink.hpp"
#include "tests/support/recorders.hpp"
#include "tests/support/subjects.hpp"

namespace {

using Lines = std::vector<std::string>;
using Sizes = std::vector<size_t>;
using support::HeapRecorder;
using support::take_log;

constexpr zeto_rx_param kDefault = {19600, 4000, 10, 160, 1000, 1};
const std::string kInit = "2 MERA_OMRU: zeto_rx_wrapper_init: sample_rate 48000, format_type ";

class RxWrapper : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(Format, RxWrapper, testing::Range(1, 5));

// Whatever the host's buffers: the samples, and the rings afterwards, are those of one sample at a time.
void expect_same_streams(support::Downlink& downlink, plain::Downlink& model) {
  std::mt19937 random(4);
  const size_t bytes = support::sample_bytes(downlink.handle->format_type);
  const auto expect_same = [](const omru_ringbuf& ring, const plain::Ring& want) {
    EXPECT_EQ(std::tie(ring.count, ring.read_pos, ring.write_pos), std::tie(want.count, want.read_pos, want.write_pos));
    EXPECT_EQ(0, std::memcmp(ring.data, want.data.data(), want.data.size()));
  };
  for (int turn = 0; turn < 300 && !testing::Test::HasFailure(); ++turn) {
    if (random() % 16 == 0) {
      const zeto_rx_param param = {19000 + turn, turn * 20, turn * 3, 400, 1000 + turn * 10, turn % 3 != 0};
      downlink.set(param);
      model.set(param);
    }
    const size_t n = random() % (random() % 4 == 0 ? 2500 : 500) + 1;
    std::vector<uint32_t> a(n + 4);  // four words too long: what lies behind the buffer stays
    for (uint32_t& x : a) x = uint32_t(random());
    std::vector<uint32_t> b = a;
    downlink.process(a.data(), n * bytes);
    model.process(b.data(), n * bytes);
    EXPECT_EQ(a, b) << "turn " << turn << ", samples " << n;
    expect_same(downlink.handle->stream.in_ring, model.streams.streams[0].in);
    expect_same(downlink.handle->stream.out_ring, model.streams.streams[0].out);
  }
}

TEST_P(RxWrapper, SlicesLikeOneSampleAtATime) {
  support::Downlink downlink(GetParam());
  plain::Downlink model(GetParam());
  expect_same_streams(downlink, model);
}

// Without a core the blocks stay as they are: the host's own samples come back, through both conversions.
TEST_P(RxWrapper, ReturnsTheHostsSamplesWithoutACore) {
  const HeapRecorder heap(1u << 2);
  support::Downlink downlink(GetParam());
  plain::Downlink model(GetParam());
  model.streams = plain::Streams(GetParam(), 1, [](int16_t* const*) {});
  ASSERT_EQ(downlink.handle->core, nullptr);
  EXPECT_EQ(downlink.handle->state, 1);
  expect_same_streams(downlink, model);
}

struct Point {
  size_t n;  // sample of the period, from 1
  int16_t value;
};
constexpr Point kReference[] = {{1, 2},        {2, -5},        {3, 10},     {4, -9},     {5, 4},     {6, 6},
                                {7, -17},      {8, 27},        {99, 114},   {100, -268}, {101, 337}, {24000, 2752},
                                {47800, 4561}, {47801, -4393}, {47999, -2}, {48000, 0},  {48001, 2}, {48100, -268}};

TEST_P(RxWrapper, GivesTheReferenceChirpForEveryBufferLength) {
  const int32_t format = GetParam();
  const size_t bytes = support::sample_bytes(format);
  for (size_t length : {size_t{1}, size_t{192}, size_t{480}, size_t{10007}}) {
    SCOPED_TRACE(length);
    support::Downlink downlink(format);
    downlink.set(kDefault);
    std::vector<unsigned char> audio(49000 * bytes, 0x5a);
    for (size_t at = 0; at < audio.size(); at += length * bytes)
      downlink.process(&audio[at], std::min(length * bytes, audio.size() - at));
    EXPECT_TRUE(std::all_of(audio.begin(), audio.begin() + ptrdiff_t(479 * bytes),
                            [](unsigned char byte) { return byte == 0; }));
    for (const Point& point : kReference) {
      const int32_t v = point.value;
      const int32_t want[] = {0, v, v * 256, v * 65536, std::bit_cast<int32_t>(float(v) / 32768.0f)};
      int16_t narrow = 0;
      int32_t wide = 0;
      std::memcpy(format == 1 ? static_cast<void*>(&narrow) : &wide, &audio[(479 + point.n - 1) * bytes], bytes);
      EXPECT_EQ(format == 1 ? narrow : wide, want[format]) << "n = " << point.n;
    }
  }
}

TEST(RxHandle, SumsUpLikeThePlainModel) {
  for (const auto& subject : support::kChirps)
    EXPECT_EQ(support::chirp_sum<support::Downlink>(subject), support::chirp_sum<plain::Downlink>(subject))
        << subject.name;
}

TEST(RxHandle, LogsToTheLetter) {
  take_log();
  EXPECT_EQ(zeto_rx_wrapper_init(44100, 1), nullptr);
  EXPECT_EQ(zeto_rx_wrapper_init(UINT32_MAX, 1), nullptr);
  for (int32_t format : {1, 4, 7, 0, INT32_MIN}) {
    support::Downlink downlink(format);
    EXPECT_EQ(downlink.handle->state, 1) << format;
  }
  zeto_rx_wrapper_deinit(nullptr);
  const std::string deinit = "2 MERA_OMRU: zeto_rx_wrapper_deinit";
  const std::string error = "6 MERA_OMRU: zeto_rx_wrapper_init: sample_rate ";
  const std::string ready = ", state 1, error_flag 0";
  EXPECT_EQ(take_log(), (Lines{error + "44100 unmatch", error + "4294967295 unmatch", kInit + "1" + ready, deinit,
                               kInit + "4" + ready, deinit, kInit + "7" + ready, deinit, kInit + "0" + ready, deinit,
                               kInit + "-2147483648" + ready, deinit}));

  support::Downlink downlink(2);
  take_log();
  downlink.set({19600, -4000, 0x12348765, 160, 1000, 1});  // halves, low first, of the first three words
  EXPECT_EQ(take_log(), Lines{"2 MERA_OMRU: zeto_rx_wrapper_set_parameters: 19600, 0, -4000, -1, -30875, 4660"});
}

TEST(RxHandle, HandsParametersThroughAndKeepsTheBlock) {
  support::Downlink downlink(1);
  support::ParamBlock block;
  for (size_t i = 0; i < sizeof block; ++i) block.bytes[i] = uint8_t(i);
  block.param.period_ms = 2500;
  zeto_rx_wrapper_set_parameters(downlink.handle, &block.param);
  EXPECT_EQ(0, std::memcmp(downlink.handle->params, &block, sizeof block));
  int32_t words[6];
  zeto_rx_wrapper_get_parameter(downlink.handle, words);
  block.param.period_ms = 2;
  EXPECT_EQ(0, std::memcmp(words, &block, sizeof words));
}

TEST(RxHandle, TakesTheCountModulo32Bits) {
  support::Downlink a(1), b(1);
  std::vector<int16_t> x(600, 7), y = x;
  a.set(kDefault);
  b.set(kDefault);
  a.process(x.data(), (uint64_t{1} << 32) + 960);
  b.process(y.data(), 960);
  EXPECT_EQ(x, y);
  EXPECT_EQ(x[480], 7);
}

TEST(RxHandle, SurvivesEveryFailedAllocation) {
  struct {
    uint32_t failing;  // bits 1 to 6: handle, core, in_ring, out_ring, pcm16_block, wide_block
    int32_t error_flag;
    Sizes freed;
  } const cases[] = {
      {0x00, 0, {2, 3, 4, 5, 6, 1}}, {0x04, 0, {3, 4, 5, 6, 1}}, {0x08, 1, {2, 4, 5, 6, 1}}, {0x10, 1, {2, 3, 5, 6, 1}},
      {0x20, 1, {2, 3, 4, 6, 1}},    {0x40, 1, {2, 3, 4, 5, 1}}, {0x78, 4, {2, 1}},          {0x7c, 4, {1}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.failing);
    take_log();
    const HeapRecorder heap(c.failing);
    const int32_t ready = c.error_flag == 0;
    {
      support::Downlink downlink(1);
      ASSERT_NE(downlink.handle, nullptr);
      EXPECT_EQ(downlink.handle->state, ready);
      EXPECT_EQ(take_log(),
                Lines{kInit + "1, state " + std::to_string(ready) + ", error_flag " + std::to_string(c.error_flag)});
      const bool spoken_to = ready && (c.failing & 4) == 0;
      int16_t audio[480] = {5};
      int32_t words[6] = {-7};
      testing::internal::CaptureStdout();
      downlink.set(kDefault);
      EXPECT_EQ(testing::internal::GetCapturedStdout().empty(), !spoken_to);
      zeto_rx_wrapper_get_parameter(downlink.handle, words);
      EXPECT_EQ(words[0], spoken_to ? 19600 : -7);
      downlink.process(audio, sizeof audio);
      EXPECT_EQ(audio[0], ready ? 0 : 5);
      EXPECT_EQ(take_log().size(), size_t(ready));
      EXPECT_EQ(heap.freed(), Sizes{});
    }
    EXPECT_EQ(take_log(), Lines{"2 MERA_OMRU: zeto_rx_wrapper_deinit"});
    EXPECT_EQ(heap.sizes(), (Sizes{sizeof(zeto_rx_wrapper), 50000, 960, 960, 960, 1920}));
    EXPECT_EQ(heap.freed(), c.freed);
  }
  const HeapRecorder heap(1 << 1);
  EXPECT_EQ(zeto_rx_wrapper_init(48000, 1), nullptr);
  EXPECT_EQ(take_log(), Lines{});
  EXPECT_EQ(heap.sizes().size(), 1u);
}

TEST(RxHandle, AllocatesByTheWidthAndNeverWhileProcessing) {
  std::vector<uint32_t> audio(3000);
  for (int32_t format : {2, 3, 4, 9}) {
    const HeapRecorder heap;
    support::Downlink downlink(format);
    const size_t ring = format == 9 ? 1 : 1920;  // no bytes are asked for as one
    EXPECT_EQ(heap.sizes(), (Sizes{sizeof(zeto_rx_wrapper), 50000, ring, ring, 960, 1920}));
    if (format == 9) continue;
    downlink.set(kDefault);
    for (int turn = 0; turn < 10; ++turn) downlink.process(audio.data(), audio.size() * 4);
    EXPECT_EQ(heap.sizes().size(), 6u);
    EXPECT_EQ(heap.freed(), Sizes{});
  }
}

TEST(RxHandle, IgnoresNulls) {
  support::Downlink downlink(1);
  int16_t audio[480] = {5};
  int32_t words[6];
  support::ParamBlock block = {};
  take_log();
  zeto_rx_wrapper_process(nullptr, audio, sizeof audio);
  zeto_rx_wrapper_process(downlink.handle, nullptr, sizeof audio);
  zeto_rx_wrapper_process(downlink.handle, audio, 0);
  zeto_rx_wrapper_set_parameters(nullptr, &block.param);
  zeto_rx_wrapper_get_parameter(nullptr, words);
  EXPECT_EQ(audio[0], 5);
  EXPECT_EQ(downlink.handle->stream.in_ring.count, 0);
  EXPECT_EQ(take_log(), Lines{});
}

}  // namespace
