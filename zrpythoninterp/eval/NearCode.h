// What a thread found in the store of kept code lately, found again beside the others' threads.
#pragma once

#include <zrpythoninterp/eval/KeptCode.h>

#include <cstddef>

namespace zrpy {

// Stands in front of the store where there is no global lock, so that threads which run small texts
// at the same time do not meet at the store's mutex: a few shelves, of which each thread has one,
// to itself as long as there are not many. On a CPython with the lock it does nothing.
//
// A shelf borrows the text and the code from the store. Whatever leaves the store is taken from the
// shelves first; so what is on one is in the store, and the store's budget counts it.
class NearCode {
 public:
  // How far the store's time may have gone on since an entry was put here: later the store is
  // asked, which so learns what is in use.
  static constexpr std::uint32_t kLasts = 256;

  // Null when the calling thread's shelf has it not, or has it for too long. Without the store's
  // mutex.
  static PyRef Find(const CodeSource& source, std::size_t hash, std::uint32_t now) ZR_REQUIRES_GIL;

  // With the store's mutex. The texts and the code stay until TakeAway.
  static void Put(const CodeSource& source, std::size_t hash, PyObject* code, std::uint32_t now);
  static void TakeAway(std::size_t hash);
  static void TakeAllAway();
};

}  // namespace zrpy
