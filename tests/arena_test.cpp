// What the fuzz target does not see of the arena: its messages, its order at the limits, and its state before any use.
#include "zeto/arena.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void* at(uintptr_t number) {
  return reinterpret_cast<void*>(number);
}

// Before anything was marked, the current address itself is what is used.
const int64_t kUnmarked = (zeto_set_cur_addr(1, at(4096)), zeto_get_use_size(1));

TEST(Arena, SaysWhyItFails) {
  struct {
    int32_t alignment;
    uint32_t size;
    int64_t used;  // afterwards, 9 bytes of it from before
    std::string said;
  } const cases[] = {{2, 4, 9, " Unsupport alignment<2>.\n"},
                     {-3, 200000, 9, " Unsupport alignment<-3>.\n"},  // comes before the memory
                     {64, 200000, 64, " memory not enough.\n"},       // the padding stays taken
                     {0, 0, -1, " memory not enough.\n"},             // below the base
                     {12, 4, 4, ""}};                                 // the mask of 16: below the current address
  for (const int32_t slot : {0, 1, -1, 2}) {
    for (const auto& c : cases) {
      zeto_set_malloc_addr(slot, at(0x10000));
      zeto_get_curr_ptr(slot);
      align_malloc(slot, 4, c.alignment == 0 ? 0 : c.alignment == 12 ? 2 : 9);
      testing::internal::CaptureStderr();
      EXPECT_EQ(align_malloc(slot, c.alignment, c.size), c.said.empty() ? at(0x10000) : nullptr);
      EXPECT_EQ(testing::internal::GetCapturedStderr(),
                c.said.empty() ? "" : (slot == 0 ? "[QANT_TX]" : "[ZETO_RX]") + c.said);
      EXPECT_EQ(zeto_get_use_size(slot), c.used) << slot << ", alignment " << c.alignment;
    }
  }
}

TEST(Arena, StartsUnmarkedAndFreesNothing) {
  EXPECT_EQ(kUnmarked, 4096);
  EXPECT_EQ(log_align_flag, 0);
  char bytes[] = "abcdef";
  EXPECT_EQ(reset_buffer(bytes, 3), bytes);
  EXPECT_EQ(std::string(bytes, 6), std::string("\0\0\0def", 6));
  zeto_set_malloc_addr(0, at(64));
  zeto_get_curr_ptr(0);
  align_malloc(0, 4, 40);
  free_buffer(0, at(64));
  align_free(0, at(64));
  EXPECT_EQ(zeto_get_use_size(0), 40);
  zeto_set_malloc_addr(0, at(1024));  // the mark stays where it was
  EXPECT_EQ(zeto_get_use_size(0), 960);
}

}  // namespace
