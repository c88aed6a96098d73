// The runtime's library, loaded from its home, and the tables of those who use it. Private: the
// list of the tables. Test: tests/core/StartStop_test.cpp.

#include <windows.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/zrLateImports.h>
#include <zrpythoninterp/host/zrWString.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace zrpy {
namespace {

// Tables come and go with the programs' libraries, so this is there ahead of all and stays.
struct Tables {
  std::mutex mutex;
  std::vector<const zrLateImport*> all;
  HMODULE library = nullptr;  // once loaded it stays
};

Tables& TheTables() {
  static Tables& tables = *new Tables;
  return tables;
}

// False when the library lacks something; the table then stays as it was.
bool Fill(HMODULE library, const zrLateImport* table) {
  for (const zrLateImport* entry = table; entry->name != nullptr; ++entry) {
    if (GetProcAddress(library, entry->name) == nullptr) return false;
  }
  for (const zrLateImport* entry = table; entry->name != nullptr; ++entry) {
    *entry->address = reinterpret_cast<void*>(GetProcAddress(library, entry->name));
  }
  return true;
}

}  // namespace

// One that the host has brought along comes first: two runtimes in one process would be worse than
// the wrong one. Then that of the home, with what lies beside it, then what the system finds.
bool LoadRuntime(const zrString& directory, const zrString& name) {
  Tables& tables = TheTables();
  const std::lock_guard<std::mutex> lock(tables.mutex);
  if (tables.library != nullptr) return true;
  const zrWString file(name + ".dll");
  HMODULE library = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, file.c_str(), &library);
  if (library == nullptr) {
    library = LoadLibraryExW(SystemPath(directory + "\\" + name + ".dll").c_str(), nullptr,
                             LOAD_WITH_ALTERED_SEARCH_PATH);
  }
  if (library == nullptr) library = LoadLibraryW(file.c_str());
  if (library == nullptr ||
      !std::all_of(tables.all.begin(), tables.all.end(),
                   [library](const zrLateImport* table) { return Fill(library, table); })) {
    return false;
  }
  tables.library = library;
  return true;
}

}  // namespace zrpy

zrLateImports::zrLateImports(const zrLateImport* table) : table_(table) {
  zrpy::Tables& tables = zrpy::TheTables();
  const std::lock_guard<std::mutex> lock(tables.mutex);
  tables.all.push_back(table);
  if (tables.library != nullptr) zrpy::Fill(tables.library, table);
}

zrLateImports::~zrLateImports() {
  zrpy::Tables& tables = zrpy::TheTables();
  const std::lock_guard<std::mutex> lock(tables.mutex);
  tables.all.erase(std::remove(tables.all.begin(), tables.all.end(), table_), tables.all.end());
}
