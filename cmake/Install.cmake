# What cmake --install puts under the prefix, in the components that the Debian packages are
# cut from: runtime (the shared library), development (archive or link name, headers, CMake
# package files, pkg-config file) and tools (keo-collector, keo-demo, keo-queue; their rules
# stand beside their targets in tools/). A Qt 6 build puts everything under its own names:
# libkeomobile-qt6, include/keomobile-qt6, the CMake package KEOMobileQt6, keomobile-qt6.pc.
if(NOT KEOMOBILE_INSTALL)
  return()
endif()
include(CMakePackageConfigHelpers)

set(KEOMOBILE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${KEOMOBILE_PACKAGE})
install(TARGETS keomobile EXPORT ${KEOMOBILE_PACKAGE}Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/keomobile${KEOMOBILE_SUFFIX}
  COMPONENT development)
install(EXPORT ${KEOMOBILE_PACKAGE}Targets NAMESPACE ${KEOMOBILE_PACKAGE}::
  DESTINATION ${KEOMOBILE_CMAKE_DIR}
  COMPONENT development)

get_target_property(KEOMOBILE_TYPE keomobile TYPE)
if(KEOMOBILE_TYPE STREQUAL "STATIC_LIBRARY")
  set(KEOMOBILE_STATIC TRUE)
else()
  set(KEOMOBILE_STATIC FALSE)
endif()
# Paths relative to the config file's place: the prefix can move (dpkg-deb -x, a copied tree).
configure_package_config_file(cmake/PackageConfig.cmake.in ${KEOMOBILE_PACKAGE}Config.cmake
  INSTALL_DESTINATION ${KEOMOBILE_CMAKE_DIR})
write_basic_package_version_file(${KEOMOBILE_PACKAGE}ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${KEOMOBILE_PACKAGE}Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/${KEOMOBILE_PACKAGE}ConfigVersion.cmake
  DESTINATION ${KEOMOBILE_CMAKE_DIR} COMPONENT development)
install(FILES cmake/Application.cmake DESTINATION ${KEOMOBILE_CMAKE_DIR}
  RENAME ${KEOMOBILE_PACKAGE}Application.cmake COMPONENT development)

file(RELATIVE_PATH KEOMOBILE_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KEOMOBILE_PC_TO_PREFIX ${KEOMOBILE_PC_TO_PREFIX})
set(KEOMOBILE_PC_REQUIRES "${KEOMOBILE_QT}Core >= ${KEOMOBILE_QT_MIN}")
if(KEOMOBILE_STATIC)
  string(APPEND KEOMOBILE_PC_REQUIRES ", libcurl, sqlite3, libxml-2.0")
  if(KEOMOBILE_QT_MAJOR STREQUAL "6")
    string(APPEND KEOMOBILE_PC_REQUIRES ", Qt6Core5Compat")
  endif()
endif()
configure_file(cmake/keomobile.pc.in keomobile${KEOMOBILE_SUFFIX}.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/keomobile${KEOMOBILE_SUFFIX}.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(KEOMOBILE_STATIC)
  message(STATUS "Debian packages come from the shared build: -DBUILD_SHARED_LIBS=ON")
else()
  include(cmake/Package.cmake)
endif()
