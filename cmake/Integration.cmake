# keomobile_integration(name Export SOURCE src HEADER header LINK libraries...): a layer on the
# library's public interface as a small archive of its own, keomobile_<name> (KEOMobile::<name>,
# and <package>::<name> as installed), linked into the application, with warnings as the
# project's own code; installed with the development files and exported in
# <package><Export>Targets.cmake, which the CMake package loads.
function(keomobile_integration name export)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "SOURCE;HEADER" "LINK")
  set(target keomobile_${name})
  add_library(${target} STATIC ${arg_SOURCE})
  add_library(KEOMobile::${name} ALIAS ${target})
  if(NOT KEOMOBILE_PACKAGE STREQUAL "KEOMobile")
    add_library(${KEOMOBILE_PACKAGE}::${name} ALIAS ${target})
  endif()
  set_target_properties(${target} PROPERTIES AUTOMOC ON POSITION_INDEPENDENT_CODE ON
    EXPORT_NAME ${name} OUTPUT_NAME keomobile_${name}${KEOMOBILE_SUFFIX})
  target_sources(${target} PUBLIC FILE_SET HEADERS
    BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR} FILES ${arg_HEADER})
  target_link_libraries(${target} PUBLIC KEOMobile::keomobile ${arg_LINK})
  target_compile_options(${target} PRIVATE -Wall -Wextra $<$<BOOL:${KEOMOBILE_WERROR}>:-Werror>)
  if(KEOMOBILE_INSTALL)
    install(TARGETS ${target} EXPORT ${KEOMOBILE_PACKAGE}${export}Targets
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
      FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/keomobile${KEOMOBILE_SUFFIX}
      COMPONENT development)
    install(EXPORT ${KEOMOBILE_PACKAGE}${export}Targets NAMESPACE ${KEOMOBILE_PACKAGE}::
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/${KEOMOBILE_PACKAGE} COMPONENT development)
  endif()
endfunction()
