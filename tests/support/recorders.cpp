#include "tests/support/recorders.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

std::vector<std::string> lines;

// Plain arrays: recording must not allocate.
struct Heap {
  bool armed;
  uint32_t failing;
  size_t taken, given;
  void* pointer[64];
  size_t bytes[64], freed[64];
} heap;

template <typename Allocate>
void* take(size_t bytes, Allocate allocate) {
  if (!heap.armed || heap.taken == 64) return allocate();
  heap.bytes[heap.taken++] = bytes;
  return heap.pointer[heap.taken - 1] = (heap.failing >> heap.taken & 1u) != 0 ? nullptr : allocate();
}

}  // namespace

extern "C" {
void* __real_calloc(size_t, size_t);
void* __real_malloc(size_t);
void* __real_realloc(void*, size_t);
void __real_free(void*);
void* __wrap_calloc(size_t n, size_t size) {
  return take(n * size, [&] { return __real_calloc(n, size); });
}
void* __wrap_malloc(size_t size) {
  return take(size, [&] { return __real_malloc(size); });
}
void* __wrap_realloc(void* old, size_t size) {
  return take(size, [&] { return __real_realloc(old, size); });
}
void __wrap_free(void* pointer) {
  if (heap.armed && pointer != nullptr && heap.given < 64) {
    void** const end = heap.pointer + heap.taken;
    void** const found = std::find(heap.pointer, end, pointer);
    heap.freed[heap.given++] = found == end ? 0 : size_t(found - heap.pointer) + 1;
    if (found != end) *found = nullptr;  // the address may come back
  }
  __real_free(pointer);
}

__attribute__((format(printf, 3, 4))) int __android_log_print(int priority, const char* tag, const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  lines.push_back(std::to_string(priority) + " " + tag + ": " + text);
  return 1;
}
}

namespace support {

std::vector<std::string> take_log() {
  return std::exchange(lines, {});
}

HeapRecorder::HeapRecorder(uint32_t failing) {
  heap = {};
  heap.failing = failing;
  heap.armed = true;
}
HeapRecorder::~HeapRecorder() {
  heap.armed = false;
}
std::vector<size_t> HeapRecorder::sizes() const {
  return {heap.bytes, heap.bytes + heap.taken};
}
std::vector<size_t> HeapRecorder::freed() const {
  return {heap.freed, heap.freed + heap.given};
}

}  // namespace support
