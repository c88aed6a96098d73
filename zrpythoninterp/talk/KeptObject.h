// An object that is made once in a life of the runtime.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>

#include <cstdint>
#include <utility>

namespace zrpy {

// What kMake gives at the first call in a life of the runtime, kept until that stops. Where kMake
// gives null it is called again the next time.
template <PyRef (*kMake)()>
class KeptObject {
 public:
  // Null as kMake gives it, and during a stop, without an error then.
  static PyRef Get() ZR_REQUIRES_GIL {
    const std::uint64_t life = RuntimeLife::Current();
    if (life == 0) return PyRef();
    if (PyRef found = Find(life)) return found;
    PyRef made = kMake();
    if (!made) return PyRef();
    {
      const StoreLock lock(place.mutex);
      if (place.life != life) {  // else another thread was first
        RuntimeLife::CallAtStop(&Drop);
        std::swap(place.object, made);
        place.life = life;
      }
    }
    return Find(life);
  }

 private:
  struct Place {
    StoreMutex mutex;
    PyRef object ZR_GUARDED_BY(mutex);  // of this life
    std::uint64_t life ZR_GUARDED_BY(mutex) = 0;
  };
  // Never destroyed: at the end of a process that did not stop the runtime, its object is not ours
  // to drop.
  inline static Place& place = *new Place;

  static PyRef Find(std::uint64_t life) {
    const StoreLock lock(place.mutex);
    return PyRef::Borrow(place.life == life ? place.object.get() : nullptr);
  }

  static void Drop() {
    PyRef dropped;
    const StoreLock lock(place.mutex);
    place.life = 0;
    dropped = std::move(place.object);
  }
};

}  // namespace zrpy
