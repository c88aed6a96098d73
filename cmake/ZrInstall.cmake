# What goes out: the library, its public headers, and the two ways to find them, a CMake package and
# a pkg-config file. Everything in the tree is found relative to itself, so it can be moved.
include(CMakePackageConfigHelpers)

set(ZR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zrpythoninterp)

# The runtime's directory goes along only where the system's loader would not look by itself.
set_target_properties(zrpythoninterp PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)

install(TARGETS zrpythoninterp EXPORT zrpythoninterpTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# Public headers are known by their names; the others stay at home. A framework of another kind
# brings those of the host room itself, all but the one that marks what this library exports.
foreach(room host core convert eval trace talk)
  set(patterns zr*.h ukl*.h)
  if(room STREQUAL "host" AND NOT ZR_HOST STREQUAL "bundled")
    set(patterns zrExport.h)
  endif()
  list(TRANSFORM patterns PREPEND ${PROJECT_SOURCE_DIR}/zrpythoninterp/${room}/)
  file(GLOB headers CONFIGURE_DEPENDS ${patterns})
  if(headers)
    install(FILES ${headers} COMPONENT development
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zrpythoninterp/${room})
  endif()
endforeach()

install(EXPORT zrpythoninterpTargets NAMESPACE zrpythoninterp:: COMPONENT development
  DESTINATION ${ZR_PACKAGE_DIR})
set(ZR_FIND_HOST "")
if(NOT ZR_HOST STREQUAL "bundled")
  set(ZR_FIND_HOST "include(CMakeFindDependencyMacro)\nfind_dependency(${ZR_HOST} CONFIG)\n")
endif()
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/zrpythoninterpConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zrpythoninterpConfig.cmake
  INSTALL_DESTINATION ${ZR_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zrpythoninterpConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zrpythoninterpConfig.cmake
  ${PROJECT_BINARY_DIR}/zrpythoninterpConfigVersion.cmake
  DESTINATION ${ZR_PACKAGE_DIR} COMPONENT development)

# pkg-config knows where its own file lies; the way from there to the prefix is fixed here.
set(ZR_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZR_PC_TO_PREFIX /prefix/${ZR_PC_DIR} /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zrpythoninterp.pc.in
  ${PROJECT_BINARY_DIR}/zrpythoninterp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zrpythoninterp.pc
  DESTINATION ${ZR_PC_DIR} COMPONENT development)
