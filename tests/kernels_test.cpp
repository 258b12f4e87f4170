// The kernels: the vectors bit for bit; of frames, windows and bands, what the fuzz targets do not see.
#include "zeto/kernels.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/support/vector_kernels.hpp"
#include "zeto/tables.h"

namespace {

// Up to a page of floats between two unmapped pages, flush with one of them: reading or writing one element past them
// crashes.
class Fenced {
 public:
  Fenced(size_t count, bool behind) {
    if (base_ == MAP_FAILED || mprotect(base_ + kPage, kPage, PROT_READ | PROT_WRITE) != 0) abort();
    data_ = reinterpret_cast<float*>(base_ + kPage + (behind ? kPage - count * sizeof(float) : 0));
  }
  ~Fenced() { munmap(base_, 3 * kPage); }
  Fenced(const Fenced&) = delete;
  float* get() const { return data_; }
  float& operator[](size_t i) const { return data_[i]; }

 private:
  const size_t kPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  char* const base_ = static_cast<char*>(mmap(nullptr, 3 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  float* data_;
};

uint32_t bits(float x) {
  return std::isnan(x) ? 0x7fc00000u : std::bit_cast<uint32_t>(x);
}

// Numbers within +-1, or any bit pattern with every third a special one.
void fill(const Fenced& x, uint32_t n, bool wild, uint32_t seed) {
  constexpr uint32_t kSpecial[] = {0,          0x80000000, 0x7f800000, 0xff800000, 0x7fc00000,
                                   0x00000001, 0x80000001, 0x7f7fffff, 0x3f800000};
  std::mt19937 random(seed);
  for (uint32_t i = 0; i < n; ++i) {
    const auto word = static_cast<uint32_t>(random());
    x[i] = !wild ? float(int32_t(word)) * 0x1p-31f : std::bit_cast<float>(i % 3 == 2 ? kSpecial[word % 9] : word);
  }
}

// At either fence, apart and onto an input: the bits of the plain rendering, and nothing beyond the arrays.
TEST(Kernels, HaveTheBitsOfTheirPlainRendering) {
  for (const bool behind : {true, false})
    for (const bool wild : {false, true})
      for (const uint32_t n : support::kKernelLengths) {
        for (const auto& map : support::kVectorMaps)
          for (const int onto : {0, 1, 2}) {
            if (onto == 1 && !map.onto_first) continue;
            const Fenced a(n, behind), b(n, behind), apart(n, behind);
            fill(a, n, wild, n);
            fill(b, n, wild, n + 1000);
            std::vector<uint32_t> want;
            for (uint32_t i = 0; i < n; ++i) want.push_back(bits(map.plain(double(a[i]), double(b[i]))));
            const Fenced& out = onto == 0 ? apart : onto == 1 ? a : b;
            map.run(a.get(), b.get(), n, out.get());
            for (uint32_t i = 0; i < n; ++i) ASSERT_EQ(bits(out[i]), want[i]) << map.name << ", " << n << " samples";
          }
        for (const auto& reduction : support::kVectorReductions) {
          const Fenced a(n, behind), b(n, behind);
          fill(a, n, wild, n);
          fill(b, n, wild, n + 1000);
          float out[2] = {}, want[2] = {};
          reduction.run(a.get(), b.get(), n, out);
          reduction.plain(a.get(), b.get(), n, want);
          ASSERT_EQ(bits(out[0]), bits(want[0])) << reduction.name << ", " << n << " samples";
          ASSERT_EQ(out[1], want[1]) << reduction.name << ", " << n << " samples";
        }
      }
}

// Logarithms and powers are the platform's; their limits are not. And zeros and limits that the others leave out.
TEST(Kernels, GiveTheseBits) {
  using Call = void (*)(const float* x, float* out);
  struct {
    Call call;
    float in, want;
  } const cases[] = {
      {[](const float* x, float* out) { zeto_vf_maxim_limit(x, 1, out, 0.0f); }, -0.0f, -0.0f},
      {[](const float* x, float* out) { zeto_vf_minim_limit(x, 1, out, -0.0f); }, 0.0f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_maxim_limit(x, 1, out, NAN); }, 0.9f, 0.9f},
      {[](const float* x, float* out) { zeto_vf_minim_limit(x, 1, out, NAN); }, 0.9f, 0.9f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, 0.0f, -100.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, NAN, -100.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 1e-10f); }, 100.0f, 20.0f},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, 0.0f); }, -1.0f, -INFINITY},
      {[](const float* x, float* out) { zeto_vf_10log10(x, 1, out, -1.0f); }, -2.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 2.0f); }, -2.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.5f); }, 0.0f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, -0.5f); }, 0.0f, INFINITY},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.0f); }, 0.0f, NAN},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 0.0f); }, 7.0f, 1.0f},
      {[](const float* x, float* out) { zeto_vf_dot_pow(x, 1, out, 40.0f); }, 3.0f,
       0x1.51717ap63f},  // 3^40 is 0x1.517168p63
      {[](const float* x, float* out) { zeto_vf_smooth(x, 1, &(*out = 1.0f), 1.0f); }, 1e8f, 0.0f},
      {[](const float* x, float* out) { zeto_vf_dot_mult_vf(x, x, -1, &(*out = 5.0f)); }, 2.0f, 5.0f},
  };
  for (const auto& c : cases) {
    float out;
    c.call(&c.in, &out);
    EXPECT_EQ(bits(out), bits(c.want)) << "case " << &c - cases;
  }
}

