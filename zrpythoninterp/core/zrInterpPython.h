#pragma once

#include <zrpythoninterp/core/zrCallbacks.h>
#include <zrpythoninterp/core/zrErrorReport.h>
#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrInterp.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrxNotifierEvent.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <atomic>
#include <cstdint>
#include <memory>

/// The runtime's objects, as its own header declares them.
using PyObject = struct _object;
/// The runtime's thread states, as its own header declares them.
using PyThreadState = struct _ts;

namespace zrpy {
class Companion;
class Entry;
class LastErrors;
class ObserverWalk;
struct ObserverWalks;
}  // namespace zrpy

/// The Python interpreter of the host's script framework.
///
/// The first evaluation starts the runtime, Close or the destructor stops it. The runtime belongs
/// to the process: one object at a time has it started, and a start while it is up (through another
/// object, or by somebody else) fails and changes nothing.
///
/// **Owns**: nothing of the host's; observers must be removed before they are destroyed.
///
/// **Threads**: evaluations may come from any number of threads at once, also the first ones, of
/// which one starts the runtime while the others wait, and while another thread stops it: they wait
/// and start it anew. Close waits for those that run. Nobody may use an object whose destructor has
/// begun. SetAlert and SetExit are for times when no evaluation runs.
///
/// **Lock**: every evaluation takes the runtime's lock and gives it back; callbacks run under it,
/// observers without it. Between operations nobody holds it.
///
/// **Fails**: by result. A Python error goes to the alert callback, is printed by the runtime and
/// cleared; LastError tells more. Only std::bad_alloc and what a callback throws leave as
/// exceptions, with the lock given back and no Python error pending.
///
/// **Form**: text goes into scripts as UTF-8 and comes out as ASCII, each up to its first NUL;
/// bytes objects come out byte for byte. Whole numbers cross as the platform's long. Paths take
/// both slashes.
class ZR_EXPORT zrInterpPython : public zrInterp {
 public:
  // ---- core/zrInterpPython.cpp: the object ----

  /// Stops the runtime as Close does when this object has it started, and takes the interpreter
  /// out of the framework's registry. **Threads**, **Lock**: as Close. **Owns**: observers are
  /// neither told nor destroyed.
  ~zrInterpPython() override;
  zrInterpPython(const zrInterpPython&) = delete;
  zrInterpPython& operator=(const zrInterpPython&) = delete;

  /// Sets the callback for error texts; null takes it away, as at first. Always true.
  bool SetAlert(AlertFn alert) override;
  /// Sets the callback for scripts that ask the process to end; null takes it away.
  void SetExit(ExitFn exit);
  /// "py", the extension of script files, without a dot. **Owns**: static.
  const char* GetStdExtension() const override;

  /// No Python counterpart. **Fails**: always an empty value; Export reads variables.
  zrVariant GetGlobal(const zrString& name) override;
  /// No Python counterpart. **Fails**: always false; Import sets variables.
  bool SetGlobal(const zrString& name, const zrVariant& value) override;
  using zrInterp::InvokeGlobalMethod;
  /// No Python counterpart. **Fails**: always false, and no argument is touched.
  bool InvokeGlobalMethod(const zrString& method, zrStlVector<zrVariant>& arguments,
                          zrVariant& result) override;
  using zrInterp::InvokeStaticMethod;
  /// No Python counterpart. **Fails**: always false, and no argument is touched.
  bool InvokeStaticMethod(const zrString& type, const zrString& method,
                          zrStlVector<zrVariant>& arguments, zrVariant& result) override;
  using zrInterp::InvokeMethod;
  /// No Python counterpart. **Fails**: always false, and no argument is touched.
  bool InvokeMethod(const zrString& type, void* object, const zrString& method,
                    zrStlVector<zrVariant>& arguments, zrVariant& result) override;

  // ---- core/StartStop.cpp: the runtime comes up and goes down ----

