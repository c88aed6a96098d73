// The order of the virtual interface, which hosts compiled against another copy of the headers
// rely on.
#include <gtest/gtest.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

// Elsewhere pointers to members do not tell the order.
#if defined(__GXX_ABI_VERSION) && (defined(__x86_64__) || defined(__i386__))

namespace {

using Text = const zrString&;
using Value = const zrVariant&;
using Result = zrVariant&;
using Arguments = zrStlVector<zrVariant>&;
using Map = zrStlMap<zrString, zrVariant>;
using Names = zrStlVector<zrString>;
using Watcher = zrxObserver<zrInterpTraceInfo*>;

// In this ABI a pointer to a virtual function holds one more than its offset in the table.
template <typename Function, typename Class>
std::size_t SlotOf(Function Class::*member) {
  std::uintptr_t offset;
  std::memcpy(&offset, &member, sizeof offset);
  return offset % 2 == 1 ? (offset - 1) / sizeof(void*) : SIZE_MAX;
}

// Reaches the protected rows.
struct Table : zrInterpPython {
  using zrInterpPython::InstallDebugTraps;
  using zrInterpPython::NotifyObservers;
  using zrInterpPython::UninstallDebugTraps;
};

#define ROW(name, ...) \
  { #name " " #__VA_ARGS__, SlotOf < __VA_ARGS__>(&Table::name) }

TEST(VirtualTable, HasTheOrderOfTheInterface) {
  const std::pair<const char*, std::size_t> rows[] = {
      ROW(AddObserver, void(Watcher&)),
      ROW(RemoveObserver, void(Watcher&)),
      ROW(NotifyObservers, void(const zrxNotifierEvent<zrInterpTraceInfo*>&)),
      ROW(Init, bool()),
      ROW(Close, bool()),
      ROW(Shell, bool(int, char**)),
      ROW(GetStdExtension, const char*() const),
      ROW(EvalFile, zrVariant(Text, Text, Text)),
      ROW(EvalFile, zrVariant(Text, bool&)),
      ROW(EvalFile, bool(Text, Text)),
      ROW(EvalFile, bool(Text)),
      ROW(EvalScript, zrVariant(Text, Text, Text)),
      ROW(EvalScript, zrVariant(Text, Text, bool&, Text)),
      ROW(EvalScript, zrVariant(Text, Text, bool&)),
      ROW(EvalScript, bool(Text, Text)),
      ROW(EvalScript2, zrVariant(Text, bool&)),
      ROW(EvalScriptInContext, bool(Text, bool)),
      ROW(Interrupt, bool()),
      ROW(Export, zrVariant(Text)),
      ROW(Import, bool(Text, Value)),
      ROW(ExportTo, bool(Text, Value, Text)),
      ROW(ExportTo, bool(Text, Text, Text)),
      ROW(ImportFrom, bool(Text, Text, Text)),
      ROW(InvokeGlobalMethod, bool(Text, Arguments, Result)),
      ROW(InvokeGlobalMethod, bool(Text, Result)),
      ROW(InvokeGlobalMethod, bool(Text, Arguments)),
      ROW(InvokeGlobalMethod, bool(Text)),
      ROW(InvokeStaticMethod, bool(Text, Text, Arguments, Result)),
      ROW(InvokeStaticMethod, bool(Text, Text, Result)),
      ROW(InvokeStaticMethod, bool(Text, Text, Arguments)),
      ROW(InvokeStaticMethod, bool(Text, Text)),
      ROW(InvokeMethod, bool(Text, void*, Text, Arguments, Result)),
      ROW(InvokeMethod, bool(Text, void*, Text, Result)),
      ROW(InvokeMethod, bool(Text, void*, Text, Arguments)),
      ROW(InvokeMethod, bool(Text, void*, Text)),
      ROW(ReportUninitializedGlobals, void(bool)),
      ROW(SetGlobal, bool(Text, Value)),
      ROW(GetGlobal, zrVariant(Text)),
      ROW(SetVariableInContext, bool(Text, Value, bool)),
      ROW(GetVariableInContext, zrVariant(Text, bool)),
      ROW(GetVariablesInContext, Names(bool)),
      ROW(SetAlert, bool(AlertFn)),
      ROW(SaveStack, void()),
      ROW(RestoreStack, void()),
      ROW(GetVariableType, zrString(Text) const),
      ROW(GetFunctionNames, Names() const),
      ROW(GetKeywords, Names() const),
      ROW(GetVariableNames, Names() const),
      ROW(StartTracing, void()),
      ROW(StopTracing, void()),
      ROW(StartDebugging, void()),
      ROW(StopDebugging, void()),
      ROW(AddDebugTrap, void(Text, Text)),
      ROW(RemoveDebugTrap, void(Text, Text)),
      ROW(InstallDebugTraps, bool()),
      ROW(UninstallDebugTraps, bool()),
      ROW(MakeCurrent, void()),
      ROW(EvalFile, bool(Text, Map&, Map*)),
      ROW(Export, zrVariant(Text, Text)),
      ROW(Import, bool(Text, Value, Text)),
  };
  EXPECT_EQ(std::size(rows), 60u);  // and the destructor ahead of them, which has two slots
  std::size_t slot = 2;
  for (const auto& row : rows) EXPECT_EQ(row.second, slot++) << row.first;

  EXPECT_EQ(SlotOf(&Watcher::Notify), 2u);
  EXPECT_EQ(SlotOf(&zrPythonInterpCreator::Create), 2u);
  EXPECT_EQ(SlotOf(&zrPythonInterpCreator::GetExtensionTypes), 3u);
}

}  // namespace

#endif
