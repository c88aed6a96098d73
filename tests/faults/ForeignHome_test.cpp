// Runtime homes that only look right: a start on one may fail or not, but the process goes on.
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <cstdlib>
#include <string>

namespace zrtest {
namespace {

#if ZR_CAN(SHELL) && ZR_CAN(LINK)
TEST(ForeignHome, OfAnotherReleaseUnderTheRightNameEndsNoProcess) {
  const InstallationRoot root;
  const zrString library =
      "/lib/python3." + std::to_string(zrpy::kRuntimeMinor) + zrpy::kRuntimeVariant;
  const zrString source = ZR_TEST_PYTHON_HOME + library;
  const zrString file = "importlib/_bootstrap_external.py";
  for (const int mark : {3310, 3379, 3394, 9999}) {
    SCOPED_TRACE(mark);
    // Links to all that the library holds, but for the file that tells its release.
    const zrString make =
        "rm -rf $H && mkdir -p $H$L && cd $H$L && ln -s $S/* . && rm importlib && "
        "mkdir importlib && ln -s $S/importlib/* importlib && rm $F && sed "
        "\"s/^MAGIC_NUMBER = .*/MAGIC_NUMBER = ($M).to_bytes(2, 'little')/\" "
        "$S/$F >$F";
    const zrString command = "H=" + root.home() + " L=" + library + " S=" + source + " F=" + file +
                             " M=" + std::to_string(mark) + "; " + make;
    ASSERT_EQ(std::system(command.c_str()), 0);
    const bool own = zrpy::kLibraryMarks.last == 0 ||
                     (mark >= zrpy::kLibraryMarks.first && mark <= zrpy::kLibraryMarks.last);
    OpenInterp interp(root.path());
    EXPECT_EXIT(std::_Exit(interp.EvalScript("x = 6 * 7", zrString()) ? 1 : 0),
                testing::ExitedWithCode(own ? 1 : 0), "");
  }
}
#endif

}  // namespace
}  // namespace zrtest