TEST(Kernels, MoveShiftFillAndReturnTheirFirstArray) {
  std::vector<float> x(100), ones(100, 1.0f), front = {1, 2, 3, 4, 5}, back = front;
  zeto_vf_add_scalar(x.data(), 99, x.data() + 1, 1.0f);  // ascends element by element
  EXPECT_EQ(x[99], 99.0f);
  zeto_vf_add_vf(ones.data(), ones.data(), 99, ones.data() + 1);
  EXPECT_EQ(ones[99], 0x1p99f);
  zeto_vf_copy(x.data(), 99, x.data() + 1);  // moves
  for (size_t i = 1; i < 100; ++i) ASSERT_EQ(x[i], float(i - 1));

  const float news[] = {8, 9};
  zeto_vf_shift_and_insert_start(front.data(), news, 5, 2);
  EXPECT_EQ(front, (std::vector<float>{8, 9, 1, 2, 3}));
  zeto_vf_shift_and_insert_end(back.data(), news, 5, 2);
  EXPECT_EQ(back, (std::vector<float>{3, 4, 5, 8, 9}));
  const Fenced buf(512, true), in(160, true);
  EXPECT_EQ(zeto_vf_fill(buf.get(), 512, 1.0f), buf.get());
  zeto_vf_shift_and_insert_start(buf.get(), in.get(), 512, 160);
  zeto_vf_shift_and_insert_end(buf.get(), in.get(), 512, 160);
  EXPECT_EQ(zeto_vf_get_sum(buf.get(), 512), 352.0f);

  float a[2] = {}, b[2] = {};
  for (const float* returned :
       {zeto_vf_dot_mult_vf(a, b, 2, b), zeto_vf_smooth(a, 2, b, 0.5f), zeto_vf_add_scalar(a, 2, b, 1),
        zeto_vf_mult_scalar(a, 2, b, 1), zeto_vf_maxim_limit(a, 2, b, 1), zeto_vf_minim_limit(a, 2, b, 1)})
    EXPECT_EQ(returned, a);
  EXPECT_EQ(zeto_vf_get_max(news, 0, b), 0u);  // reads the first all the same
  EXPECT_EQ(b[0], 8.0f);
}

TEST(Frames, RoundAwayFromZeroAndSaturate) {
  float in[] = {2.5f,     -2.5f, 0.49999997f, -0.4f,  32767.4f, 32767.5f,  -32768.4f, -32769.0f,
                40000.0f, -4e4f, 1e30f,       -1e30f, INFINITY, -INFINITY, NAN,       -0.0f};
  const int16_t want[] = {3, -3, 1, 0, 32767, 32767, -32768, -32768, 32767, -32768, 32767, -32768, 32767, -32768, 0, 0};
  int16_t out[16];
  const zeto_frame from = zeto_frame_float_load(in, 1, 16), to = zeto_frame_short_load(out, 1, 16);
  zeto_frame_float_convert_to_short(&from, &to);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], want[i]) << in[i];
}

TEST(Frames, RefuseWithTheCounts) {
  struct {
    uint32_t num, size;
    bool null;
    const char* message;
  } const cases[] = {{3, 8, false, "num info<2><3>, size info<8><8>"},
                     {2, 7, false, "num info<2><2>, size info<8><7>"},
                     {2, 0xffffffff, false, "num info<2><2>, size info<8><4294967295>"},
                     {2, 8, true, "num info<2><0>, size info<8><0>"}};
  float in[16] = {};
  const zeto_frame from = zeto_frame_float_load(in, 2, 8);
  for (const auto& c : cases) {
    for (const auto call :
         {zeto_frame_float_copy_to_float, zeto_frame_short_convert_to_float, zeto_frame_float_convert_to_short}) {
      const zeto_frame to = {{in, in, in}, c.num, c.size};
      testing::internal::CaptureStderr();
      call(&from, c.null ? nullptr : &to);
      EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("QANT_TX: ") + c.message + ".\n");
    }
  }
}

