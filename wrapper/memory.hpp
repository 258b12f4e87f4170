// The wrappers' memory: taken at init, given back at deinit, nothing in between.
#pragma once

#include <stddef.h>
#include <stdlib.h>

namespace zeto {

// Zero-filled. A request of no bytes succeeds on every C library.
template <typename T>
T* allocate(size_t bytes) noexcept {
  return static_cast<T*>(calloc(1, bytes == 0 ? 1 : bytes));
}

template <typename T>
void release(T*& pointer) noexcept {
  free(pointer);
  pointer = nullptr;
}

}  // namespace zeto
