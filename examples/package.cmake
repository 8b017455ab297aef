# The examples' way to the library: in the library's own tree, the targets it made; on their own,
# the installed package of the application's Qt major version, KEOMobile for Qt 5 (the default)
# or KEOMobileQt6 for Qt 6 (-DKEOMOBILE_QT_MAJOR=6). Sets keo to the package's name, the
# namespace of its targets.
set(KEOMOBILE_QT_MAJOR 5 CACHE STRING "The Qt major version to build against: 5 or 6")
if(KEOMOBILE_QT_MAJOR STREQUAL "6")
  set(keo KEOMobileQt6)
else()
  set(keo KEOMobile)
endif()
if(NOT TARGET ${keo}::keomobile)
  find_package(${keo} 4.0 CONFIG REQUIRED)
endif()
