# keomobile_add_application(<target> CONFIG <KEOMobileConfig.json> [DESCRIPTOR <bar-descriptor.xml>])
#
# Packages the application's configuration with it, as the phone's package carries it, and so
# asks for the application's own sandbox: its files then lie under the desktop's data place for
# it, whatever directory it starts in. The files are compiled into the program as Qt resources,
# so that the program carries them wherever it is installed or copied, and no install rule of
# the application's can forget them. Without DESCRIPTOR, the name and version that the
# application gives QCoreApplication make its identifier.
function(keomobile_add_application target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "CONFIG;DESCRIPTOR" "")
  if(NOT arg_CONFIG)
    message(FATAL_ERROR "keomobile_add_application(${target}): CONFIG <KEOMobileConfig.json> is required")
  endif()
  get_filename_component(config "${arg_CONFIG}" ABSOLUTE)
  set(entries "    <file alias=\"KEOMobileConfig.json\">${config}</file>\n")
  if(arg_DESCRIPTOR)
    get_filename_component(descriptor "${arg_DESCRIPTOR}" ABSOLUTE)
    string(APPEND entries "    <file alias=\"bar-descriptor.xml\">${descriptor}</file>\n")
  endif()
  set(qrc "${CMAKE_CURRENT_BINARY_DIR}/${target}_keomobile.qrc")
  # Rewritten only when it changes, so that a new configure rebuilds nothing by itself.
  file(WRITE "${qrc}.new"
    "<RCC>\n  <qresource prefix=\"/keomobile\">\n${entries}  </qresource>\n</RCC>\n")
  configure_file("${qrc}.new" "${qrc}" COPYONLY)
  target_sources(${target} PRIVATE "${qrc}")
  set_property(TARGET ${target} PROPERTY AUTORCC ON)
endfunction()
