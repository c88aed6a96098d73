// A host that links neither the library nor Python, and keeps the symbols of its plug-ins apart:
// plugin_host LIBRARY PLUGIN ROOT TEXT.
#include <dlfcn.h>

#include <cstdio>

namespace {

int Fail(const char* what) {
  const char* const why = dlerror();
  std::fprintf(stderr, "%s: %s\n", what, why ? why : "");
  return 1;
}

template <typename Function>
Function* Find(void* where, const char* name) {
  return reinterpret_cast<Function*>(dlsym(where, name));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  if (dlsym(RTLD_DEFAULT, "Py_IsInitialized")) return Fail("the host itself holds Python");
  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (!library) return Fail("library");
  if (dlsym(RTLD_DEFAULT, "Py_IsInitialized")) return Fail("loading made symbols global");
  auto* const isInitialized = Find<int()>(library, "Py_IsInitialized");
  if (!isInitialized || isInitialized() != 0) return Fail("loading started the runtime");

  void* const plugin = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  if (!plugin) return Fail("plug-in");
  auto* const runText = Find<int(const char*, const char*)>(plugin, "RunText");
  if (!runText) return Fail("RunText");
  return runText(argv[3], argv[4]);
}
