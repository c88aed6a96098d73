# How everything here is compiled: zr_compile_options(target) gives a target of ours the language
# level, the warnings and the sanitizers. Nothing of it reaches whoever links to the library.
if(ZR_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# The small functions of one room stand in the loops of another.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT ZR_SANITIZE AND NOT WIN32)
  include(CheckIPOSupported)
  check_ipo_supported(RESULT ZR_HAS_IPO OUTPUT ZR_IPO_OUTPUT LANGUAGES CXX)
endif()

function(zr_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  # Not what the compiler takes by itself: C++20 deprecates calls that C++17 has no others for.
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(ZR_HAS_IPO)
    set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
  endif()
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /utf-8 /permissive- $<$<BOOL:${ZR_WARNINGS_ARE_ERRORS}>:/WX>)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wundef
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # What the library exports it also calls, a record's constructor at each event say: those calls
    # go straight to it and not to whatever else in the process bears the name, as with clang.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-fno-semantic-interposition>
    # A CPython that is newer than the sources know is a warning in any case.
    "$<$<BOOL:${ZR_WARNINGS_ARE_ERRORS}>:-Werror;-Wno-error=cpp>")
  if(ZR_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${ZR_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${ZR_SANITIZE})
  endif()
endfunction()
