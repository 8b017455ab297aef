# cpack -G DEB in a shared build: libkeomobile4 (the library), libkeomobile-dev (headers,
# CMake and pkg-config files, the Widgets screen tracker, the media tracker), qml-module-keomobile
# (the QML module) and, when tools are built, keomobile-tools. dpkg-shlibdeps works out what the
# library and the tools need from the system. A Qt 6 build makes a set of its own that installs
# beside the Qt 5 one: libkeomobile-qt6-4, libkeomobile-qt6-dev, qml6-module-keomobile and
# keomobile-qt6-tools. A build with the examples adds keomobile-examples.
set(CPACK_PACKAGE_NAME keomobile${KEOMOBILE_SUFFIX})
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
# The examples once, from the Qt 5 build: the Qt 6 build's carry the same names and launchers,
# and one set in the menu is what a user wants.
if(KEOMOBILE_BUILD_EXAMPLES AND NOT KEOMOBILE_QT_MAJOR STREQUAL "6")
  list(APPEND CPACK_COMPONENTS_ALL examples)
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
if(KEOMOBILE_SUFFIX)
  # Debian's name for a library whose name ends in a digit: a dash before the soname's version.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkeomobile${KEOMOBILE_SUFFIX}-${PROJECT_VERSION_MAJOR})
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkeomobile${PROJECT_VERSION_MAJOR})
endif()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "measurement library for native applications (Qt ${KEOMOBILE_QT_MAJOR})
Reports screens, actions, locations and media playback, and measures launches, crashes and
sessions; every report is stored in a local table and delivered as an HTTP hit.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkeomobile${KEOMOBILE_SUFFIX}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
# Headers and build files: nothing for dpkg-shlibdeps to read. The public headers include Qt
# Core's, and the CMake package finds it again.
if(KEOMOBILE_QT_MAJOR STREQUAL "6")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS qt6-base-dev)
else()
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS qtbase5-dev)
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "measurement library for native applications: development files (Qt ${KEOMOBILE_QT_MAJOR})
Headers under /usr/include/keomobile${KEOMOBILE_SUFFIX}, the CMake package ${KEOMOBILE_PACKAGE} and the
pkg-config file keomobile${KEOMOBILE_SUFFIX}.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME keomobile${KEOMOBILE_SUFFIX}-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "measurement library for native applications: tools
keo-collector${KEOMOBILE_SUFFIX}, a loopback collection server that prints the hits it receives;
keo-queue${KEOMOBILE_SUFFIX}, which lists the hits waiting in an application's table;
keo-demo${KEOMOBILE_SUFFIX}, a scripted session.")
if(KEOMOBILE_QT_MAJOR STREQUAL "6")
  set(CPACK_DEBIAN_QML_PACKAGE_NAME qml6-module-keomobile)
else()
  set(CPACK_DEBIAN_QML_PACKAGE_NAME qml-module-keomobile)
endif()
set(CPACK_DEBIAN_QML_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_QML_DEPENDS runtime)
set(CPACK_COMPONENT_QML_DESCRIPTION "measurement library for native applications: QML module (Qt ${KEOMOBILE_QT_MAJOR})
The module KEOMobile 4.0 for Qt Quick applications: the singleton KEOMobile and the attached
type KEOScreen, which reports pages as screens from the navigation the user sees.")
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_NAME keomobile-examples)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_EXAMPLES_DEPENDS runtime qml)
# What the Qt Quick example imports and the players decode with, which dpkg-shlibdeps can't see.
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_DEPENDS "qml-module-qtquick2, qml-module-qtquick-controls2, \
qml-module-qtquick-layouts, qml-module-qtmultimedia, libqt5multimedia5-plugins")
set(CPACK_COMPONENT_EXAMPLES_DESCRIPTION "measurement library for native applications: examples
keo-console-example, a command; the Qt Widgets and Qt Quick examples with a launcher each in the
menu. They send to a collector at 127.0.0.1:8080 (keo-collector --port 8080).")
include(CPack)
