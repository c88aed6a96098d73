#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrxNotifier.h>

#include <atomic>
#include <string>
#include <vector>

/// A script interpreter of any language. A back-end derives from it and replaces what its language
/// can do; the operations with a body here give their failure result, touch no argument but an
/// `ok` flag, and are safe on any thread.
///
/// The order of the virtual operations is part of the interface.
/// **Owns**: whoever made an interpreter deletes it, through zrInterp* if need be.
/// **Threads**, **Lock**: interpreters are built, started, stopped and destroyed on one thread at
/// a time and not while traced code runs; a back-end tells the rest.
/// **Fails**: by results and flags; only std::bad_alloc is thrown.
class ZR_EXPORT zrInterp : public zrxNotifier<zrInterpTraceInfo*> {
 public:
  /// Enters the interpreter under its name, where it hides an earlier one until it is destroyed.
  explicit zrInterp(const zrString& name);
  zrInterp(const zrInterp&) = delete;
  zrInterp& operator=(const zrInterp&) = delete;
  /// Takes the interpreter out; the newest earlier one of the name is then found again.
  ~zrInterp() override;

  /// Starts the interpreter if need be. Gives whether it is started.
  virtual bool Init() = 0;
  /// Stops the interpreter if need be. Gives whether it is stopped.
  virtual bool Close() = 0;
  /// Would run a dialogue with the user on these arguments. **Fails**: false.
  virtual bool Shell(int count, char** const arguments);
  /// The usual file type of the language, without a dot. **Owns**: static.
  virtual const char* GetStdExtension() const = 0;

