// zrInterp: the registry of interpreters by name, and the operations that no back-end need
// replace. Private: the registry's lock. Test: tests/host/zrInterp_test.cpp.

#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/zrInterp.h>

namespace {

zrpy::Mutex& registryMutex = *new zrpy::Mutex;  // for writers; see interpMap_

}  // namespace

zrStlMap<zrString, zrInterp*> zrInterp::interpMap_;

zrInterp::zrInterp(const zrString& name) : name_(name) {
  const std::lock_guard<zrpy::Mutex> lock(registryMutex);
  zrInterp*& newest = interpMap_[name_];
  earlier_ = newest;
  newest = this;
}

zrInterp::~zrInterp() {
  const std::lock_guard<zrpy::Mutex> lock(registryMutex);
  const auto entry = interpMap_.find(name_);
  if (entry == interpMap_.end()) return;
  // The live ones of a name are chained from the newest on; any of them can be the one to go.
  for (zrInterp** link = &entry->second; *link != nullptr; link = &(*link)->earlier_) {
    if (*link != this) continue;
    *link = earlier_;
    break;
  }
  if (entry->second == nullptr) interpMap_.erase(entry);
}

bool zrInterp::Shell(int, char** const) { return false; }

zrVariant zrInterp::EvalFile(const zrString&, const zrString&, const zrString&) { return {}; }

zrVariant zrInterp::EvalFile(const zrString&, bool& ok) {
  ok = false;
  return {};
}

zrVariant zrInterp::EvalScript(const zrString&, const zrString&, const zrString&) { return {}; }

bool zrInterp::EvalScriptInContext(const zrString&, bool) { return false; }

bool zrInterp::Interrupt() { return false; }

bool zrInterp::ExportTo(const zrString&, const zrVariant&, const zrString&) { return false; }

bool zrInterp::ExportTo(const zrString&, const zrString&, const zrString&) { return false; }

bool zrInterp::ImportFrom(const zrString&, const zrString&, const zrString&) { return false; }

bool zrInterp::InvokeGlobalMethod(const zrString&, zrVariant&) { return false; }

bool zrInterp::InvokeGlobalMethod(const zrString&, zrStlVector<zrVariant>&) { return false; }

bool zrInterp::InvokeGlobalMethod(const zrString&) { return false; }

bool zrInterp::InvokeStaticMethod(const zrString&, const zrString&, zrVariant&) { return false; }

bool zrInterp::InvokeStaticMethod(const zrString&, const zrString&, zrStlVector<zrVariant>&) {
  return false;
}

bool zrInterp::InvokeStaticMethod(const zrString&, const zrString&) { return false; }

bool zrInterp::InvokeMethod(const zrString&, void*, const zrString&, zrVariant&) { return false; }

bool zrInterp::InvokeMethod(const zrString&, void*, const zrString&, zrStlVector<zrVariant>&) {
  return false;
}

bool zrInterp::InvokeMethod(const zrString&, void*, const zrString&) { return false; }

void zrInterp::ReportUninitializedGlobals(bool) {}

bool zrInterp::SetVariableInContext(const zrString&, const zrVariant&, bool) { return false; }

zrVariant zrInterp::GetVariableInContext(const zrString&, bool) { return {}; }

zrStlVector<zrString> zrInterp::GetVariablesInContext(bool) { return {}; }

void zrInterp::SaveStack() {}

void zrInterp::RestoreStack() {}

std::string zrInterp::GetVariableType(const std::string&) const { return {}; }

std::vector<std::string> zrInterp::GetFunctionNames() const { return {}; }

std::vector<std::string> zrInterp::GetKeywords() const { return {}; }

std::vector<std::string> zrInterp::GetVariableNames() const { return {}; }

void zrInterp::AddDebugTrap(const zrString&, const zrString&) {}

void zrInterp::RemoveDebugTrap(const zrString&, const zrString&) {}

bool zrInterp::InstallDebugTraps() { return true; }

bool zrInterp::UninstallDebugTraps() { return true; }

void zrInterp::MakeCurrent() {}
