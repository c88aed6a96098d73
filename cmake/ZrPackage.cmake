# Packages of the installed library: on Windows a ZIP of all, by `cpack`; elsewhere Debian's, one to run
# with and one to build with, by `cpack -G DEB` in the build folder, configured with
# -DCMAKE_INSTALL_PREFIX=/usr.
set(CPACK_PACKAGE_NAME zrpythoninterp)
set(CPACK_PACKAGE_VENDOR "zrpythoninterp developers")
set(CPACK_PACKAGE_CONTACT "developers@zrpythoninterp.example")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL runtime development)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzrpythoninterp${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzrpythoninterp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libzrpythoninterp${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
include(CPack)
