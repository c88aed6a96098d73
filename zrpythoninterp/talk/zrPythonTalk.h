#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/talk/zrPythonValues.h>

#include <functional>
#include <memory>

namespace zrpy {
class Talk;
}  // namespace zrpy

/// A name that is bound in a namespace.
struct zrPythonName {
  zrString name;  ///< UTF-8.
  zrString kind;  ///< The name of its value's type: "int", "function", "DataFrame".
};

/// What the creator makes, by its own type, so that all of its operations are at hand without a
/// cast. **Owns**: the caller. **Fails**: null when a derived creator makes something else.
ZR_EXPORT std::unique_ptr<zrInterpPython> zrCreatePython(zrPythonInterpCreator& creator);

/// What an interpreter and its host say to each other beyond the framework's operations.
///
/// A light handle: what is set through one belongs to the interpreter, lasts through its stops and
/// starts, and is seen through every other handle on it. Interpreters for which none was made work
/// as without this class.
///
/// **Owns**: nothing; the interpreter must outlive the handle. **Threads**: any, also at the same
/// time, while evaluations run, and from inside callbacks. **Lock**: taken and given back where an
/// operation needs it; whoever holds it may call. **Fails**: by results; std::bad_alloc is thrown.
class ZR_EXPORT zrPythonTalk {
 public:
  /// Receives what scripts write: "stdout" or "stderr", and the text.
  /// **Owns**: both texts are good for the call. **Threads**: called on the thread that writes, or
  /// on another one that is handing over its own text just then; one call at a time, in the order
  /// of writing. **Lock**: not held. It may evaluate and wait; what its own evaluations write goes
  /// to the process's standard streams. **Fails**: what it throws becomes a zrhost.Error of the
  /// write. **Form**: UTF-8, whole characters.
  using OutputFn = std::function<void(const zrString& stream, const zrString& text)>;

  /// A function for scripts, of the shape that the framework's InvokeGlobalMethod has. Takes the
  /// arguments, sets the result, and gives true; or gives false and says in error why.
  /// **Threads**: the script's; several at a time when several threads call. **Lock**: not held,
  /// so it may wait for other threads, and evaluate. **Fails**: false becomes a zrhost.Error with
  /// the text, what it throws becomes one with what(), and std::bad_alloc a MemoryError. **Form**:
  /// arguments as evaluations give values, the result as Import takes them, but that nothing
  /// becomes None. error is UTF-8.
  using Function =
      std::function<bool(zrStlVector<zrVariant>& arguments, zrVariant& result, zrString& error)>;

  /// A handle on the interpreter. **Fails**: std::bad_alloc.
  explicit zrPythonTalk(zrInterpPython& interp);

  // ---- talk/Output.cpp: what scripts write ----

  /// Sends what scripts write to sys.stdout and sys.stderr to the function, tracebacks and warnings
  /// included; null gives the runtime's own streams back. Works at once when the runtime is up, and
  /// in every life from its start on. When it returns, the function before is not being called any
  /// more, and what it uses can go; from inside a call of it, it returns at once.
  void SetOutput(OutputFn output);

  // ---- talk/Functions.cpp: functions of the host ----

  /// Lets scripts call the function as zrhost.NAME(...), after "import zrhost". A function of the
  /// name is replaced as by RemoveFunction. **Owns**: a copy, destroyed when the function was taken
  /// away and nobody calls it, at the latest with the interpreter. **Fails**: false when the
  /// function is empty or the name is no ASCII identifier, or memory is short. **Form**: signature
  /// is what inspect.signature shows, such as "(speed, mass=1.0)", help is what help() shows;
  /// arguments come by position alone, whatever the signature says.
  bool AddFunction(const zrString& name, Function function, const zrString& signature = zrString(),
                   const zrString& help = zrString());
  /// Takes a function away; scripts that kept it get a zrhost.Error. When it returns, no thread is
  /// in a call of it, and what it uses can go; from inside a call of it, it returns at once.
  /// **Fails**: false when there is none of the name.
  bool RemoveFunction(const zrString& name);

  // ---- talk/Values.cpp: values and statements, without a detour ----

  /// Binds a name to a number, a boolean, a text, a list of texts or a value, in a context, or in
  /// __main__ for an empty one. **Fails**: as zrInterpPython::Import.
  template <typename T>
  bool Import(const zrString& name, const T& value, const zrString& context = zrString()) {
    return bind(name, zrValue(value), context);
  }
  /// Runs statements in a context, which is made if it does not exist, or in __main__ for an empty
  /// one; the names that they bind stay. **Fails**: false when the text raised or did not compile,
  /// or there is no runtime.
  bool Run(const zrString& statements, const zrString& context = zrString());

  // ---- talk/Talk.cpp: letters ----

  /// How texts beyond ASCII come out: in values, lists, dictionaries, variable maps, alerts, and
  /// arguments of the host's functions.
  enum class TextForm {
    kAscii,  ///< Not at all: the conversion fails with an error. So it is at first.
    kUtf8,   ///< As UTF-8. A lone surrogate, which has no UTF-8 form, makes the conversion fail.
  };
  /// Works at once when the runtime is up through this interpreter, and in every life of it.
  void SetTextForm(TextForm form);

  // ---- talk/Contexts.cpp: the named contexts ----

  /// The names of the contexts, in the order in which they were made, on 3.5 in no order; none when
  /// the runtime is not up. **Form**: UTF-8; names that scripts made and that have no UTF-8 form
  /// are left out.
  zrStlVector<zrString> Contexts() const;
  /// Forgets a context, and collects what is then unreachable, so that the memory comes back. An
  /// evaluation that runs in it goes on; the next one makes the context anew. Code that scripts
  /// keep elsewhere, and the names that it uses, stay. **Fails**: false when there is none.
  bool DropContext(const zrString& name);
  /// The names bound in a context, in __main__ for an empty one, without those of the form
  /// __name__. Runs no script code. **Fails**: an empty list when there is no such context, which
  /// is not made, or the runtime is not up.
  zrStlVector<zrPythonName> Names(const zrString& context = zrString()) const;

 private:
  bool bind(const zrString& name, const zrVariant& value, const zrString& context);

  zrInterpPython& interp_;
  std::shared_ptr<zrpy::Talk> talk_;
};
