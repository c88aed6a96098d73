#pragma once

#include <zrpythoninterp/core/zrCallbacks.h>
#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrIInterpCreator.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

class zrInterp;

/// Makes Python interpreters for the host's script framework, each from the same arguments.
/// **Threads**: one at a time. **Fails**: std::bad_alloc only.
class ZR_EXPORT zrPythonInterpCreator : public zrIInterpCreator {
 public:
  /// arguments become sys.argv, all of them. home is the installation root, user the user's
  /// directory or empty, exit the callback for scripts that ask the process to end, or null.
  /// **Owns**: all texts are copied. **Form**: UTF-8; paths take both slashes.
  zrPythonInterpCreator(const zrStlVector<zrString>& arguments, const zrString& home, ExitFn exit,
                        const zrString& user);
  /// The same from the arguments of main. A count below 1 means none; the vector is then not read.
  zrPythonInterpCreator(int count, char** const arguments, const zrString& home, ExitFn exit,
                        const zrString& user);
  /// Copies what interpreters are made from.
  zrPythonInterpCreator(const zrPythonInterpCreator& other);
  /// Copies what interpreters are made from; those that exist stay as they are.
  zrPythonInterpCreator& operator=(const zrPythonInterpCreator& other);
  ~zrPythonInterpCreator() override;

  /// A new zrInterpPython, with no alert callback and no runtime started.
  /// **Owns**: the caller owns it and deletes it through zrInterp*; it may outlive the creator.
  zrInterp* Create() override;
  /// Appends "py", "pyc" and "python", the types of file that the interpreter evaluates. Always
  /// true. **Form**: without dots; what the vector held stays.
  bool GetExtensionTypes(zrStlVector<zrString>& types) override;

 private:
  zrStlVector<zrString> args_;
  zrString homePath_;
  ExitFn exitFn_;
  zrString userPath_;
};
