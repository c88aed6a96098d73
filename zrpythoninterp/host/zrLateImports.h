#pragma once

#include <zrpythoninterp/host/zrExport.h>

/// Windows alone, for the tables that the build makes. A library that lies where the system's
/// loader does not look cannot be an import of a program that is to start without it. What the
/// program uses of it then goes through pointers of its own, under the names that the linker looks
/// for, and is found when the library was loaded.

/// One function or variable of the library: the pointer through which the program reaches it, and
/// its name there.
struct zrLateImport {
  /// The pointer, which whoever uses the name reads.
  void** address;
  /// As the library exports it. **Owns**: static.
  const char* name;
};

/// The table of one program or library, which ends with a null entry and outlives this object. The
/// pointers are filled at once when the library is there already, else when it is loaded.
/// **Threads**: any.
class ZR_EXPORT zrLateImports {
 public:
  /// Enters the table. **Owns**: borrows it.
  explicit zrLateImports(const zrLateImport* table);
  /// Takes the table out; what was filled stays.
  ~zrLateImports();
  zrLateImports(const zrLateImports&) = delete;
  zrLateImports& operator=(const zrLateImports&) = delete;

 private:
  const zrLateImport* table_;
};
