# The simulated board platform: design runtime, host runtime (host and
# application sides), register I/O runtime, reduced host runtimes and the
# generated design image and icon.

set(ORV_PLATFORM_TESTLIB_DIR ${CMAKE_BINARY_DIR}/testlibs/platform)

# Stand-in applet libraries for the application side of the host runtime.
foreach(fake PlatformFake PlatformNoEntry)
  add_library(${fake} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/platform_fake_applet.cpp)
  target_include_directories(${fake} PRIVATE ${CMAKE_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${fake} PRIVATE tervikhap ${CMAKE_DL_LIBS})
  target_link_options(${fake} PRIVATE -Wl,-Bsymbolic -Wl,--no-undefined)
  set_target_properties(${fake} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    LIBRARY_OUTPUT_DIRECTORY ${ORV_PLATFORM_TESTLIB_DIR})
endforeach()
target_compile_definitions(PlatformNoEntry PRIVATE PLATFORM_FAKE_NO_ENTRY=1)

orv_add_test(test_platform_design SOURCES test_platform_design.cpp LIBS tervikhap
             ENV ORV_MKHAP=$<TARGET_FILE:mkhap> ORV_MKICON=$<TARGET_FILE:mkicon>)
orv_add_test(test_platform_host SOURCES test_platform_host.cpp test_platform_host_board.cpp LIBS talrun5 tervikhap tervikregio)
orv_add_test(test_platform_app SOURCES test_platform_app.cpp LIBS talrun5 tervikhap
             ENV TERVIK_APPLET_PATH=${ORV_PLATFORM_TESTLIB_DIR}
                 ORV_FAKE_APPLET=${ORV_PLATFORM_TESTLIB_DIR}/libPlatformFake.so)

foreach(t test_platform_design test_platform_host test_platform_app)
  target_include_directories(${t} PRIVATE ${CMAKE_SOURCE_DIR}/platform)
  add_dependencies(${t} orvindel_design)
endforeach()
add_dependencies(test_platform_app PlatformFake PlatformNoEntry)

# The acquisition engine: delivered images against images computed from the
# SDK values, waits, losses, faults, threads (also under ThreadSanitizer).
orv_add_test(test_acquisition BOARD SOURCES test_acquisition.cpp)
