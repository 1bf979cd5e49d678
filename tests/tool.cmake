# appletctl, the command-line tool, run as a user runs it.
if(TARGET appletctl)
  orv_add_test(test_appletctl
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_appletctl.cpp
    ENV APPLETCTL=$<TARGET_FILE:appletctl>)
  add_dependencies(test_appletctl appletctl Orvindel)
endif()
