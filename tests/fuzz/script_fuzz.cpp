// Script text, by every form that takes one.
#include <tests/fuzz/FuzzHost.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zrString script(reinterpret_cast<const char*>(data), size);
  if (!zrfuzz::IsQuick(script)) return -1;
  zrInterpPython& interp = zrfuzz::Interp();
  bool ok = false;
  for (int sight = 0; sight < 2; ++sight) {  // the second time the code may be known
    interp.EvalScript(script, zrString(), ok);
    interp.EvalScript(script, "r", ok, "context");
    interp.EvalScript2(script, ok);
    zrfuzz::Expect(interp.EvalScript(script, zrString()) == interp.LastError().IsEmpty(),
                   "a result that does not agree with the error");
  }
  zrfuzz::ForgetNames();
  zrfuzz::ExpectHostLives();
  return 0;
}
