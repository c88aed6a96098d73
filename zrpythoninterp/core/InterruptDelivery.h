// How an interrupt that is due comes to its thread.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Leaves an interrupt that is due on the record with the record's thread, which raises it at its
// next line, unless the thread stands where it must not be interrupted: then it stays due. No error
// may be pending.
void DeliverInterrupt(ThreadRecord& record) ZR_REQUIRES_GIL;

// Has all interrupts that are due delivered, by another thread, which tries again as long as some
// are. Needs no lock and does not wait.
void DeliverInterruptsSoon();

// In the child of a fork, in which that thread is not.
void ForgetInterruptDelivery();

}  // namespace zrpy