  /// Would run a file and give a value that it left. **Fails**: an empty value.
  virtual zrVariant EvalFile(const zrString& file, const zrString& resultName,
                             const zrString& context);
  /// Would run a file and give its value. **Fails**: an empty value, ok false.
  virtual zrVariant EvalFile(const zrString& file, bool& ok);
  /// Runs a file in a named context. Gives whether it ran to its end.
  virtual bool EvalFile(const zrString& file, const zrString& context) = 0;
  /// Runs a file in the main namespace. Gives whether it ran to its end.
  virtual bool EvalFile(const zrString& file) = 0;
  /// Would run source text in a context and give a value. **Fails**: an empty value.
  virtual zrVariant EvalScript(const zrString& script, const zrString& resultName,
                               const zrString& context);
  /// Runs source text in a named context and gives the value under resultName. **Fails**: ok false.
  virtual zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok,
                               const zrString& context) = 0;
  /// Runs source text in the main namespace and gives the value under resultName. **Fails**: ok
  /// false.
  virtual zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok) = 0;
  /// Runs source text. Gives whether it ran to its end.
  virtual bool EvalScript(const zrString& script, const zrString& context) = 0;
  /// Runs source text as an expression or as statements and gives its value. **Fails**: ok false.
  virtual zrVariant EvalScript2(const zrString& script, bool& ok) = 0;
  /// Would run source text in the current context. **Fails**: false.
  virtual bool EvalScriptInContext(const zrString& script, bool global);
  /// Would stop running scripts. **Fails**: false.
  virtual bool Interrupt();

  /// The value of a variable, out of the scripts. **Fails**: an empty value.
  virtual zrVariant Export(const zrString& name) = 0;
  /// Sets a variable of the scripts. Gives whether it was set.
  virtual bool Import(const zrString& name, const zrVariant& value) = 0;
  /// Would set a variable of another interpreter to a value. **Fails**: false.
  virtual bool ExportTo(const zrString& interp, const zrVariant& value, const zrString& name);
  /// Would copy a variable to another interpreter. **Fails**: false.
  virtual bool ExportTo(const zrString& interp, const zrString& name, const zrString& newName);
  /// Would copy a variable from another interpreter. **Fails**: false.
  virtual bool ImportFrom(const zrString& interp, const zrString& name, const zrString& newName);

  /// Calls a function with arguments and takes its result. **Fails**: false, result as it was.
  virtual bool InvokeGlobalMethod(const zrString& method, zrStlVector<zrVariant>& arguments,
                                  zrVariant& result) = 0;
  /// The same without arguments. **Fails**: false, result as it was.
  virtual bool InvokeGlobalMethod(const zrString& method, zrVariant& result);
  /// The same without a result. **Fails**: false.
  virtual bool InvokeGlobalMethod(const zrString& method, zrStlVector<zrVariant>& arguments);
  /// The same without either. **Fails**: false.
  virtual bool InvokeGlobalMethod(const zrString& method);
  /// Calls a function of a class with arguments and takes its result. **Fails**: false, result as
  /// it was.
  virtual bool InvokeStaticMethod(const zrString& type, const zrString& method,
                                  zrStlVector<zrVariant>& arguments, zrVariant& result) = 0;
  /// The same without arguments. **Fails**: false, result as it was.
  virtual bool InvokeStaticMethod(const zrString& type, const zrString& method, zrVariant& result);
  /// The same without a result. **Fails**: false.
  virtual bool InvokeStaticMethod(const zrString& type, const zrString& method,
                                  zrStlVector<zrVariant>& arguments);
  /// The same without either. **Fails**: false.
  virtual bool InvokeStaticMethod(const zrString& type, const zrString& method);
  /// Calls a function of an object with arguments and takes its result. **Owns**: the caller keeps
  /// the object. **Fails**: false, result as it was.
  virtual bool InvokeMethod(const zrString& type, void* object, const zrString& method,
                            zrStlVector<zrVariant>& arguments, zrVariant& result) = 0;
  /// The same without arguments. **Fails**: false, result as it was.
  virtual bool InvokeMethod(const zrString& type, void* object, const zrString& method,
                            zrVariant& result);
  /// The same without a result. **Fails**: false.
  virtual bool InvokeMethod(const zrString& type, void* object, const zrString& method,
                            zrStlVector<zrVariant>& arguments);
  /// The same without either. **Fails**: false.
  virtual bool InvokeMethod(const zrString& type, void* object, const zrString& method);

  /// Would switch the report of variables that are read before they are set. **Fails**: nothing.
  virtual void ReportUninitializedGlobals(bool report);
  /// Sets a global variable. **Fails**: false.
  virtual bool SetGlobal(const zrString& name, const zrVariant& value) = 0;
  /// The value of a global variable. **Fails**: an empty value.
  virtual zrVariant GetGlobal(const zrString& name) = 0;
  /// Would set a variable of the current context. **Fails**: false.
  virtual bool SetVariableInContext(const zrString& name, const zrVariant& value, bool global);
  /// Would give a variable of the current context. **Fails**: an empty value.
  virtual zrVariant GetVariableInContext(const zrString& name, bool global);
  /// Would name the variables of the current context. **Fails**: an empty list.
  virtual zrStlVector<zrString> GetVariablesInContext(bool global);
  /// Sets the callback that receives the texts of errors; null takes it away.
  virtual bool SetAlert(bool (*alert)(const zrString&)) = 0;
  /// Would put the running scripts' state aside. **Fails**: nothing happens.
  virtual void SaveStack();
  /// Would take the state back. **Fails**: nothing happens.
  virtual void RestoreStack();
  /// Would name a variable's type. **Fails**: an empty string.
  virtual std::string GetVariableType(const std::string& name) const;
  /// Would name the functions that scripts can call. **Fails**: an empty list.
  virtual std::vector<std::string> GetFunctionNames() const;
  /// Would name the words of the language. **Fails**: an empty list.
  virtual std::vector<std::string> GetKeywords() const;
  /// Would name the variables that scripts can read. **Fails**: an empty list.
  virtual std::vector<std::string> GetVariableNames() const;

  /// Lets events reach all observers.
  virtual void StartTracing() = 0;
  /// Ends what StartTracing began.
  virtual void StopTracing() = 0;
  /// Installs the debug traps and starts tracing.
  virtual void StartDebugging() = 0;
  /// Ends what StartDebugging began.
  virtual void StopDebugging() = 0;
  /// Would add a place where scripts stop. **Fails**: nothing happens.
  virtual void AddDebugTrap(const zrString& file, const zrString& place);
  /// Would remove such a place. **Fails**: nothing happens.
  virtual void RemoveDebugTrap(const zrString& file, const zrString& place);

 protected:
  /// Puts the debug traps in. There are none, so they are in: true.
  virtual bool InstallDebugTraps();
  /// Takes the debug traps out. There are none, so they are out: true.
  virtual bool UninstallDebugTraps();

 public:
  /// Would make this the interpreter that scripts address. **Fails**: nothing happens.
  virtual void MakeCurrent();

 protected:
  // The flags are atomic because the host flips them on one thread while scripts are traced on
  // others; with a framework that has them as plain bool, the same source compiles.
  std::atomic<bool> initialized_{false};  ///< This interpreter is started.
  std::atomic<bool> tracing_{false};      ///< Events reach all observers.
  std::atomic<bool> debugging_{false};    ///< StartDebugging has run, StopDebugging not since.

  /// The newest live interpreter of each name. **Owns**: nothing. **Lock**: written by the
  /// constructor and the destructor under a lock of their own; lookups take none, since no
  /// interpreter comes or goes while they can happen.
  static zrStlMap<zrString, zrInterp*> interpMap_;

 private:
  const zrString name_;
  zrInterp* earlier_ = nullptr;  // the live one of this name that this one hides
};
