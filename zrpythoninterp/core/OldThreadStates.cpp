// The memory of thread states whose life is over. Private here: the runtime's own way to free
// memory, replaced while it stops. Test: tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/OldThreadStates.h>

namespace zrpy {

namespace {

PyMemAllocatorEx own;  // the runtime's; never changes while the other is in its place

void FreeUnlessKept(void* /*context*/, void* memory) {
  for (const ThreadRecord* record = Door::Records(); record; record = record->next) {
    if (record->state == memory && memory) return;
  }
  own.free(own.ctx, memory);
}

}  // namespace

OldThreadStates::OldThreadStates() {
  if (!kThreadsRememberOldStates) return;
  PyMem_GetAllocator(PYMEM_DOMAIN_RAW, &own);
  PyMemAllocatorEx other = {
      nullptr, [](void*, size_t size) { return own.malloc(own.ctx, size); },
      [](void*, size_t count, size_t size) { return own.calloc(own.ctx, count, size); },
      [](void*, void* memory, size_t size) { return own.realloc(own.ctx, memory, size); },
      &FreeUnlessKept};
  PyMem_SetAllocator(PYMEM_DOMAIN_RAW, &other);
}

OldThreadStates::~OldThreadStates() {
  if (kThreadsRememberOldStates) PyMem_SetAllocator(PYMEM_DOMAIN_RAW, &own);
}

void OldThreadStates::Free(PyThreadState* state) {
  if (kThreadsRememberOldStates) PyMem_RawFree(state);
}

}  // namespace zrpy
