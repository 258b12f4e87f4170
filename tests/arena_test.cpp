#include "zeto/arena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// Addresses are mere numbers to everything but malloc_buffer.
void* at(uint64_t number) {
  return reinterpret_cast<void*>(number);
}
uint64_t number(const void* address) {
  return reinterpret_cast<uint64_t>(address);
}
std::string prefix(int32_t slot) {
  return slot == 0 ? "[QANT_TX]" : "[ZETO_RX]";
}

// Before anything was marked, the current address itself is what is used.
const int64_t kUnmarked = (zeto_set_cur_addr(1, at(4096)), zeto_get_use_size(1));

class Arena : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(Slot, Arena, testing::Values(0, 1, -1, 7));

TEST_P(Arena, HandsOutUpToTheLimitFromTheUnroundedBase) {
  const int32_t slot = GetParam();
  const uint32_t limit = slot == 0 ? 130000 : 50000;
  std::vector<char> memory(limit + 16, 'x');
  char* const base = memory.data() + 3;
  char* const start = memory.data() + 8;
  const uint32_t all = limit - 5;
  zeto_set_malloc_addr(slot, base);
  zeto_get_curr_ptr(slot);
  EXPECT_EQ(malloc_buffer(slot, 0), start);

  CaptureStderr();
  EXPECT_EQ(malloc_buffer(slot, all + 1), nullptr);
  EXPECT_EQ(malloc_buffer(slot, UINT32_MAX), nullptr);
  const std::string message = prefix(slot) + " memory not enough.\n";
  EXPECT_EQ(GetCapturedStderr(), message + message);
  EXPECT_EQ(zeto_get_use_size(slot), 0);

  ASSERT_EQ(malloc_buffer(slot, all), start);
  EXPECT_EQ(std::count(start, start + all, '\0'), int64_t{all});
  EXPECT_EQ(start[all], 'x');
  EXPECT_EQ(zeto_get_use_size(slot), int64_t{all});

  zeto_set_cur_addr(slot, memory.data());  // below the block: nothing fits any more
  CaptureStderr();
  EXPECT_EQ(malloc_buffer(slot, 0), nullptr);
  EXPECT_EQ(GetCapturedStderr(), message);
}

TEST_P(Arena, MeasuresFromTheMarkThatRegisteringKeeps) {
  const int32_t slot = GetParam();
  std::vector<char> memory(256);
  zeto_set_malloc_addr(slot, memory.data());
  zeto_get_curr_ptr(slot);
  malloc_buffer(slot, 16);
  malloc_buffer(slot, 24);
  free_buffer(slot, memory.data());
  align_free(slot, memory.data());
  EXPECT_EQ(zeto_get_use_size(slot), 40);
  malloc_buffer(slot, 3);
  EXPECT_EQ(malloc_buffer(slot, 1), &memory[43]);  // not rounded
  zeto_set_malloc_addr(slot, &memory[64]);
  EXPECT_EQ(zeto_get_use_size(slot), 64);
}

TEST_P(Arena, AlignsByTheMask) {
  constexpr const char* kNoMemory = " memory not enough.\n";
  struct {
    int32_t alignment;
    uint32_t before, size;  // taken first; asked for
    int64_t start;          // from the base: of the result, and where it fails, of the next request
    std::string error;
  } const cases[] = {
      {4, 8, 5, 8, ""},
      {16, 8, 1, 16, ""},
      {4096, 8, 8, 4096, ""},
      {12, 2, 4, 0, ""},  // the mask of 16: below the current address
      {20, 8, 4, 16, ""},
      {24, 8, 4, 0, ""},  // the mask of 32
      {0, 8, 4, 7, ""},
      {-8, 100, 4, 91, ""},
      {2, 9, 4, 9, " Unsupport alignment<2>.\n"},
      {6, 9, 200000, 9, " Unsupport alignment<6>.\n"},  // comes before the memory
      {-3, 9, 4, 9, " Unsupport alignment<-3>.\n"},
      {64, 8, 200000, 64, kNoMemory},  // the padding stays taken
      {0, 0, 0, -1, kNoMemory},        // below the base
      {INT32_MIN, 8, 4, 7 - (int64_t{1} << 31), kNoMemory},
      {1 << 30, 8, 4, (1 << 30) - 0x10000, kNoMemory},
  };
  const int32_t slot = GetParam();
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.alignment << " after " << c.before);
    zeto_set_malloc_addr(slot, at(0x10000));
    zeto_get_curr_ptr(slot);
    ASSERT_EQ(align_malloc(slot, 4, c.before), at(0x10000));
    CaptureStderr();
    const void* const got = align_malloc(slot, c.alignment, c.size);
    EXPECT_EQ(GetCapturedStderr(), c.error.empty() ? "" : prefix(slot) + c.error);
    EXPECT_EQ(number(got), c.error.empty() ? uint64_t(0x10000 + c.start) : 0);
    EXPECT_EQ(zeto_get_use_size(slot), c.error.empty() ? c.start + c.size : c.start);
  }
}

TEST(ArenaAtRest, StartsUnmarkedAndClearsOnRequest) {
  EXPECT_EQ(kUnmarked, 4096);
  EXPECT_EQ(log_align_flag, 0);
  char bytes[] = "abcdef";
  EXPECT_EQ(reset_buffer(bytes, 3), bytes);
  EXPECT_EQ(std::string(bytes, 6), std::string("\0\0\0def", 6));
}

}  // namespace
