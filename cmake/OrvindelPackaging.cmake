# Installed files besides the libraries and the tool (which install from their
# own directories): the public headers, the CMake package and the pkg-config
# file (Development component), and the Debian packages built with CPack from
# the three components Runtime, Development and Tools.

# ---- public headers --------------------------------------------------------------
# One include subdirectory; the headers include each other by plain name, so
# consumers put that directory on their include path (the imported target
# and the pkg-config file do).
# orvindel_params.h (the parameters' identities and enumeration constants)
# is generated from the applet's tables.
add_executable(mkparams ${CMAKE_SOURCE_DIR}/applet/params/mkparams.cpp)
target_include_directories(mkparams PRIVATE ${CMAKE_SOURCE_DIR}/applet)
set(ORV_PARAMS_HEADER ${CMAKE_BINARY_DIR}/include/orvindel_params.h)
add_custom_command(
  OUTPUT ${ORV_PARAMS_HEADER}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/include
  COMMAND mkparams ${ORV_PARAMS_HEADER}
  DEPENDS mkparams ${CMAKE_SOURCE_DIR}/applet/sdk_params.def ${CMAKE_SOURCE_DIR}/applet/enums.def
  COMMENT "Generating orvindel_params.h"
  VERBATIM)
add_custom_target(orvindel_params_header ALL DEPENDS ${ORV_PARAMS_HEADER})

add_library(orv_headers INTERFACE)
set_target_properties(orv_headers PROPERTIES EXPORT_NAME headers)
add_dependencies(orv_headers orvindel_params_header)
target_include_directories(orv_headers INTERFACE
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/include>
  $<INSTALL_INTERFACE:${ORV_INSTALL_INCLUDEDIR}>)
install(TARGETS orv_headers EXPORT OrvindelTargets)
install(FILES
  ${CMAKE_SOURCE_DIR}/include/fg_types.h
  ${CMAKE_SOURCE_DIR}/include/fg_applet.h
  ${CMAKE_SOURCE_DIR}/include/fg_platform.h
  ${CMAKE_SOURCE_DIR}/include/sim_board.h
  ${ORV_PARAMS_HEADER}
  DESTINATION ${ORV_INSTALL_INCLUDEDIR} COMPONENT Development)

# ---- CMake package: find_package(Orvindel) ---------------------------------------------
# The imported targets' names also exist in the build tree, so that a program
# links the same names built here and against an installation.
foreach(target talrun5 tervikhap tervikregio)
  add_library(Orvindel::${target} ALIAS ${target})
endforeach()
add_library(Orvindel::headers ALIAS orv_headers)
include(CMakePackageConfigHelpers)
install(EXPORT OrvindelTargets NAMESPACE Orvindel::
  DESTINATION ${ORV_INSTALL_CMAKEDIR} COMPONENT Development)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/OrvindelConfig.cmake.in
  ${CMAKE_BINARY_DIR}/OrvindelConfig.cmake
  INSTALL_DESTINATION ${ORV_INSTALL_CMAKEDIR}
  PATH_VARS ORV_INSTALL_INCLUDEDIR ORV_INSTALL_APPLETDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/OrvindelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/OrvindelConfig.cmake ${CMAKE_BINARY_DIR}/OrvindelConfigVersion.cmake
  DESTINATION ${ORV_INSTALL_CMAKEDIR} COMPONENT Development)

# ---- pkg-config: orvindel.pc -------------------------------------------------------------
# The prefix is found from the file's own place, so a moved prefix still works.
file(RELATIVE_PATH ORV_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ORV_PC_TO_PREFIX "${ORV_PC_TO_PREFIX}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/orvindel.pc.in ${CMAKE_BINARY_DIR}/orvindel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/orvindel.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# ---- Debian packages: cpack -G DEB (the `package` target) ---------------------------------
#   orvindel-runtime  the applet and the simulated platform's libraries
#   orvindel-dev      headers, CMake package, pkg-config file
#   orvindel-tools    appletctl with its manual page and completion
set(ORV_PACKAGE_MAINTAINER "Orvindel developers <orvindel@example.com>" CACHE STRING
    "Maintainer named in the Debian packages")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvindel)
set(CPACK_PACKAGE_VENDOR "Orvindel developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Runtime Development Tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ORV_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Library dependencies from dpkg-shlibdeps; between the three packages from
# the component dependencies (same version).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${ORV_LIB_DIR} ${ORV_HOST_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS Runtime)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME orvindel-runtime)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The libraries are in the loader's own directory: its cache is refreshed by
# trigger (the package's sonames carry no version, so there is no shlibs file).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/runtime/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Orvindel acquisition applet on the simulated frame-grabber platform
The Orvindel applet drives two CoaXPress grayscale line-scan cameras of a
frame-grabber board. This package holds the applet library and the
simulated board platform it runs on: the host runtime with its application
side, the design runtime and the register I/O runtime.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME orvindel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Orvindel acquisition applet - development files
Headers of the simulated frame-grabber platform (board types, the applet's
exports, the platform interfaces and the simulated board's control), with a
CMake package (find_package(Orvindel)) and a pkg-config file (orvindel) for
building applications against the installed runtime.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvindel-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Orvindel acquisition applet - command-line tool
appletctl opens a board with the Orvindel applet and reads, writes and
describes its parameters, saves and loads camera configuration files and
lookup tables, from the command line or from scripts.")

# Every package carries its copyright and changelog in /usr/share/doc/<name>/;
# they are written into the staging directories just before packing, so that
# a plain cmake --install does not get them.
configure_file(${CMAKE_SOURCE_DIR}/packaging/debian-docs.cmake.in
  ${CMAKE_BINARY_DIR}/packaging/debian-docs.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_BINARY_DIR}/packaging/debian-docs.cmake)
include(CPack)
