# keo_example_install(target name [GUI]): the example installed as a user finds it, in the
# component "examples" (cmake --install <build> --component examples). A GUI example goes with
# its clip into libexec/keomobile-examples, where it finds it beside itself, and gets a .desktop
# launcher under share/applications; the console example is a command in bin.
include(GNUInstallDirs)
function(keo_example_install target name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "GUI" "" "")
  if(NOT arg_GUI)
    install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
      COMPONENT examples EXCLUDE_FROM_ALL)
    return()
  endif()
  set(dir ${CMAKE_INSTALL_LIBEXECDIR}/keomobile-examples)
  install(TARGETS ${target} RUNTIME DESTINATION ${dir} COMPONENT examples EXCLUDE_FROM_ALL)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/harbour-timelapse.ogv DESTINATION ${dir}
    COMPONENT examples EXCLUDE_FROM_ALL)
  # Written at install time, so that Exec names the prefix the files really went to.
  set(entry "[Desktop Entry]\nType=Application\nName=${name}\n")
  string(APPEND entry "Comment=An application measured by KEOMobile\n")
  string(APPEND entry "Exec=\${CMAKE_INSTALL_PREFIX}/${dir}/${target}\n")
  string(APPEND entry "Terminal=false\nCategories=Development;\n")
  install(CODE "file(WRITE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/applications/${target}.desktop\" \"${entry}\")"
    COMPONENT examples EXCLUDE_FROM_ALL)
endfunction()
