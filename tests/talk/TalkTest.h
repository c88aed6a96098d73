// An interpreter with a handle on what it and its host say to each other.
#pragma once

#include <zrpythoninterp/core/Companion.h>
// Companion.h brings Python.h, which comes first.
#include <gmock/gmock.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

namespace zrtest {

class TalkTest : public PythonTest {
 protected:
  zrPythonTalk talk{interp()};
};

}  // namespace zrtest
