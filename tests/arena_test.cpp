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

uint64_t current(int32_t slot) {
  return number(malloc_buffer(slot, 0));
}

// Before anything was marked, the current address itself is what is used.
const int64_t kUnmarked = (zeto_set_cur_addr(1, at(4096)), zeto_get_use_size(1));

const char* prefix(int32_t slot) {
  return slot == 0 ? "[QANT_TX]" : "[ZETO_RX]";
}
int64_t limit(int32_t slot) {
  return slot == 0 ? 130000 : 50000;
}

class ArenaSlot : public testing::TestWithParam<int32_t> {};

TEST_P(ArenaSlot, HandsOutUpToTheLimitFromTheUnroundedBase) {
  const int32_t slot = GetParam();
  std::vector<char> memory(static_cast<size_t>(limit(slot)) + 16, 'x');
  char* const base = memory.data() + 3;
  zeto_set_malloc_addr(slot, base);
  const uint64_t start = (number(base) + 7) / 8 * 8;
  EXPECT_EQ(current(slot), start);

  zeto_get_curr_ptr(slot);
  const uint32_t all = static_cast<uint32_t>(number(base) + static_cast<uint64_t>(limit(slot)) - start);
  CaptureStderr();
  EXPECT_EQ(malloc_buffer(slot, all + 1), nullptr);
  EXPECT_EQ(malloc_buffer(slot, UINT32_MAX), nullptr);
  const std::string message = std::string(prefix(slot)) + " memory not enough.\n";
  EXPECT_EQ(GetCapturedStderr(), message + message);
  EXPECT_EQ(zeto_get_use_size(slot), 0);

  char* const got = static_cast<char*>(malloc_buffer(slot, all));
  ASSERT_EQ(number(got), start);
  EXPECT_EQ(std::count(got, got + all, '\0'), static_cast<ptrdiff_t>(all));
  EXPECT_EQ(got[all], 'x');
  EXPECT_EQ(zeto_get_use_size(slot), static_cast<int64_t>(all));

  zeto_set_cur_addr(slot, base - 3);  // below the block: nothing fits any more
  CaptureStderr();
  if (current(slot) != 0) ADD_FAILURE() << "allocated below the base";
  EXPECT_EQ(GetCapturedStderr(), message);
}

TEST_P(ArenaSlot, MeasuresFromTheMarkThatRegisteringKeeps) {
  const int32_t slot = GetParam();
  std::vector<char> memory(256);
  zeto_set_malloc_addr(slot, memory.data());
  zeto_get_curr_ptr(slot);
  malloc_buffer(slot, 16);
  malloc_buffer(slot, 24);
  EXPECT_EQ(zeto_get_use_size(slot), 40);
  free_buffer(slot, memory.data());
  align_free(slot, memory.data());
  EXPECT_EQ(zeto_get_use_size(slot), 40);
  const char* const odd = static_cast<char*>(malloc_buffer(slot, 3));
  EXPECT_EQ(malloc_buffer(slot, 1), odd + 3);
  zeto_set_malloc_addr(slot, memory.data() + 64);
  EXPECT_EQ(zeto_get_use_size(slot), 64);
}

INSTANTIATE_TEST_SUITE_P(Arena, ArenaSlot, testing::Values(0, 1, -1, 7));

struct AlignCase {
  int32_t alignment;
  uint32_t before;  // taken first, from base 0x10000
  uint32_t size;
  int64_t start;  // of the result, from the base; where it fails, of the next request
  const char* error;
};
void PrintTo(const AlignCase& c, std::ostream* out) {
  *out << c.alignment << " after " << c.before;
}
class AlignMalloc : public testing::TestWithParam<AlignCase> {};

TEST_P(AlignMalloc, RoundsByTheMask) {
  const AlignCase& c = GetParam();
  for (int32_t slot : {0, 1}) {
    const uint64_t base = 0x10000;
    zeto_set_malloc_addr(slot, at(base));
    zeto_set_cur_addr(slot, nullptr);
    zeto_get_curr_ptr(slot);  // marks address 0, so that the use is the current address
    zeto_set_malloc_addr(slot, at(base));
    ASSERT_NE(align_malloc(slot, 4, c.before), nullptr);

    CaptureStderr();
    const void* const got = align_malloc(slot, c.alignment, c.size);
    EXPECT_EQ(GetCapturedStderr(), *c.error == 0 ? "" : prefix(slot) + std::string(c.error));
    const int64_t start = static_cast<int64_t>(base) + c.start;
    EXPECT_EQ(number(got), *c.error == 0 ? static_cast<uint64_t>(start) : 0);
    EXPECT_EQ(zeto_get_use_size(slot), *c.error == 0 ? start + c.size : start);
  }
}

constexpr const char* kNoMemory = " memory not enough.\n";
INSTANTIATE_TEST_SUITE_P(
    Arena, AlignMalloc,
    testing::Values(AlignCase{4, 8, 5, 8, ""}, AlignCase{8, 2, 1, 8, ""}, AlignCase{16, 8, 1, 16, ""},
                    AlignCase{64, 8, 0, 64, ""}, AlignCase{4096, 8, 8, 4096, ""},
                    AlignCase{12, 2, 4, 0, ""},  // mask of 16, below the current address
                    AlignCase{12, 8, 4, 16, ""}, AlignCase{20, 8, 4, 16, ""}, AlignCase{24, 8, 4, 0, ""},  // mask of 32
                    AlignCase{0, 8, 4, 7, ""}, AlignCase{-4, 8, 4, 3, ""}, AlignCase{-8, 100, 4, 91, ""},
                    AlignCase{2, 9, 4, 9, " Unsupport alignment<2>.\n"},
                    AlignCase{1, 9, 4, 9, " Unsupport alignment<1>.\n"},
                    AlignCase{6, 9, 200000, 9, " Unsupport alignment<6>.\n"},  // comes before the memory
                    AlignCase{-3, 9, 4, 9, " Unsupport alignment<-3>.\n"},
                    AlignCase{64, 8, 200000, 64, kNoMemory},  // the padding stays taken
                    AlignCase{0, 0, 0, -1, kNoMemory},        // below the base
                    AlignCase{INT32_MIN, 8, 4, 7 - (int64_t{1} << 31), kNoMemory},
                    AlignCase{1 << 30, 8, 4, (1 << 30) - 0x10000, kNoMemory}));

TEST(Arena, StartsUnmarkedAndClearsOnRequest) {
  EXPECT_EQ(kUnmarked, 4096);
  EXPECT_EQ(log_align_flag, 0);
  char bytes[] = "abcdef";
  EXPECT_EQ(reset_buffer(bytes, 3), bytes);
  EXPECT_EQ(std::string(bytes, 6), std::string("\0\0\0def", 6));
}

}  // namespace
