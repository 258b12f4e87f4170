#include "tests/support/fuzz_input.hpp"
int LLVMFuzzerTestOneInput(const uint8_t*, size_t) { return 0; }
