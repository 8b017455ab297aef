# cpack -G DEB in a shared build: libkeomobile4 (the library), libkeomobile-dev (headers,
# CMake and pkg-config files, the Widgets screen tracker, the media tracker), qml-module-keomobile
# (the QML module)
# and, when tools are built, keomobile-tools. dpkg-shlibdeps
# works out what the library and the tools need from the system.
set(CPACK_PACKAGE_NAME keomobile)
set(CPACK_PACKAGE_VENDOR KEOMobile)
set(CPACK_PACKAGE_CONTACT "KEOMobile developers <keomobile@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(KEOMOBILE_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(TARGET keomobileplugin)
  list(APPEND CPACK_COMPONENTS_ALL qml)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools need this very library, which no installed package provides yet: dpkg-shlibdeps
# finds it here and leaves it to the component dependency below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")

# Each description: the summary line, then the long description.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkeomobile${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "measurement library for native applications
Reports screens, actions, locations and media playback, and measures launches, crashes and
sessions; every report is stored in a local table and delivered as an HTTP hit.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkeomobile-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
# Headers and build files: nothing for dpkg-shlibdeps to read. The public headers include Qt
# Core's, and the CMake package finds it again.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS qtbase5-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "measurement library for native applications: development files
Headers under /usr/include/keomobile, the CMake package KEOMobile and the pkg-config file
keomobile.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME keomobile-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "measurement library for native applications: tools
keo-collector, a loopback collection server that prints the hits it receives; keo-queue,
which lists the hits waiting in an application's table; keo-demo, a scripted session.")
set(CPACK_DEBIAN_QML_PACKAGE_NAME qml-module-keomobile)
set(CPACK_DEBIAN_QML_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_QML_DEPENDS runtime)
set(CPACK_COMPONENT_QML_DESCRIPTION "measurement library for native applications: QML module
The module KEOMobile 4.0 for Qt Quick applications: the singleton KEOMobile and the attached
type KEOScreen, which reports pages as screens from the navigation the user sees.")
include(CPack)
