// Code of texts that are evaluated again and again. Private here: the store, guarded by the
// runtime's lock, and the compilation that notices warnings. Test: tests/eval/CodeCache_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/eval/CodeCache.h>

#include <array>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace zrpy {

namespace {

// Past either bound the store starts anew.
constexpr size_t kMaxTexts = 512;
constexpr size_t kMaxBytes = size_t{1} << 20;

struct Entry {
  zrString text;
  KnownText known;  // no code: the text is compiled each time
};

struct Store {
  std::uint64_t life = 0;
  size_t bytes = 0;
  std::unordered_map<size_t, Entry> texts;
  // What was seen once, by hash; a text that meets another here is at worst entered too early or
  // late.
  std::array<size_t, 1024> seen{};

  void Clear() {
    bytes = 0;
    const auto old = std::exchange(texts, {});  // dropped last: it can run script code
  }
};

// Never destroyed: at the end of a process that did not stop the runtime, its objects are not ours
// to drop.
Store& store = *new Store;

void DropAtStop() {
  store.life = 0;
  store.Clear();
  store.seen.fill(0);
}

// Makes every warning an error for its life, ahead of the script's own filters. No code of a script
// runs meanwhile: the compiler's warnings are classes of the runtime's own, and the collection of
// garbage waits.
class WarningsAsErrors {
 public:
  WarningsAsErrors() {
    PyObject* const modules = PyImport_GetModuleDict();
    PyObject* module = PyDict_GetItemString(modules, "warnings");
    if (!module) module = PyDict_GetItemString(modules, "_warnings");
    filters_ = PyRef::Steal(module ? PyObject_GetAttrString(module, "filters") : nullptr);
    filter_ = PyRef::Steal(Py_BuildValue("(sOOOi)", "error", Py_None, PyExc_Warning, Py_None, 0));
    set_ = filters_ && filter_ && PyList_CheckExact(filters_.get()) &&
           PyList_Insert(filters_.get(), 0, filter_.get()) == 0;
    PyErr_Clear();
  }
  ~WarningsAsErrors() {
    if (set_ && PyList_SetSlice(filters_.get(), 0, 1, nullptr) < 0) PyErr_Clear();
  }
  WarningsAsErrors(const WarningsAsErrors&) = delete;
  WarningsAsErrors& operator=(const WarningsAsErrors&) = delete;

  explicit operator bool() const { return set_; }

 private:
  const GarbageWaits garbageWaits_;
  PyRef filters_;
  PyRef filter_;
  bool set_ = false;
};

// Null with no error pending when the text does not compile, or not without a warning.
PyRef CompileWithoutWarning(const char* text, TextMode mode) {
  const WarningsAsErrors errors;
  if (!errors) return PyRef();
  PyRef code =
      PyRef::Steal(Py_CompileStringExFlags(text, "<string>", StartSymbol(mode), nullptr, -1));
  PyErr_Clear();
  return code;
}

// The only name that the code refers to, where the text is no more than it.
PyRef PlainName(PyObject* code, std::string_view text) {
  PyRef names = PyRef::Steal(PyObject_GetAttrString(code, "co_names"));
  PyRef name;
  if (names && PyTuple_CheckExact(names.get()) && PyTuple_GET_SIZE(names.get()) == 1) {
    PyObject* const only = PyTuple_GET_ITEM(names.get(), 0);
    if (PyUnicode_CompareWithASCIIString(only, text.data()) == 0) name = PyRef::Borrow(only);
  }
  PyErr_Clear();
  return name;
}

void Enter(size_t hash, std::string_view text, TextMode mode) {
  if (store.texts.size() >= kMaxTexts || store.bytes + text.size() > kMaxBytes) store.Clear();
  Entry entry{zrString(text), {CompileWithoutWarning(text.data(), mode), PyRef()}};
  if (entry.known.code && mode == TextMode::kExpression)
    entry.known.name = PlainName(entry.known.code.get(), text);
  store.bytes += text.size();
  store.texts.insert_or_assign(hash, std::move(entry));
}

}  // namespace

KnownText LookUpText(const zrString& script, TextMode mode) {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return {};  // during a stop nothing new is kept
  if (store.life != life) {
    RuntimeLife::CallAtStop(&DropAtStop);
    store.life = life;
  }
  const std::string_view text(script.c_str());
  if (text.size() > kMaxBytes) return {};
  const size_t hash = std::hash<std::string_view>()(text) + static_cast<size_t>(mode);
  auto found = store.texts.find(hash);
  if (found == store.texts.end()) {
    if (std::exchange(store.seen[hash % store.seen.size()], hash) != hash) return {};
    Enter(hash, text, mode);
    found = store.texts.find(hash);
  }
  if (found == store.texts.end() || found->second.text != text) return {};
  const KnownText& known = found->second.known;
  return {PyRef::Borrow(known.code.get()), PyRef::Borrow(known.name.get())};
}

}  // namespace zrpy
