// Everything that an evaluation stands on, pulled away by script code that runs in its midst: by a
// key that is compared, a value that goes, a collection of garbage, a print. The runtime's debug
// allocator overwrites what is freed, so that a pointer kept too long ends the process. Each pull
// has a process of its own.
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <ostream>

namespace zrtest {
namespace {

// Runs in a namespace that nothing reaches but arm, disarm and the traps.
constexpr const char kTraps[] = R"(
import builtins, gc, sys, types, warnings
modules = sys.modules
main = None
def contexts():
  table = main and main.__dict__.get('__script_dicts__')
  spaces = [table] + list(table.values()) if isinstance(table, dict) else []
  return [space for space in spaces if isinstance(space, dict)]
def pull_main():
  global main
  modules.pop('__main__', None)
  main = None  # the last that names it
def pull_modules():
  modules.clear()
  pull_main()
def pull_names():
  if main: main.__dict__.clear()
def pull_contexts():
  for space in contexts(): space.clear()
  if main: main.__dict__.pop('__script_dicts__', None)
def pull_builtins():
  for space in contexts(): space.pop('__builtins__', None)
  if main: main.__dict__.pop('__builtins__', None)
  builtins.__dict__.clear()
def pull_path():
  sys.__dict__.pop('path', None)
  sys.__dict__.pop('path_importer_cache', None)
def pull_filters():
  warnings.__dict__.get('filters', []).clear()
  warnings.__dict__.clear()
def pull_streams():
  for name in ('stdout', 'stderr', 'excepthook', 'last_value', 'last_traceback', 'last_exc'):
    sys.__dict__.pop(name, None)
def pull_all():
  for pull in pull_filters, pull_streams, pull_path, pull_contexts, pull_builtins, pull_names:
    pull()
  pull_modules()

fired = 0
busy = armed = False
filler = []
def fire(*ignored):
  global fired, busy
  if busy or not armed: return
  busy = True
  fired += 1
  try:
    pull()
    filler[:] = [[{0: 0}, [0], bytearray(5 * n)] for n in range(100)]
  finally:
    busy = False

class Key(str):
  __hash__ = str.__hash__
  def __eq__(self, other):
    fire()
    return False
class Goes:
  def __del__(self): fire()
class Stream:
  def write(self, text): fire()
  def flush(self): fire()
class Garbage:
  def __init__(self): self.me = self
  def __del__(self):
    fire()
    if armed: Garbage()  # for the next collection

def trap(space, *keys):  # ahead of what stands there
  for key in keys:
    old = space.pop(key, Goes())
    space[Key(key)] = 0
    space[key] = old
def arm(name):
  global pull, saved, main, armed
  pull = globals()['pull_' + name]
  modules.pop('__main__', None)
  kept = [modules, sys.__dict__, builtins.__dict__, warnings.__dict__]
  saved = [(space, dict(space)) for space in kept], list(warnings.filters), gc.get_threshold()
  sys.stderr = Stream()
  main = modules['__main__'] = types.ModuleType('__main__')  # goes when it is pulled
  main.__builtins__ = builtins
  table = main.__dict__.setdefault('__script_dicts__', {})
  space = table.setdefault('c', {'__builtins__': builtins})
  trap(space, 'n', '__file__', '__builtins__')
  trap(table, 'c')
  trap(main.__dict__, 'n', '__file__', '__builtins__', '__script_dicts__')
  trap(modules, '__main__', 'warnings', 'threading', 'traceback')
  armed = True
  Garbage()
  gc.set_threshold(1, 1, 1)
def disarm():
  global main, armed
  armed = False
  spaces, filters, threshold = saved
  gc.set_threshold(*threshold)
  for space, before in spaces:
    space.clear()
    space.update(before)
  warnings.filters[:] = filters
)";

struct Pull {
  const char* name;
};
std::ostream& operator<<(std::ostream& out, const Pull& pull) { return out << pull.name; }

class PulledAway : public EvalTest, public testing::WithParamInterface<Pull> {
 protected:
  PulledAway() { PyMem_SetupDebugHooks(); }

