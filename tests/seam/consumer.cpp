// A host on the other framework: what the library does there shows that framework's own forms.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <cstdio>
#include <memory>

namespace {

zrString alerts;
int failures = 0;

bool OnAlert(const zrString& text) {
  alerts += text + "|";
  return true;
}

void Expect(const char* what, const zrString& got, const zrString& wanted) {
  if (got == wanted) return;
  ++failures;
  std::printf("%s: got '%s', wanted '%s'\n", what, got.c_str(), wanted.c_str());
}

struct Counter : zrxObserver<zrInterpTraceInfo*> {
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    files += static_cast<zrInterpTraceInfoPython*>(event.data_)->GetFile() + " ";
  }
  zrString files;
};

}  // namespace

int main(int, char** argv) {
  zrPythonInterpCreator creator(zrStlVector<zrString>{"name", "\xe9"}, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  interp.SetAlert(&OnAlert);
  bool ok = false;
  Expect("found", zrInterp::Find("python") == made.get() ? "yes" : "no", "yes");
  Expect("whole", interp.EvalScript2("6 * 7", ok).GetString(), "42L");
  Expect("nested", interp.EvalScript2("[1, [True, 2.5], {'k': 'v'}]", ok).GetString(),
         "1L;yes;2.5;k:v");
  Expect("argument", interp.EvalScript2("'%x' % ord(__import__('sys').argv[1])", ok).GetString(),
         "e9");
  zrVariant list;
  list.SetStringList({"a", "b"});
  Expect("import", interp.Import("names", list, "c") ? "yes" : "no", "yes");
  Expect("export", interp.Export("'+'.join(names)", "c").GetString(), "a+b");
  zrStlMap<zrString, zrVariant> variables;
  variables["x"].SetLong64(20);
  Expect("file", interp.EvalFile(argv[2], variables, nullptr) ? "yes" : "no", "yes");
  Expect("map", variables["y"].GetString(), "40L");
  interp.EvalScript2("1 / 0", ok);
  Expect("alert", alerts, "division by zero|");
  Counter counter;
  interp.AddObserver(counter);
  interp.StartTracing();
  interp.TraceHook(nullptr, "line", nullptr);
  Expect("no frame", counter.files, "");
  interp.RemoveObserver(counter);
  Expect("closed", interp.Close() ? "yes" : "no", "yes");
  std::printf(failures == 0 ? "the seam holds\n" : "%d failures\n", failures);
  return failures;
}