  /// Makes sure that the runtime is up for this object; every evaluation calls it first. A start
  /// looks for the runtime relative to the installation root, tests what it finds there, and
  /// prepares the search path and the arguments of scripts. **Lock**: not held afterwards; the
  /// callbacks can run meanwhile. **Fails**: false when no usable runtime was found, or it refused
  /// to start, or is up already through somebody else; nothing is reported, and LastError tells
  /// why. The process lives, and a later call tries again.
  bool Init() override;
  /// Stops the runtime, and with it ends all that scripts left in it. Waits for evaluations that
  /// run and for the scripts' threads that are no daemons. Any thread may stop, whichever started.
  /// Script code that runs during the stop may call back into the host. **Lock**: taken; not held
  /// afterwards. **Fails**: true when the object is stopped afterwards, also when it never was
  /// started; false at once from inside an evaluation, a callback or an observer, and on the
  /// threads of scripts, whether they hold the lock or not; false with the runtime up, and
  /// LastError tells why, where it cannot stop.
  bool Close() override;

  // ---- eval/EvalScript.cpp: source text ----

  using zrInterp::EvalScript;
  /// Runs statements in __main__, where the names that they bind stay. The second text is not read.
  /// **Fails**: false when the text raised or did not compile, or there is no runtime.
  bool EvalScript(const zrString& script, const zrString& second) override;
  /// Evaluates an expression (resultName empty), or runs statements and gives the value of the name
  /// that they bound, on top of __main__: what the text binds is dropped.
  /// **Fails**: ok false and an empty value. ok tells whether there was a value, not whether it
  /// could be converted: None is a value and comes as an empty variant. A name that was bound
  /// before the text raised counts as a value, and the error is reported all the same.
  zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok) override;
  /// The same in a named context, where the names that the text binds stay. The context is made if
  /// it does not exist. An empty context means the three-argument form. **Fails**: as that form.
  zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok,
                       const zrString& context) override;
  /// Evaluates the text in __main__ as an expression; if that fails in whatever way, runs the whole
  /// text again as statements, so that what ran before the failure runs twice. Only the second
  /// failure is reported. **Fails**: ok tells whether the text ran to its end.
  zrVariant EvalScript2(const zrString& script, bool& ok) override;

  // ---- eval/EvalFile.cpp: script files ----

  using zrInterp::EvalFile;
  /// Runs a script file in __main__: source, or a compiled file (extension "pyc", or the one beside
  /// a missing "py"). __file__ names it for the length of the run. **Fails**: false when the file
  /// could not be opened or raised. **Form**: the path is UTF-8, and relative to the process's
  /// current directory.
  bool EvalFile(const zrString& file) override;
  /// The same in a named context, which is made if it does not exist, with the context's name as
  /// __name__ when it is made here. The empty text is a name too. **Fails**: as above.
  bool EvalFile(const zrString& file, const zrString& context) override;
  /// Runs the file in new namespaces filled from the maps, and writes the names that the script
  /// left there back into them when it ran to its end. One namespace serves when locals is null or
  /// the same map. Names whose value has no form on the other side are passed over. **Owns**: the
  /// caller keeps the maps, which nobody else may use meanwhile. **Fails**: false when the file
  /// could not be opened or raised; the maps are then as they were.
  virtual bool EvalFile(const zrString& file, zrStlMap<zrString, zrVariant>& globals,
                        zrStlMap<zrString, zrVariant>* locals);

  // ---- eval/Exchange.cpp: single values in and out ----

  /// The value of an expression in __main__.
  /// **Fails**: an empty variant, as for a value that has no host form; LastError tells them apart.
  zrVariant Export(const zrString& expression) override;
  /// The value of an expression in a named context, which is made if it does not exist; in __main__
  /// for an empty context. **Fails**: as above.
  virtual zrVariant Export(const zrString& expression, const zrString& context);
  /// Binds a name in __main__ to a value, replacing what it was bound to.
  /// **Fails**: false when the value has no Python form or the name is no UTF-8.
  bool Import(const zrString& name, const zrVariant& value) override;
  /// The same in a named context, which is made if it does not exist; the empty text is a name too.
  /// **Fails**: as above; the context is made all the same.
  virtual bool Import(const zrString& name, const zrVariant& value, const zrString& context);

  // ---- eval/LastError.cpp: what happened, and stopping it ----

  /// The error that the calling thread's last evaluation reported; where it reported none, that of
  /// the last one on any thread, empty when it ran clean. In a callback, the error that it is
  /// called for. After a start that failed, the kind is "StartError" and the message the reason.
  /// zrLastErrorReport tells more, and of the calling thread alone.
  /// **Threads**: any. **Lock**: none is needed. **Form**: see zrPythonError.
  zrPythonError LastError() const;
  /// Ends the evaluations that run: each raises KeyboardInterrupt at its next line of Python. Code
  /// that waits outside Python (a sleep, a read) raises it when it comes back. An evaluation that
  /// reports its error is left alone, and one that holds locks of an import or of threading raises
  /// it behind them. zrThreadEvaluations does the same for one thread. **Threads**: any, but no
  /// signal handler; also while a stop waits for evaluations. **Lock**: held or not, and not
  /// touched.
  /// **Fails**: false when no evaluation ran.
  bool InterruptScript();

  // ---- trace/Observers.cpp: who is told ----

  /// Registers an observer of trace events; one that is registered already stays so once.
  /// **Owns**: nothing; the observer must be removed before it is destroyed. **Threads**: any, also
  /// during a notification; the observer is told of the running event when its
  /// address lies behind that of the one which is being told.
  void AddObserver(zrxObserver<zrInterpTraceInfo*>& observer) override;
  /// Takes an observer out; one that is not registered is no error. When it returns, no thread is
  /// in a call of the observer any more and none will come, so that it can be destroyed. Called
  /// from inside a notification it returns at once: another thread may then still be in its call.
  /// **Threads**: any. **Lock**: it can wait for calls of this observer, and a thread that holds
  /// the runtime's lock gives it up while it waits.
  void RemoveObserver(zrxObserver<zrInterpTraceInfo*>& observer) override;

  // ---- trace/TraceHook.cpp: from a trace event to the observers ----

  /// Hands one event of the runtime's trace interface to the interpreter that is registered under
  /// the name "python". For the host's own trace function: the library installs none. **Owns**:
  /// borrows both objects. frame is the runtime's frame object, or null; arg is not read.
  /// **Threads**: any; the runtime must be up. **Lock**: held or not; as before afterwards.
  /// **Fails**: always 0.
  static int s_TraceHook(PyObject* frame, zrString event, PyObject* arg);
  /// The same for this interpreter. Tells the observers of the events "line", "call" and "return"
  /// of files outside the installation (but for its tutorials), the runtime and the user's Python
  /// base. **Lock**: given up while observers run. **Fails**: always 0; what an observer throws
  /// passes through, with the lock as it was.
  int TraceHook(PyObject* frame, zrString event, PyObject* arg);

  // ---- trace/Switches.cpp: tracing and debugging on and off ----

  /// All observers are told of events from now on. **Threads**: any.
  void StartTracing() override;
  /// From now on only the observer with the lowest address is told of an event; a walk that runs
  /// ends behind the observer that is being called. **Threads**: any, also from an observer.
  void StopTracing() override;
  /// Installs the framework's debug traps and starts tracing, unless debugging is on already.
  /// **Threads**: one at a time.
  void StartDebugging() override;
  /// Stops tracing, whoever started it, and takes the traps out, unless debugging is off.
  /// **Threads**: one at a time.
  void StopDebugging() override;

 protected:
  // ---- core/zrInterpPython.cpp: the object ----

  /// For derived classes and the creator. arguments become sys.argv, all of them; home is the
  /// installation root, user the user's directory or empty, exit may be null. **Owns**: all texts
  /// are copied. Nothing of the runtime, the environment or the disk is touched.
  zrInterpPython(const zrStlVector<zrString>& arguments, const zrString& home, ExitFn exit,
                 const zrString& user);
  /// The same without arguments.
  zrInterpPython(const zrString& home, ExitFn exit, const zrString& user);
  /// The same from the arguments of main. A count below 1 means none; the vector is then not read.
  zrInterpPython(int count, char** const arguments, const zrString& home, ExitFn exit,
                 const zrString& user);

  // ---- trace/Observers.cpp: who is told ----

  /// Calls the observers by ascending address, and ends the walk when tracing is off after a call.
  /// **Threads**: any. **Lock**: not held.
  void NotifyObservers(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override;

  // ---- trace/Switches.cpp: tracing and debugging on and off ----

  /// The framework's own. **Fails**: as it says; StartDebugging goes on all the same.
  bool InstallDebugTraps() override;
  /// The framework's own. **Fails**: as it says; StopDebugging goes on all the same.
  bool UninstallDebugTraps() override;

 private:
  friend class zrPythonInterpCreator;
  friend class zrpy::Companion;
  friend class zrpy::Entry;
  friend class zrpy::LastErrors;
  friend class zrpy::ObserverWalk;

  using Observer = zrxObserver<zrInterpTraceInfo*>;
  using Handler = void (Observer::*)(const zrxNotifierEvent<zrInterpTraceInfo*>&);

  // ---- core/zrInterpPython.cpp: the object ----

  // In the copy constructor's place, so that nothing is copied from a zrInterp. Never called.
  explicit zrInterpPython(const zrInterp& other);
  zrInterpPython& operator=(const zrInterp& other);

  // ---- core/StartStop.cpp: the runtime comes up and goes down ----

  zrString start();
  bool stop();
  void finish();
  bool noteRefusal(const zrString& refusal);
  void settlePaths();
  static std::uint64_t NewPathsNumber();

  // ---- core/ScriptEnvironment.cpp: what a start prepares for scripts ----

  void setUserBase() const;
  void extendSearchPath();
  void setArguments() const;

  // ---- convert/Conversions.cpp: values, both ways ----

  bool ConvertPyObjectToVariant(zrVariant& out, PyObject*& object);
  bool ConvertVariantToPyObject(PyObject*& object, const zrVariant& value);

  // ---- eval/Exceptions.cpp: what scripts raise ----

  void handleExceptions();

  // ---- eval/LastError.cpp: what happened, and stopping it ----

  void setLastError(const zrPythonError* error);  // null: the evaluation ran clean

  // ---- eval/RunFile.cpp: one script file ----

  bool RunFile(const zrString& file, PyObject* globals, PyObject* locals);

  // ---- trace/TraceHook.cpp: one event of the runtime ----

  void sendEvent(PyObject* frame, zrString& event);  // takes the event's text over

  // Ascending by address. Not owned.
  zrStlMap<Observer*, Handler> observers_;
  AlertFn alertFn_ = nullptr;
  ExitFn exitFn_ = nullptr;
  PyThreadState* mainThreadState_ = nullptr;  // the runtime's
  zrStlVector<zrString> args_;
  zrString homePath_;                       // backslashes after the first Init
  zrString userPath_;                       // as given
  zrString pythonPath_;                     // set by each start; backslashes after Init
  std::uint64_t paths_ = NewPathsNumber();  // another one whenever homePath_ or pythonPath_ changed

  std::atomic<bool> startIsOver_{false};  // its own evaluations are not there to be interrupted

  const std::shared_ptr<zrpy::LastErrors> lastErrors_;  // never null
  const std::shared_ptr<zrpy::ObserverWalks> walks_;    // never null
  std::shared_ptr<zrpy::Companion> companion_;          // of a room above, or none
};