  void SetUp() override {
    EvalTest::SetUp();
    const zrpy::GilGuard gil;
    traps_ = zrpy::PyRef::Steal(PyDict_New());
    const zrpy::PyRef builtins = zrpy::PyRef::Steal(PyDict_Copy(PyEval_GetBuiltins()));
    PyDict_SetItemString(traps_.get(), "__builtins__", builtins.get());
    ASSERT_TRUE(Inside(kTraps));
  }

  // Lock held. Runs statements beside the traps.
  bool Inside(const zrString& script) {
    const zrpy::PyRef done =
        zrpy::PyRef::Steal(PyRun_String(script.c_str(), Py_file_input, traps_.get(), traps_.get()));
    if (!done) PyErr_Print();
    return static_cast<bool>(done);
  }
  bool Arm() {
    const zrpy::GilGuard gil;
    return Inside(zrString("arm('") + GetParam().name + "')");
  }
  // How often it was pulled.
  long Disarm() {
    const zrpy::GilGuard gil;
    EXPECT_TRUE(Inside("disarm()"));
    const zrpy::PyRef fired = zrpy::PyRef::Borrow(PyDict_GetItemString(traps_.get(), "fired"));
    EXPECT_TRUE(Inside("fired = 0"));
    return PyLong_AsLong(fired.get());
  }

 private:
  static zrpy::PyRef& Traps() {
    static zrpy::PyRef& traps = *new zrpy::PyRef;  // goes with the process
    return traps;
  }

  zrpy::PyRef& traps_ = Traps();
};

TEST_P(PulledAway, FromUnderEachOperation) {
  const Watchdog watchdog(std::chrono::seconds(280));
  zrPythonTalk talk(interp());
  const auto product = [](zrStlVector<zrVariant>& arguments, zrVariant& result, zrString&) {
    result.SetLong64(static_cast<long long>(arguments.size()));
    return true;
  };
  std::vector<Operation> operations = Operations();
  operations.insert(
      operations.end(),
      {{"Run", [&](bool well) { return talk.Run(well ? "n = 1" : "1 / 0", "c"); }},
       {"Contexts, Names",
        [&](bool well) {
          talk.Contexts();
          return !talk.Names(well ? "c" : "").empty();
        }},
       {"DropContext", [&](bool well) { return talk.DropContext(well ? "c" : "d"); }},
       {"AddFunction",
        [&](bool well) {
          if (!well) return talk.RemoveFunction("f");
          return talk.AddFunction("f", product) && Run("import zrhost; zrhost.f([])");
        }},
       {"SetOutput", [&](bool well) {
          talk.SetOutput(well ? [](const zrString&, const zrString&) {} : zrPythonTalk::OutputFn());
          return Run("print(1)");
        }}});
  long pulls = 0;
  for (const Operation& operation : operations) {
    for (const bool well : {true, false}) {
      SCOPED_TRACE(operation.name);
      std::printf("%s, %d\n", operation.name, well);  // a crash tells no more
      std::fflush(stdout);
      ASSERT_TRUE(Arm());
      for (int i = 0; i < 3; ++i) operation.run(well);  // the third time the text is known
      const long now = Disarm();
      // Without the lock garbage is not collected as often as a script asks for.
      EXPECT_GE(now, zrpy::kHasGlobalLock ? 1 : 0);
      pulls += now;
      ExpectHostLives();
    }
  }
  EXPECT_GT(pulls, 10);
}

INSTANTIATE_TEST_SUITE_P(Things, PulledAway,
                         testing::Values(Pull{"main"}, Pull{"modules"}, Pull{"names"},
                                         Pull{"contexts"}, Pull{"builtins"}, Pull{"path"},
                                         Pull{"filters"}, Pull{"streams"}, Pull{"all"}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace zrtest
