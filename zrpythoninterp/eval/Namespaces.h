// Where scripts run: the dictionary of __main__, named contexts, and the names in them. Any script
// can take any of them away while it runs, so each is handed out as a reference.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// The module __main__, made if a script took it away. Null with an error pending when that failed.
PyRef MainModule() ZR_REQUIRES_GIL;

// The module's dictionary, under the same terms.
PyRef MainDict() ZR_REQUIRES_GIL;

// The dictionary that __main__ had at the first call in this life of the runtime.
PyRef FirstMainDict() ZR_REQUIRES_GIL;

// What a context that is made now receives, beside the builtins.
enum class Seeding { kBuiltins, kNameAndBuiltins };

// The namespace of a named context, made if it does not exist. Null with an error pending: the name
// is no UTF-8, a script put something else in the place of the contexts, or memory is short.
PyRef FindOrCreateContext(const zrString& name, Seeding seeding) ZR_REQUIRES_GIL;

// The object under a name, or null. Leaves no error pending, and must not be called with one.
PyRef LookUp(PyObject* dict, const zrString& name) ZR_REQUIRES_GIL;

// A new dictionary that holds the builtins only. Null with an error pending.
PyRef NewNamespace() ZR_REQUIRES_GIL;

}  // namespace zrpy
