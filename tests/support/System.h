// What the system under the tests can do, and its environment.
#pragma once

#include <zrpythoninterp/host/Platform.h>

// ZR_CAN(WHAT), for #if: false where a case cannot run, for one of these reasons.
#define ZR_CAN(what) ZR_CAN_##what
#ifdef _WIN32
#define ZR_CAN_FORK 0     // a process that goes on as two
#define ZR_CAN_SHELL 0    // sh and its tools
#define ZR_CAN_LINK 0     // symbolic links, for which a user needs rights
#define ZR_CAN_PIPE 0     // pipes among the files
#define ZR_CAN_SIGNAL 0   // sigaction, timers, signals to oneself
#define ZR_CAN_USER 0     // other users and their rights
#define ZR_CAN_MODULE 0   // an extension module of ours, built without an import library
#define ZR_CAN_NAME 0     // a program name of the runtime that is not the process's own
#define ZR_CAN_STACK 0    // threads with stacks of any size, and stacks without a thread
#define ZR_CAN_CAPTURE 0  // a file as a standard stream, with which wine lets no CPython 3.5 start
#define ZR_CAN_STREAM 0   // streams of ours that the runtime reads, whose C library is another
#define ZR_CAN_PUTENV 0   // an environment that whoever owns an entry can write to
#define ZR_CAN_END 0      // ends of threads side by side: what they call comes one by one
#define ZR_CAN_PROC 0     // a process that shows its threads and files, and a heap its size

#else
#define ZR_CAN_FORK 1
#define ZR_CAN_SHELL 1
#define ZR_CAN_LINK 1
#define ZR_CAN_PIPE 1
#define ZR_CAN_SIGNAL 1
#define ZR_CAN_USER 1
#define ZR_CAN_MODULE 1
#define ZR_CAN_NAME 1
#define ZR_CAN_STACK 1
#define ZR_CAN_CAPTURE 1
#define ZR_CAN_STREAM 1
#define ZR_CAN_PUTENV 1
#define ZR_CAN_END 1
#define ZR_CAN_PROC 1

#endif

namespace zrtest {

inline void SetVariable(const char* name, const zrString& value) {
  zrpy::SetEnvironment(name, value);
}

inline void UnsetVariable(const char* name) { zrpy::UnsetEnvironment(name); }

// The path in the form in which the system names it itself.
inline zrString Native(zrString path) {
  zrpy::ToNative(path);
  return path;
}

}  // namespace zrtest