TEST(Frames, StayWhereTheyAreInterleavedAlready) {
  int16_t samples[] = {1, 2, 3, 4, 5, 6};
  const zeto_frame frame = zeto_frame_short_load(samples, 2, 3), many = {{samples}, 5, 1};
  zeto_frame_short_copy_to_interleaved(&frame, samples);
  zeto_frame_short_copy_from_interleaved(samples, &frame);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(samples[i], i + 1);
  EXPECT_EQ(zeto_frame_short_offside(nullptr, 0, 1).num, 0u);
  EXPECT_EQ(zeto_frame_short_offside(&many, 0, 1).num, 0u);
}

TEST(Windows, RefuseWhatTheyCannotSlide) {
  zeto_window_state state = {};
  state.buf[0] = state.buf[256] = 7.0f;
  zeto_window_init(nullptr, KT_Hann512, 512, 160);
  zeto_window_init(&state, nullptr, 512, 160);
  zeto_window_init(&state, KT_Hann512, 512, 512);
  zeto_window_init(&state, KT_Hann512, 512, 0);
  EXPECT_EQ(state.len, 0u);
  EXPECT_EQ(state.buf[0], 7.0f);
  zeto_window_init(&state, KT_Hann256, 256, 80);
  EXPECT_TRUE(state.window == KT_Hann256 && state.hop == 80 && state.buf[0] == 0.0f && state.buf[256] == 7.0f);
  zeto_window_reinit(nullptr, nullptr, 512, 512);
  zeto_window_reinit(&state, nullptr, 512, 160);

  float in[512] = {}, out[512] = {3.0f};
  zeto_window_en(&state, in, out);  // without a window
  zeto_window_de(&state, in, out);
  state.window = KT_Hann512;
  for (const auto step : {zeto_window_en, zeto_window_de, zeto_window_de2}) {
    step(nullptr, in, out);
    step(&state, nullptr, out);
    step(&state, in, nullptr);
  }
  zeto_window_destroy(&state);
  EXPECT_EQ(out[0], 3.0f);
}

TEST(Windows, CalibrateByTheirSums) {
  const float zeros[4] = {}, negative[] = {-1.0f};
  EXPECT_NEAR(zeto_window_To0dBFs(KT_Hann512, 512), 0.0077972710, 5e-9);  // 512 additions round
  EXPECT_NEAR(zeto_window_cali_db(KT_Hann512, 512), -4.2512, 5e-5);
  EXPECT_EQ(zeto_window_To0dBFs(zeros, 4), 0x1p127f);
  EXPECT_EQ(zeto_window_To0dBFs(negative, 1), 0x1p127f);
  EXPECT_EQ(zeto_window_cali_db(zeros, 4), -INFINITY);
  EXPECT_TRUE(std::isnan(zeto_window_cali_db(zeros, 0)));
  EXPECT_EQ(zeto_window_To0dBFs(nullptr, 1), 0.0f);
  EXPECT_EQ(zeto_window_cali_db(nullptr, 1), 0.0f);
}

TEST(Statistics, CopyDeviationAndEnergy) {
  float row[20] = {4.0f};
  copyx2y(row, row + 1, 19);  // ascends one by one
  EXPECT_EQ(row[19], 4.0f);
  copyx2y(row, nullptr, -1);

  const float x[] = {1, 2, 3, 6};
  EXPECT_EQ(stdVec(x, 4, 3.0f), std::sqrt(14.0f / 3.0f));
  EXPECT_EQ(stdVec(x, 1, 4.0f), 3.0f);
  for (const int32_t n : {0, -1, INT32_MIN}) EXPECT_EQ(stdVec(x, n, 4.0f), 0.0f) << n;

  const float loud[] = {2.0f, 4.0f}, w[] = {0.5f, 10.0f}, silent[2] = {};
  EXPECT_NEAR(energy_db_cal(loud, w, 2, 3.0f), 17.00543, 5e-6);
  EXPECT_EQ(energy_db_cal(loud, w, 1, 3.0f), INFINITY);
  EXPECT_TRUE(std::isnan(energy_db_cal(loud, w, 0, 0.0f)));
  EXPECT_FLOAT_EQ(energy_db_cal(silent, w, 2, 0.0f), -150.0f);
  const std::vector<float> ones(32769, 1.0f);  // 2 n (n - 1) just beyond 31 bits
  EXPECT_NEAR(energy_db_cal(ones.data(), ones.data(), 32769, 0.0f), -48.1648, 1e-4);
}

}  // namespace
