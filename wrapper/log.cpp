#include "wrapper/log.hpp"

#include <stddef.h>
#include <string.h>

#if __has_include(<android/log.h>)
#include <android/log.h>
#else
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
#endif

namespace zeto::log {
namespace {

constexpr const char* kTag = "MERA_OMRU";
constexpr int kVerbose = 2;
constexpr int kError = 6;

}  // namespace

void rate_mismatch(const char* function, uint32_t sample_rate) noexcept {
  __android_log_print(kError, kTag, "%s: sample_rate %zu unmatch", function, static_cast<size_t>(sample_rate));
}

void initialised(const char* function, int32_t sample_rate, int32_t format_type, int32_t state,
                 int32_t error_flag) noexcept {
  __android_log_print(kVerbose, kTag, "%s: sample_rate %d, format_type %d, state %d, error_flag %d", function,
                      sample_rate, format_type, state, error_flag);
}

void closing(const char* function) noexcept {
  __android_log_print(kVerbose, kTag, "%s", function);
}

void parameters(const char* function, const void* block) noexcept {
  int16_t half[6];
  memcpy(half, block, sizeof half);
  __android_log_print(kVerbose, kTag, "%s: %d, %d, %d, %d, %d, %d", function, half[0], half[1], half[2], half[3],
                      half[4], half[5]);
}

}  // namespace zeto::log
