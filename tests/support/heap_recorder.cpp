#include "tests/support/heap_recorder.hpp"

#include <algorithm>

namespace {

// Plain arrays: recording must not allocate.
constexpr size_t kMax = 64;
struct Record {
  bool armed;
  uint32_t failing;
  size_t taken, given;
  void* pointer[kMax];
  size_t bytes[kMax];
  size_t freed[kMax];
} record;

template <typename Allocate>
void* take(size_t bytes, Allocate allocate) {
  if (!record.armed || record.taken == kMax) return allocate();
  record.bytes[record.taken++] = bytes;
  return record.pointer[record.taken - 1] = (record.failing >> record.taken & 1u) != 0 ? nullptr : allocate();
}

}  // namespace

extern "C" {
void* __real_calloc(size_t n, size_t size);
void* __real_malloc(size_t size);
void* __real_realloc(void* old, size_t size);
void __real_free(void* pointer);
void* __wrap_calloc(size_t n, size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_realloc(void* old, size_t size);
void __wrap_free(void* pointer);

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
  if (record.armed && pointer != nullptr && record.given < kMax) {
    void** const end = record.pointer + record.taken;
    void** const found = std::find(record.pointer, end, pointer);
    record.freed[record.given++] = found == end ? 0 : size_t(found - record.pointer) + 1;
    if (found != end) *found = nullptr;  // the address may come back
  }
  __real_free(pointer);
}
}

namespace support {

HeapRecorder::HeapRecorder(uint32_t failing) {
  record = {};
  record.failing = failing;
  record.armed = true;
}
HeapRecorder::~HeapRecorder() {
  record.armed = false;
}
std::vector<size_t> HeapRecorder::sizes() const {
  return {record.bytes, record.bytes + record.taken};
}
std::vector<size_t> HeapRecorder::freed() const {
  return {record.freed, record.freed + record.given};
}

}  // namespace support
