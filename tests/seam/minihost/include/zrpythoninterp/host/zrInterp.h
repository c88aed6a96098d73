#pragma once

#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrxNotifier.h>

// No more than a back-end replaces, with flags that are plain.
class zrInterp : public zrxNotifier<zrInterpTraceInfo*> {
 public:
  explicit zrInterp(const zrString& name);
  zrInterp(const zrInterp&) = delete;
  zrInterp& operator=(const zrInterp&) = delete;
  ~zrInterp() override;

  static zrInterp* Find(const zrString& name);

  virtual bool Init() = 0;
  virtual bool Close() = 0;
  virtual const char* GetStdExtension() const = 0;
  virtual bool EvalFile(const zrString& file, const zrString& context) = 0;
  virtual bool EvalFile(const zrString& file) = 0;
  virtual zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok,
                               const zrString& context) = 0;
  virtual zrVariant EvalScript(const zrString& script, const zrString& resultName, bool& ok) = 0;
  virtual bool EvalScript(const zrString& script, const zrString& second) = 0;
  virtual zrVariant EvalScript2(const zrString& script, bool& ok) = 0;
  virtual zrVariant Export(const zrString& name) = 0;
  virtual bool Import(const zrString& name, const zrVariant& value) = 0;
  virtual bool InvokeGlobalMethod(const zrString& method, zrStlVector<zrVariant>& arguments,
                                  zrVariant& result) = 0;
  virtual bool InvokeStaticMethod(const zrString& type, const zrString& method,
                                  zrStlVector<zrVariant>& arguments, zrVariant& result) = 0;
  virtual bool InvokeMethod(const zrString& type, void* object, const zrString& method,
                            zrStlVector<zrVariant>& arguments, zrVariant& result) = 0;
  virtual bool SetGlobal(const zrString& name, const zrVariant& value) = 0;
  virtual zrVariant GetGlobal(const zrString& name) = 0;
  virtual bool SetAlert(bool (*alert)(const zrString&)) = 0;
  virtual void StartTracing() = 0;
  virtual void StopTracing() = 0;
  virtual void StartDebugging() = 0;
  virtual void StopDebugging() = 0;

 protected:
  virtual bool InstallDebugTraps();
  virtual bool UninstallDebugTraps();

  bool initialized_ = false;
  bool tracing_ = false;
  bool debugging_ = false;
  static zrStlMap<zrString, zrInterp*> interpMap_;

 private:
  const zrString name_;
};
