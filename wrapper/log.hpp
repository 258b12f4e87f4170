// The wrappers' lines in the Android log.
#pragma once

#include <stdint.h>

namespace zeto::log {

void rate_mismatch(const char* function, uint32_t sample_rate) noexcept;
void initialised(const char* function, int32_t sample_rate, int32_t format_type, int32_t state,
                 int32_t error_flag) noexcept;
void closing(const char* function) noexcept;

// Shows the first 12 bytes of a parameter block as six 16-bit halves, low half first.
void parameters(const char* function, const void* block) noexcept;

}  // namespace zeto::log
