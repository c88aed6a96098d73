// The end of the thread states that the library keeps; GilGuard.h makes them.
#pragma once

namespace zrpy {

// For the stop, without the lock: ends the running life. Threads that end from now on leave their
// kept state to the runtime, which destroys it in its stop.
void EndLife();

}  // namespace zrpy
