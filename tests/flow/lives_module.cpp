// Three extension modules in one file, each initialised in another way.
#include <zrpythoninterp/core/PyCompat.h>

namespace {

PyObject* Create(PyObject* /*spec*/, PyModuleDef* /*definition*/) {
  return PyModule_New("own_object");
}
int Execute(PyObject* /*module*/) { return 0; }

PyModuleDef_Slot creates[] = {{Py_mod_create, reinterpret_cast<void*>(&Create)}, {0, nullptr}};
PyModuleDef_Slot executes[] = {{Py_mod_exec, reinterpret_cast<void*>(&Execute)}, {0, nullptr}};

// A size of -1 says that the module keeps its state in static memory.
PyModuleDef onePhase = {
    PyModuleDef_HEAD_INIT, "one_phase", "", -1, nullptr, nullptr, nullptr, nullptr, nullptr};
PyModuleDef ownObject = {
    PyModuleDef_HEAD_INIT, "own_object", "", 0, nullptr, creates, nullptr, nullptr, nullptr};
PyModuleDef severalPhases = {
    PyModuleDef_HEAD_INIT, "several_phases", "", 0, nullptr, executes, nullptr, nullptr, nullptr};

}  // namespace

PyMODINIT_FUNC PyInit_one_phase() { return PyModule_Create(&onePhase); }
PyMODINIT_FUNC PyInit_own_object() { return PyModuleDef_Init(&ownObject); }
PyMODINIT_FUNC PyInit_several_phases() { return PyModuleDef_Init(&severalPhases); }
