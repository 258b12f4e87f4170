// Both handles: life, log, memory; the chirp in the host's units; edges of formats. The fuzz target compares what they
// compute with the plain model.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/recorders.hpp"
#include "tests/support/uplink.hpp"
#include "wrapper/stream.hpp"

namespace {

using Lines = std::vector<std::string>;
using Sizes = std::vector<size_t>;
using support::HeapRecorder;
using support::take_log;

struct Rx {
  using Handle = support::Downlink;
  using Param = zeto_rx_param;
  using Block = zeto_rx_param_block;
  static constexpr Param kParam = {19600, -4000, 0x12348765, 160, 1000, 1};
  static constexpr char kName[] = " MERA_OMRU: zeto_rx_wrapper_";
  static constexpr char kSets[] = "module_param_setting", kRestarts[] = "Rx_ReInit";
  static constexpr size_t kStreams = 1, kCore = 50000, kWords = 6;
  static constexpr auto init = zeto_rx_wrapper_init;
  static constexpr auto deinit = zeto_rx_wrapper_deinit;
  static constexpr auto set = zeto_rx_wrapper_set_parameters;
  static void get(zeto_rx_wrapper* handle, uint32_t* words) {
    zeto_rx_wrapper_get_parameter(handle, reinterpret_cast<int32_t*>(words));
  }
  static void process(zeto_rx_wrapper* handle, void* const* buffers, uint64_t bytes) {
    zeto_rx_wrapper_process(handle, buffers[0], bytes);
  }
};

struct Tx {
  using Handle = support::Uplink;
  using Param = zeto_tx_param;
  using Block = zeto_tx_param_block;
  static constexpr Param kParam = {19600, -4000, 0x12348765, -20, 0, 0, 10, 0, 0, 0, 0};
  static constexpr char kName[] = " MERA_OMRU: zeto_tx_wrapper_";
  static constexpr char kSets[] = "UltraHz_floor", kRestarts[] = "zeto_tx_reinit";
  static constexpr size_t kStreams = 3, kCore = 130000, kWords = 11;
  static constexpr auto init = zeto_tx_wrapper_init;
  static constexpr auto deinit = zeto_tx_wrapper_deinit;
  static constexpr auto set = zeto_tx_wrapper_set_parameters;
  static constexpr auto get = zeto_tx_wrapper_get_parameter;
  static void process(zeto_tx_wrapper* handle, void* const* buffers, uint64_t bytes) {
    zeto_tx_wrapper_process(handle, buffers[1], buffers[0], buffers[2], bytes);  // in the order of the streams
  }
};

template <typename Side>
class Wrapper : public testing::Test {
 protected:
  const std::string error = std::string("6") + Side::kName, verbose = std::string("2") + Side::kName;
  std::string inits(int32_t format, size_t error_flag) const {
    return verbose + "init: sample_rate 48000, format_type " + std::to_string(format) + ", state " +
           std::to_string(error_flag == 0) + ", error_flag " + std::to_string(error_flag);
  }
  // Bytes of every allocation: handle, core, and per stream in_ring, out_ring, pcm16_block, wide_block.
  static Sizes sizes(size_t ring) {
    Sizes all = {sizeof *std::declval<typename Side::Handle>().handle, Side::kCore};
    for (size_t i = 0; i < Side::kStreams; ++i) all.insert(all.end(), {ring, ring, 960, 1920});
    return all;
  }
};
using Sides = testing::Types<Rx, Tx>;
TYPED_TEST_SUITE(Wrapper, Sides);

TYPED_TEST(Wrapper, LogsToTheLetter) {
  take_log();
  for (const uint32_t rate : {44100u, UINT32_MAX}) {
    EXPECT_EQ(TypeParam::init(rate, 1), nullptr);
    EXPECT_EQ(take_log(), Lines{this->error + "init: sample_rate " + std::to_string(rate) + " unmatch"});
  }
  for (const int32_t format : {1, 2, 3, 4, 7, 0, INT32_MIN}) {
    {
      const HeapRecorder heap;
      typename TypeParam::Handle on(format);
      const bool known = format >= 1 && format <= 4;
      const int32_t bytes = !known ? 0 : format == 1 ? 2 : 4;
      EXPECT_EQ(on.handle->format_type, known ? format : 0);
      EXPECT_EQ(on.handle->sample_bytes, bytes);
      EXPECT_EQ(heap.sizes(), this->sizes(known ? 480 * size_t(bytes) : 1));  // no bytes are asked for as one
    }
    EXPECT_EQ(take_log(), (Lines{this->inits(format, 0), this->verbose + "deinit"}));
  }
  TypeParam::deinit(nullptr);
  typename TypeParam::Handle on(2);
  take_log();
  testing::internal::CaptureStdout();
  on.set(TypeParam::kParam);                                        // halves, low first, of the first three words
  const std::string core = testing::internal::GetCapturedStdout();  // it gets the parameters, then starts afresh
  EXPECT_LT(core.find(TypeParam::kSets), core.find(TypeParam::kRestarts));
  EXPECT_NE(core.find(TypeParam::kRestarts), std::string::npos);
  EXPECT_EQ(take_log(), Lines{this->verbose + "set_parameters: 19600, 0, -4000, -1, -30875, 4660"});
}

TYPED_TEST(Wrapper, HandsParametersThroughAndKeepsTheBlock) {
  typename TypeParam::Handle on(1);
  uint32_t block[20], words[12] = {};
  for (uint32_t i = 0; i < 20; ++i) block[i] = 0x01010101u * i;
  TypeParam::set(on.handle, reinterpret_cast<typename TypeParam::Block*>(block));
  EXPECT_EQ(0, std::memcmp(on.handle->params, block, sizeof block));
  TypeParam::get(on.handle, words);
  if (TypeParam::kStreams == 1) block[4] /= 1000;  // ms in, s out
  EXPECT_EQ(0, std::memcmp(words, block, TypeParam::kWords * 4));
  EXPECT_EQ(words[TypeParam::kWords], 0u);
}

// Each allocation fails in turn, then those of all streams.
TYPED_TEST(Wrapper, SurvivesEveryFailedAllocation) {
  constexpr size_t kAll = 2 + 4 * TypeParam::kStreams;
  constexpr uint32_t kStreamBits = (2u << kAll) - 8;
  for (size_t k = 0; k <= kAll + 1; ++k) {
    const uint32_t failing = k == 0 ? 0 : k > kAll ? kStreamBits : 1u << k;
    SCOPED_TRACE(failing);
    Sizes freed;
    for (size_t n = 2; n <= kAll; ++n)
      if ((failing >> n & 1u) == 0) freed.push_back(n);
    freed.push_back(1);
    const auto error_flag = static_cast<size_t>(std::popcount(failing & kStreamBits));
    const bool ready = error_flag == 0;
    take_log();
    const HeapRecorder heap(failing);
    if (k == 1) {
      EXPECT_EQ(TypeParam::init(48000, 1), nullptr);
      EXPECT_EQ(heap.sizes().size(), 1u);
      EXPECT_EQ(take_log(), Lines{});
      continue;
    }
    {
      typename TypeParam::Handle on(1);
      EXPECT_EQ(take_log(), Lines{this->inits(1, error_flag)});
      int16_t audio[3][480] = {{5}, {5}, {5}};
      void* const buffers[] = {audio[0], audio[1], audio[2]};
      uint32_t words[11] = {77};
      on.set(TypeParam::kParam);
      TypeParam::get(on.handle, words);
      EXPECT_EQ(words[0], ready && k != 2 ? 19600u : 77u);
      TypeParam::process(on.handle, buffers, 960);
      EXPECT_EQ(audio[0][0], ready ? 0 : 5);
      EXPECT_EQ(take_log().size(), size_t{ready});
      EXPECT_EQ(heap.freed(), Sizes{});
    }
    EXPECT_EQ(take_log(), Lines{this->verbose + "deinit"});
    EXPECT_EQ(heap.sizes(), this->sizes(960));
    EXPECT_EQ(heap.freed(), freed);
  }
}

TYPED_TEST(Wrapper, IgnoresNulls) {
  typename TypeParam::Handle on(1);
  int16_t audio[480] = {5};
  uint32_t words[11];
  typename TypeParam::Block block = {};
  take_log();
  void* const all[] = {audio, audio, audio};
  TypeParam::process(nullptr, all, sizeof audio);
  TypeParam::process(on.handle, all, 0);
  for (size_t lacking = 0; lacking < TypeParam::kStreams; ++lacking) {
    void* some[] = {audio, audio, audio};
    some[lacking] = nullptr;
    TypeParam::process(on.handle, some, sizeof audio);
  }
  TypeParam::set(nullptr, &block);
  TypeParam::get(nullptr, words);
  EXPECT_EQ(audio[0], 5);
  EXPECT_EQ(take_log(), Lines{});
}

TEST(Downlink, GivesTheReferenceChirp) {
  constexpr struct {
    size_t n;  // sample of the period, from 1
    int16_t value;
  } kReference[] = {{1, 2},        {2, -5},        {3, 10},     {4, -9},     {5, 4},     {6, 6},
                    {7, -17},      {8, 27},        {99, 114},   {100, -268}, {101, 337}, {24000, 2752},
                    {47800, 4561}, {47801, -4393}, {47999, -2}, {48000, 0},  {48001, 2}, {48100, -268}};
  for (const auto& [format, length] : {std::pair{1, 1u}, {2, 192u}, {3, 480u}, {4, 10007u}}) {
    const size_t bytes = support::sample_bytes(format);
    support::Downlink downlink(format);
    downlink.set({19600, 4000, 10, 160, 1000, 1});
    std::vector<unsigned char> audio(49000 * bytes, 0x5a);
    for (size_t at = 0; at < audio.size(); at += length * bytes)
      downlink.process(&audio[at], std::min(length * bytes, audio.size() - at));
    EXPECT_EQ(size_t(std::count(audio.begin(), audio.begin() + ptrdiff_t(479 * bytes), 0)), 479 * bytes);
    for (const auto& point : kReference) {
      uint32_t want = 0, got = 0;
      support::store_sample(format, point.value, &want);
      std::memcpy(&got, &audio[(478 + point.n) * bytes], bytes);
      EXPECT_EQ(got, want) << "format " << format << ", sample " << point.n;
    }
  }
}

template <typename T>
int16_t narrowed(int32_t width, T x) {
  T host[zeto::kBlockLen] = {x};
  int16_t block[zeto::kBlockLen];
  zeto::narrow_block(width, host, block);
  return block[0];
}

TEST(Format, ConvertsTheEdges) {
  constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;
  // A host's sample; what becomes of it as a 24-bit one in a block, and in a call's first and last pass.
  constexpr int32_t kInts[][4] = {{8388607, 32767, 32768, 2147483392},
                                  {8388480, 32767, 32768, 2147450880},
                                  {8388608, 32767, 32768, kMax},
                                  {127, 0, 0, 32512},
                                  {128, 1, 1, 32768},
                                  {-128, 0, 0, -32768},
                                  {-129, -1, -1, -33024},
                                  {-8388608, -32768, -32768, kMin},
                                  {-8388609, -32768, -32768, kMin},
                                  {2147483519, 32767, 8388607, kMax},
                                  {2147483520, -32768, 8388607, kMax},
                                  {2147483263, 32767, 8388606, kMax},
                                  {kMax, -32768, 8388607, kMax},
                                  {kMin, -32768, -8388608, kMin}};
  for (const auto& [x, block, before, after] : kInts) {
    int32_t first = x, last = x;
    zeto::pcm32_to_pcm24(&first, 1);
    zeto::pcm24_to_pcm32(&last, 1);
    EXPECT_EQ(narrowed(32, x), block) << x;
    EXPECT_EQ(first, before) << x;
    EXPECT_EQ(last, after) << x;
  }
  constexpr float kFloats[][2] = {{1.0f, 32767},   {-1.0f, -32767},    {2.0f, 32767},       {-2.0f, -32768},
                                  {1e30f, 32767},  {NAN, 0},           {-INFINITY, -32768}, {0.5f, 16383},
                                  {-0.5f, -16383}, {-1.00004f, -32768}};
  for (const auto [x, want] : kFloats) EXPECT_EQ(narrowed(48, x), want) << x;
}

// A 32-bit count that runs down by a sample at a time until it is exactly 0.
TEST(Format, CountsSamplesIn32Bits) {
  constexpr uint64_t kRange = uint64_t{1} << 32;
  using zeto::samples_in;
  for (uint64_t whole : {uint64_t{960}, kRange + 960, 5 * kRange + 960}) {
    EXPECT_EQ(samples_in(whole, 2), 480u);
    EXPECT_EQ(samples_in(whole, 4), 240u);
    for (uint64_t more : {1u, 2u, 3u}) EXPECT_GT(samples_in(whole + more, 4), kRange);  // never ends
    EXPECT_GT(samples_in(whole + 1, 2), kRange);
  }
  EXPECT_EQ(samples_in(0, 2), kRange / 2);
  EXPECT_EQ(samples_in(kRange, 4), kRange / 4);
}

}  // namespace
