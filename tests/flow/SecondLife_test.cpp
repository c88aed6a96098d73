// Extension modules in a second and a third life: they work, or say why not, and never crash.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <cstdlib>

namespace zrtest {
namespace {

enum Outcome { kMissing = 2, kComesAgain, kDoesNot, kWrong };

// What three lives in this process make of a script; told by the exit of the process.
[[noreturn]] void Live(OpenInterp& interp, const zrString& script) {
  int outcome = kWrong;
  for (int life = 0; life < 3; ++life) {
    const bool ran = interp.EvalScript(script, "");
    const zrPythonError error = interp.LastError();
    const bool refused = error.kind == "ImportError" &&
                         error.message.find("cannot be loaded again") != zrString::npos;
    const int now = ran ? kComesAgain : refused ? kDoesNot : kWrong;
    const bool isMissing = error.kind == "ModuleNotFoundError" || error.kind == "ImportError";
    if (life == 0 && !ran) std::_Exit(isMissing ? kMissing : kWrong);
    if (life == 2 && now != outcome) outcome = kWrong;
    if (life == 1) outcome = now;
    if (!interp.Close()) outcome = kWrong;
  }
  std::_Exit(outcome);
}

class SecondLife : public PythonTest {
 protected:
  void ExpectOutcome(const zrString& script, Outcome expected, bool mayMiss = false) {
    SCOPED_TRACE(script);
    const auto matches = [=](int status) {
      return testing::ExitedWithCode(expected)(status) ||
             (mayMiss && testing::ExitedWithCode(kMissing)(status));
    };
    EXPECT_EXIT(Live(interp(), script), matches, "");
  }
};

#if ZR_CAN(MODULE)
TEST_F(SecondLife, AModuleComesAgainWhenItSaysThatItCan) {
  const zrString load =
      "import importlib.util as u\n"
      "def load(name):\n"
      "  spec = u.spec_from_file_location(name, '" ZR_TEST_LIVES_MODULE
      "')\n"
      "  module = u.module_from_spec(spec)\n"
      "  spec.loader.exec_module(module)\n";
  ExpectOutcome(load + "load('several_phases')", kComesAgain);
  ExpectOutcome(load + "load('one_phase')\nload('one_phase')", kDoesNot);
  ExpectOutcome(load + "load('own_object')", kDoesNot);
}
#endif

// What was tried, on each release. Scripts use what they import, also by keywords.
TEST_F(SecondLife, TheRuntimesOwnModulesComeAgainOrSayWhyNot) {
  const Outcome unlessStatic = zrpy::kStaticTypesOutliveTheRuntime ? kComesAgain : kDoesNot;
  const zrString library = zrpy::kIsWindows ? "'kernel32'" : "None";
  const zrString keyword = zrpy::kRuntimeMinor < 6 ? "" : "bufsize=";
  const std::pair<zrString, Outcome> cases[] = {
      {"import json, re, socket, struct, random, threading, subprocess, array, math", kComesAgain},
      {"import datetime\ndatetime.datetime.now() - datetime.timedelta(days=1)", kComesAgain},
      {"import decimal\ndecimal.Decimal('1.5') + decimal.Decimal(2)", kComesAgain},
      {"import hashlib\nhashlib.md5(b'x').hexdigest()", kComesAgain},
      {"import sqlite3\nsqlite3.connect(':memory:').execute('select 1').fetchall()", kComesAgain},
      {"import ssl\nssl.create_default_context()", kComesAgain},
      {"import asyncio\nloop = asyncio.new_event_loop()\n"
       "loop.run_until_complete(asyncio.sleep(0))\nloop.close()",
       kComesAgain},
      {"import asyncio\nassert asyncio._get_running_loop() is None\n"
       "asyncio._set_running_loop([])",
       kComesAgain},
      {"import zlib, bz2, lzma, csv, pickle, unicodedata, select, mmap\n"
       "zlib.decompress(zlib.compress(b'x'), 15, " +
           keyword + "10)",
       kComesAgain},
      {"import xml.etree.ElementTree as e\ne.fromstring('<a/>')", kComesAgain},
      {"import multiprocessing, concurrent.futures, logging, tempfile, queue", kComesAgain},
      {"import ctypes\nctypes.c_int(3)\nctypes.CDLL(" + library + ")", unlessStatic},
      {"import _datetime", unlessStatic},
      {"import _decimal", unlessStatic},
  };
  for (const auto& [script, outcome] : cases) ExpectOutcome(script, outcome);
}

TEST_F(SecondLife, ModulesOfOthersThatCannotComeAgainSayIt) {
  for (const char* const name : {"numpy", "pandas", "regex", "charset_normalizer.md"}) {
    ExpectOutcome(zrString("import ") + name, kDoesNot, true);
  }
}

}  // namespace
}  // namespace zrtest
