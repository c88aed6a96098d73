#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <dlfcn.h>
#include <tests/faults/Starve.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace zrtest {

namespace {

struct Plan {
  long left = 0;  // requests until one fails; 0: none will
  bool failed = false;
};

// Plain data, so that operator new may look at it at any time.
thread_local Plan plans[2];
thread_local int standstill = 0;
std::atomic<long> live[2];

bool MustFail(Memory memory) {
  Plan& plan = plans[static_cast<int>(memory)];
  if (plan.left == 0 || standstill != 0 || --plan.left != 0) return false;
  plan.failed = true;
  return true;
}

void Count(Memory memory, int blocks) { live[static_cast<int>(memory)] += blocks; }

// The count stands still for its life.
class Standstill {
 public:
  Standstill() { ++standstill; }
  ~Standstill() { --standstill; }
};

// ---- the runtime's allocators, one for each domain ----

PyMemAllocatorEx originals[3];

const PyMemAllocatorEx& Original(void* context) {
  return *static_cast<const PyMemAllocatorEx*>(context);
}

void* Counted(void* block) {
  if (block) Count(Memory::kRuntime, 1);
  return block;
}

void* Malloc(void* context, size_t size) {
  if (MustFail(Memory::kRuntime)) return nullptr;
  return Counted(Original(context).malloc(Original(context).ctx, size));
}

void* Calloc(void* context, size_t count, size_t size) {
  if (MustFail(Memory::kRuntime)) return nullptr;
  return Counted(Original(context).calloc(Original(context).ctx, count, size));
}

void* Realloc(void* context, void* block, size_t size) {
  if (MustFail(Memory::kRuntime)) return nullptr;
  void* const moved = Original(context).realloc(Original(context).ctx, block, size);
  return block ? moved : Counted(moved);
}

void Free(void* context, void* block) {
  if (block) Count(Memory::kRuntime, -1);
  Original(context).free(Original(context).ctx, block);
}

}  // namespace

void WatchRuntimeMemory() {
  const PyMemAllocatorDomain domains[] = {PYMEM_DOMAIN_RAW, PYMEM_DOMAIN_MEM, PYMEM_DOMAIN_OBJ};
  for (int i = 0; i < 3; ++i) {
    PyMem_GetAllocator(domains[i], &originals[i]);
    PyMemAllocatorEx counting = {&originals[i], &Malloc, &Calloc, &Realloc, &Free};
    PyMem_SetAllocator(domains[i], &counting);
  }
}

long LiveBlocks(Memory memory) { return live[static_cast<int>(memory)]; }

Starve::Starve(Memory memory, long nth) {
  plans[0] = plans[1] = Plan();
  plans[static_cast<int>(memory)].left = nth;
}

Starve::~Starve() { plans[0] = plans[1] = Plan(); }

bool Starve::Failed() const { return plans[0].failed || plans[1].failed; }

}  // namespace zrtest

// ---- in front of the runtime's: where the count stands still ----

#define ZR_STAND_STILL(type, name, parameters, arguments)                                   \
  type name parameters {                                                                    \
    static auto* const behind = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
    const zrtest::Standstill still;                                                         \
    return behind arguments;                                                                \
  }

extern "C" {

ZR_STAND_STILL(PyObject*, PyRun_StringFlags,
               (const char* text, int start, PyObject* globals, PyObject* locals,
                PyCompilerFlags* flags),
               (text, start, globals, locals, flags))
ZR_STAND_STILL(PyObject*, PyRun_FileExFlags,
               (FILE * stream, const char* name, int start, PyObject* globals, PyObject* locals,
                int close, PyCompilerFlags* flags),
               (stream, name, start, globals, locals, close, flags))
ZR_STAND_STILL(PyObject*, PyEval_EvalCode, (PyObject * code, PyObject* globals, PyObject* locals),
               (code, globals, locals))
ZR_STAND_STILL(PyObject*, Py_CompileStringExFlags,
               (const char* text, const char* name, int start, PyCompilerFlags* flags,
                int optimize),
               (text, name, start, flags, optimize))
ZR_STAND_STILL(PyObject*, Py_CompileStringObject,
               (const char* text, PyObject* name, int start, PyCompilerFlags* flags, int optimize),
               (text, name, start, flags, optimize))
ZR_STAND_STILL(void, _PyErr_Display,
               (PyObject * file, PyObject* type, PyObject* value, PyObject* traceback),
               (file, type, value, traceback))
ZR_STAND_STILL(PyObject*, PyObject_Call, (PyObject * print, PyObject* arguments, PyObject* names),
               (print, arguments, names))
ZR_STAND_STILL(void, Py_Finalize, (void), ())
ZR_STAND_STILL(void, PyErr_Display, (PyObject * type, PyObject* value, PyObject* traceback),
               (type, value, traceback))

}  // extern "C"

// ---- operator new ----

namespace {

void* New(std::size_t size) {
  void* const block = zrtest::MustFail(zrtest::Memory::kHost) ? nullptr : std::malloc(size + !size);
  if (block) zrtest::Count(zrtest::Memory::kHost, 1);
  return block;
}

void Delete(void* block) {
  if (block) zrtest::Count(zrtest::Memory::kHost, -1);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = New(size);
  if (!block) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return New(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto bound = static_cast<std::size_t>(alignment);
  void* const block = zrtest::MustFail(zrtest::Memory::kHost)
                          ? nullptr
                          : std::aligned_alloc(bound, (size + bound - 1) / bound * bound);
  if (!block) throw std::bad_alloc();
  zrtest::Count(zrtest::Memory::kHost, 1);
  return block;
}
void operator delete(void* block, std::align_val_t) noexcept { Delete(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Delete(block); }
void operator delete(void* block) noexcept { Delete(block); }
void operator delete(void* block, std::size_t) noexcept { Delete(block); }
