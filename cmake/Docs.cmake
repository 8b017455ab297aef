# The API reference, from the comments of the installed public headers:
#   cmake --build build --target docs    (HTML in build/docs/html; not built by default)
# Needs doxygen, which scripts/install-deps.sh docs installs.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E echo "docs: doxygen is missing, scripts/install-deps.sh docs installs it"
    COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
  return()
endif()

get_target_property(KEOMOBILE_HEADERS keomobile HEADER_SET)
# A media item is the engine's own record, in the set only because the engine's header
# names it; "Application" only includes Application.hpp.
list(FILTER KEOMOBILE_HEADERS EXCLUDE REGEX "/(KEOMediaItem\\.h|Application)$")
# The Widgets screen tracker is installed beside them.
if(TARGET keomobile_widgets)
  get_target_property(tracker_headers keomobile_widgets HEADER_SET)
  list(APPEND KEOMOBILE_HEADERS ${tracker_headers})
endif()
set(DOXYGEN_PROJECT_NAME KEOMobile)
set(DOXYGEN_PROJECT_BRIEF "Measurement library for native applications")
set(DOXYGEN_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/docs)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${CMAKE_CURRENT_SOURCE_DIR}/docs/api.md)
# Files and includes shown as an application writes them: <bps/bps.h>, not platform/include/...
set(DOXYGEN_STRIP_FROM_PATH ${CMAKE_CURRENT_SOURCE_DIR}/src
  ${CMAKE_CURRENT_SOURCE_DIR}/platform/include ${CMAKE_CURRENT_SOURCE_DIR}/integrations/widgets)
set(DOXYGEN_STRIP_FROM_INC_PATH ${DOXYGEN_STRIP_FROM_PATH})
set(DOXYGEN_SHOW_INCLUDE_FILES YES)
set(DOXYGEN_ENABLE_PREPROCESSING YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_PREDEFINED KEOMOBILE_EXPORT= __cplusplus)
set(DOXYGEN_EXCLUDE_SYMBOLS QT_* Q_*)
set(DOXYGEN_HIDE_FRIEND_COMPOUNDS YES)
# A public declaration without a comment fails the target.
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
doxygen_add_docs(docs ${KEOMOBILE_HEADERS} ${DOXYGEN_USE_MDFILE_AS_MAINPAGE}
  COMMENT "API reference in ${DOXYGEN_OUTPUT_DIRECTORY}/html")
