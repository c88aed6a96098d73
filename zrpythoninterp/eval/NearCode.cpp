// Kept code on the shelves of the threads. Private here: the shelves. Test:
// tests/flow/Parallel_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/eval/NearCode.h>

namespace zrpy {

namespace {

struct Entry {
  std::size_t hash = 0;
  CodeSource source{};
  PyObject* code = nullptr;  // the store's; null: nothing is here
  std::uint32_t since = 0;
};

// One line of memory that others write would cost a thread as much as the mutex.
struct alignas(128) Shelf {
  static constexpr std::size_t kPlaces = 64;

  StoreMutex mutex;
  Entry entries[kPlaces] ZR_GUARDED_BY(mutex);

  Entry& At(std::size_t hash) ZR_THREAD_ATTRIBUTE(requires_capability(mutex)) {
    return entries[(hash ^ hash >> 20U) % kPlaces];
  }
};

constexpr std::size_t kShelves = kHasGlobalLock ? 1 : 16;
Shelf shelves[kShelves];

Shelf& Mine() {
  const ThreadRecord* const thread = Door::KnownThread();
  return shelves[thread ? thread->thread.load(std::memory_order_relaxed) % kShelves : 0];
}

bool Same(const CodeSource& one, const CodeSource& other) {
  return one.kind == other.kind && one.content == other.content && one.path == other.path;
}

}  // namespace

PyRef NearCode::Find(const CodeSource& source, std::size_t hash, std::uint32_t now) {
  if (kHasGlobalLock) return PyRef();
  Shelf& shelf = Mine();
  const StoreLock lock(shelf.mutex);
  const Entry& entry = shelf.At(hash);
  const bool isIt =
      entry.code && entry.hash == hash && now - entry.since < kLasts && Same(entry.source, source);
  return PyRef::Borrow(isIt ? entry.code : nullptr);
}

void NearCode::Put(const CodeSource& source, std::size_t hash, PyObject* code, std::uint32_t now) {
  if (kHasGlobalLock) return;
  Shelf& shelf = Mine();
  const StoreLock lock(shelf.mutex);
  shelf.At(hash) = {hash, source, code, now};
}

void NearCode::TakeAway(std::size_t hash) {
  if (kHasGlobalLock) return;
  for (Shelf& shelf : shelves) {
    const StoreLock lock(shelf.mutex);
    Entry& entry = shelf.At(hash);
    if (entry.hash == hash) entry = Entry();
  }
}

void NearCode::TakeAllAway() {
  if (kHasGlobalLock) return;
  for (Shelf& shelf : shelves) {
    const StoreLock lock(shelf.mutex);
    for (Entry& entry : shelf.entries) entry = Entry();
  }
}

}  // namespace zrpy
