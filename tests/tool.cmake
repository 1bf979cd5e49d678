# appletctl, the command-line tool, run as a user runs it; its manual page and
# bash completion as the build generates them.
if(TARGET appletctl)
  orv_add_test(test_appletctl
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_appletctl.cpp
    ENV "APPLETCTL=$<TARGET_FILE:appletctl>;APPLETCTL_MANPAGE=${APPLETCTL_MANPAGE};APPLETCTL_COMPLETION=${APPLETCTL_COMPLETION}")
  add_dependencies(test_appletctl appletctl appletctl_docs Orvindel)
endif()
