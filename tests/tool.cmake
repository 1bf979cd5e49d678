# appletctl, the command-line tool, run as a user runs it; its manual page and
# bash completion as the build generates them.
if(TARGET appletctl)
  orv_add_test(test_appletctl
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_appletctl.cpp ${CMAKE_CURRENT_LIST_DIR}/test_appletctl_grab.cpp
    ENV "APPLETCTL=$<TARGET_FILE:appletctl>;APPLETCTL_MANPAGE=${APPLETCTL_MANPAGE};APPLETCTL_COMPLETION=${APPLETCTL_COMPLETION}")
  add_dependencies(test_appletctl appletctl appletctl_docs Orvindel)
  # The grab tests decode the PNG files with libpng where the tool writes them.
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    find_package(PNG REQUIRED)
    target_link_libraries(test_appletctl PRIVATE PNG::PNG)
    target_compile_definitions(test_appletctl PRIVATE TEST_HAVE_PNG=1)
  endif()
endif()
