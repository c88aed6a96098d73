# The CPython to build against, as the target zr_python. Its headers count as the system's, so that
# their warnings are not ours. A prefix for Windows has its headers in include/ and its library beside
# python.exe; nothing in it is run to find out about it.
add_library(zr_python INTERFACE)
# The name of a home's folder in installations.
if(APPLE)
  set(ZR_PLATFORM macos64)
elseif(WIN32)
  set(ZR_PLATFORM win64)
else()
  set(ZR_PLATFORM linux64)
endif()
if(ZR_PYTHON_PREFIX AND EXISTS ${ZR_PYTHON_PREFIX}/include/patchlevel.h)
  include(ZrPythonWindows)
else()
  if(ZR_PYTHON_PREFIX)
    set(Python3_ROOT_DIR ${ZR_PYTHON_PREFIX})
    set(Python3_FIND_STRATEGY LOCATION)
    set(Python3_EXECUTABLE ${ZR_PYTHON_PREFIX}/bin/python3)
    # CMake before 3.30 does not find those of a free-threaded build by itself.
    execute_process(
      COMMAND ${Python3_EXECUTABLE} -c "import sysconfig as s; v = s.get_config_var; \
v('Py_GIL_DISABLED') and print(v('LIBDIR') + '/' + v('LDLIBRARY'), s.get_path('include'), sep=';')"
      OUTPUT_VARIABLE free_threaded OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(free_threaded)
      list(GET free_threaded 0 Python3_LIBRARY)
      list(GET free_threaded 1 Python3_INCLUDE_DIR)
    endif()
  endif()
  find_package(Python3 3.5 REQUIRED COMPONENTS Interpreter Development)
  set(ZR_PYTHON_VERSION ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR})
  # The directory that a runtime home is: what holds lib/pythonX.Y.
  execute_process(COMMAND ${Python3_EXECUTABLE} -c "import sys; print(sys.base_prefix)"
                  OUTPUT_VARIABLE ZR_PYTHON_HOME OUTPUT_STRIP_TRAILING_WHITESPACE)
  message(STATUS "CPython ${Python3_VERSION} with home ${ZR_PYTHON_HOME}")
  # The search goes on elsewhere when this CPython lacks a part of what is looked for.
  get_filename_component(home ${ZR_PYTHON_HOME} REALPATH)
  foreach(found ${Python3_INCLUDE_DIRS} ${Python3_LIBRARIES})
    get_filename_component(real ${found} REALPATH)
    string(FIND ${real} ${home}/ at)
    if(NOT at EQUAL 0)
      message(FATAL_ERROR "The CPython in ${ZR_PYTHON_HOME} cannot be built against: it lacks its headers "
                          "or its shared library (found instead: ${found})")
    endif()
  endforeach()
  target_include_directories(zr_python SYSTEM INTERFACE ${Python3_INCLUDE_DIRS})
  target_link_libraries(zr_python INTERFACE ${Python3_LIBRARIES} ${CMAKE_DL_LIBS})
  # A debug build's headers can be links to the release's, beside a pyconfig.h of their own: g++ would
  # follow the links and find the other one there.
  target_compile_options(zr_python INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-fno-canonical-system-headers>)
endif()
include(ZrLateRuntime)
