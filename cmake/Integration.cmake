# keomobile_integration(name Export SOURCE src HEADER header LINK libraries...): a layer on the
# library's public interface as a small archive of its own, keomobile_<name> (KEOMobile::<name>),
# linked into the application, with warnings as the project's own code; installed with the
# development files and exported in KEOMobile<Export>Targets.cmake, which the CMake package loads.
function(keomobile_integration name export)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "SOURCE;HEADER" "LINK")
  set(target keomobile_${name})
  add_library(${target} STATIC ${arg_SOURCE})
  add_library(KEOMobile::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES AUTOMOC ON POSITION_INDEPENDENT_CODE ON
    EXPORT_NAME ${name})
  target_sources(${target} PUBLIC FILE_SET HEADERS
    BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR} FILES ${arg_HEADER})
  target_link_libraries(${target} PUBLIC KEOMobile::keomobile ${arg_LINK})
  target_compile_options(${target} PRIVATE -Wall -Wextra $<$<BOOL:${KEOMOBILE_WERROR}>:-Werror>)
  if(KEOMOBILE_INSTALL)
    install(TARGETS ${target} EXPORT KEOMobile${export}Targets
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
      FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/keomobile COMPONENT development)
    install(EXPORT KEOMobile${export}Targets NAMESPACE KEOMobile::
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KEOMobile COMPONENT development)
  endif()
endfunction()
