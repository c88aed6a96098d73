// Names of variables and contexts.
#include <tests/fuzz/FuzzHost.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zrfuzz::Input input(data, size);
  zrInterpPython& interp = zrfuzz::Interp();
  const zrString context = input.Text();
  const zrString name = input.Rest();
  bool ok = false;
  if (interp.Import(name, "value", context)) {
    zrfuzz::Expect(interp.LastError().IsEmpty(), "an import that worked and failed");
    // The runtime fills some names itself, and no name asks for the expression's value.
    const bool reserved = name.empty() || name.compare(0, 2, "__") == 0;
    const zrVariant back = interp.EvalScript("0", name, ok, context);
    zrfuzz::Expect(reserved || context.c_str()[0] == 0 || (ok && back.GetString() == "value"),
                   "a name that was bound and is not found");
  } else {
    zrfuzz::Expect(!interp.LastError().IsEmpty(), "an import that failed without an error");
  }
  if (zrfuzz::IsQuick(name)) interp.Export(name, context);
  zrStlMap<zrString, zrVariant> map;
  map[name].SetLong64(1);
  interp.EvalFile(zrfuzz::Folder() + "/missing.py", map, &map);
  zrfuzz::ForgetNames();
  zrfuzz::ExpectHostLives();
  return 0;
}
