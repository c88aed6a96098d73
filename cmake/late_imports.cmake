# Writes and compiles the table of a target's late imports; see ZrLateRuntime.cmake.
#   cmake -DLIST=<tool that shows symbols> -DCOMPILE=<compiler ... output option> -DOBJECT=...
#         -DTABLE=... -DINCLUDE=... -P late_imports.cmake INPUTS-FILE
math(EXPR last "${CMAKE_ARGC} - 1")
include(${CMAKE_ARGV${last}})

execute_process(COMMAND ${LIST} ${INPUTS} OUTPUT_VARIABLE symbols RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${LIST} failed: ${failed}")
endif()
# What is imported goes through a pointer of this name; the runtime's own names all begin like this.
string(REGEX MATCHALL "__imp__?Py[A-Za-z0-9_]+" names "${symbols}")
string(REGEX REPLACE "__imp_" "" names "${names}")
list(REMOVE_DUPLICATES names)
list(SORT names)

set(pointers "")
set(entries "")
foreach(name IN LISTS names)
  string(APPEND pointers "void* __imp_${name} = reinterpret_cast<void*>(&NotLoaded);\n")
  string(APPEND entries "    {&__imp_${name}, \"${name}\"},\n")
endforeach()
set(text "// Made by the build: what of the runtime this program uses.
#define ZR_STATIC
#include <zrpythoninterp/host/zrLateImports.h>

// What every function answers as long as there is no runtime.
static void* NotLoaded() { return nullptr; }

extern \"C\" {
${pointers}}

static const zrLateImport table[] = {
${entries}    {nullptr, nullptr},
};
static const zrLateImports imports(table);
")
# Compiled anew only when it changed.
set(old "")
if(EXISTS ${TABLE} AND EXISTS ${OBJECT})
  file(READ ${TABLE} old)
endif()
if(NOT old STREQUAL text)
  file(WRITE ${TABLE} "${text}")
  execute_process(COMMAND ${COMPILE}${OBJECT} -I${INCLUDE} ${TABLE}
                  RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${TABLE} does not compile: ${failed}")
  endif()
endif()
