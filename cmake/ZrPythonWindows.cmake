# A CPython for Windows, by its prefix alone, so that it works on another system too. What the build
# itself runs in Python is then this machine's.
if(NOT WIN32)
  message(FATAL_ERROR "${ZR_PYTHON_PREFIX} is a CPython for Windows: take cmake/mingw-w64.cmake")
endif()
file(STRINGS ${ZR_PYTHON_PREFIX}/include/patchlevel.h lines
     REGEX "define PY_(MAJOR|MINOR|MICRO)_VERSION")
string(REGEX REPLACE "[^0-9;]" "" numbers "${lines}")
list(JOIN numbers . Python3_VERSION)
list(GET numbers 0 Python3_VERSION_MAJOR)
list(GET numbers 1 Python3_VERSION_MINOR)
set(ZR_PYTHON_VERSION ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR})
set(ZR_PYTHON_HOME ${ZR_PYTHON_PREFIX})
message(STATUS "CPython ${Python3_VERSION} for Windows with home ${ZR_PYTHON_HOME}")

if(CMAKE_CROSSCOMPILING)
  find_program(Python3_EXECUTABLE NAMES python3)
else()
  set(Python3_EXECUTABLE ${ZR_PYTHON_PREFIX}/python.exe)
endif()

target_include_directories(zr_python SYSTEM INTERFACE ${ZR_PYTHON_PREFIX}/include)
if(MINGW)
  # The headers know one compiler. MS_WIN64: a Py_ssize_t as wide as a pointer. <math.h> comes ahead of
  # them, as they rename its hypot by a macro.
  target_compile_definitions(zr_python INTERFACE MS_WIN64 MS_WINDOWS)
  target_compile_options(zr_python INTERFACE -include math.h)
endif()
