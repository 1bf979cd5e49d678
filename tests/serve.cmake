# The live view (appletctl serve): plain HTTP requests against the running
# server in every x86-64 tree; the page in headless Chromium once, in the
# plain x86-64 tree, which also writes the screenshot docs/live-view.png.
if(ORV_HAVE_SERVE)
  find_program(ORV_SYSTEM_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
  set(serve_env "PYTHONDONTWRITEBYTECODE=1")
  add_test(NAME serve_api
           COMMAND ${ORV_SYSTEM_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/serve/test_serve_api.py $<TARGET_FILE:appletctl>)
  set_tests_properties(serve_api PROPERTIES ENVIRONMENT "${serve_env}" TIMEOUT 300)
  if(NOT ORV_SANITIZE AND NOT ORV_TSAN)
    add_test(NAME serve_browser
             COMMAND ${ORV_SYSTEM_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/serve/test_serve_browser.py
                     $<TARGET_FILE:appletctl> ${CMAKE_BINARY_DIR}/docs/live-view.png)
    set_tests_properties(serve_browser PROPERTIES ENVIRONMENT "${serve_env}" TIMEOUT 600 RUN_SERIAL ON)
  endif()
endif()
