#include <bench/HeapCount.h>
#include <malloc.h>

#include <cstddef>

// The C library's own, under the names that it keeps for programs that bring their own malloc.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
}

namespace {

// One thread at a time counts, in a process that has one.
bool counting = false;
std::int64_t liveBytes = 0;
std::int64_t peakBytes = 0;

void Count(std::int64_t bytes) {
  if (!counting) return;
  liveBytes += bytes;
  if (liveBytes > peakBytes) peakBytes = liveBytes;
}

std::int64_t SizeOf(void* block) {
  return block ? static_cast<std::int64_t>(malloc_usable_size(block)) : 0;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(size_t size) {
  void* const block = __libc_malloc(size);
  Count(SizeOf(block));
  return block;
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
  void* const block = __libc_calloc(count, size);
  Count(SizeOf(block));
  return block;
}

__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
  const std::int64_t before = SizeOf(block);
  void* const moved = __libc_realloc(block, size);
  if (moved || size == 0) Count(SizeOf(moved) - before);
  return moved;
}

__attribute__((visibility("default"))) void free(void* block) {
  Count(-SizeOf(block));
  __libc_free(block);
}

}  // extern "C"

namespace zrbench {

HeapCount::HeapCount() {
  liveBytes = 0;
  peakBytes = 0;
  counting = true;
}

HeapCount::~HeapCount() { counting = false; }

std::int64_t HeapCount::live() const { return liveBytes; }

std::int64_t HeapCount::peak() const { return peakBytes; }

}  // namespace zrbench
