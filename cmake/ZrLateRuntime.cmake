# zr_late_runtime(target [archive...]): on Windows the runtime's library lies in its home, where the
# system's loader does not look, so no program of ours names it as an import. Each asks for it late:
# what its objects (and those of the named static libraries of ours) use of the runtime is listed
# just ahead of the link, and a table of addresses is compiled and linked to it, which the start
# fills. See host/LateImports.h. Nothing elsewhere.
set(ZR_LATE_RUNTIME_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/late_imports.cmake)
get_filename_component(ZR_LATE_RUNTIME_INCLUDE ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)

function(zr_late_runtime target)
  if(NOT WIN32)
    return()
  endif()
  set(table ${CMAKE_CURRENT_BINARY_DIR}/${target}_late)
  set(inputs "$<TARGET_OBJECTS:${target}>")
  foreach(archive ${ARGN})
    list(APPEND inputs "$<TARGET_OBJECTS:${archive}>")
  endforeach()
  # A command line would be too long for the names of all objects.
  file(GENERATE OUTPUT ${table}.inputs.cmake CONTENT "set(INPUTS \"${inputs}\")\n")
  if(MSVC)
    get_filename_component(tools ${CMAKE_CXX_COMPILER} DIRECTORY)
    set(list_symbols ${tools}/dumpbin.exe /SYMBOLS)
    set(compile ${CMAKE_CXX_COMPILER} /nologo /std:c++17 /c /Fo)
    set(object ${table}.obj)
    target_link_options(${target} PRIVATE ${object})
  else()
    set(list_symbols ${CMAKE_NM})
    set(compile ${CMAKE_CXX_COMPILER} -std=c++17 -c)
    if(CMAKE_CXX_COMPILER_TARGET)
      list(APPEND compile --target=${CMAKE_CXX_COMPILER_TARGET})
    endif()
    list(APPEND compile -o)
    set(object ${table}.o)
    target_link_options(${target} PRIVATE -Wl,${object})
  endif()
  add_custom_command(TARGET ${target} PRE_LINK VERBATIM
    COMMAND ${CMAKE_COMMAND} "-DLIST=${list_symbols}" "-DCOMPILE=${compile}" -DOBJECT=${object}
      -DTABLE=${table}.cpp -DINCLUDE=${ZR_LATE_RUNTIME_INCLUDE} -P ${ZR_LATE_RUNTIME_SCRIPT}
      ${table}.inputs.cmake)
endfunction()
