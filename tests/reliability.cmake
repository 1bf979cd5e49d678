# Reliability: the fault sweep over every write of both ports, hostile type
# selectors, typed access
# and the other entry points from several threads on two boards (also under
# ThreadSanitizer: the Makefile's build-tsan runs test_concurrency), and the
# board open/close soak (leaks: LeakSanitizer in the ASan build, valgrind
# below).
orv_add_test(test_fault_sweep BOARD SOURCES test_fault_sweep.cpp)
orv_add_test(test_concurrency BOARD SOURCES test_concurrency.cpp)
# Files tried as a hostile user would: full file system, a device refusing
# writes, devices, FIFOs and directories as input (a hang ends at the limit).
orv_add_test(test_file_safety BOARD SOURCES test_file_safety.cpp)
set_tests_properties(test_file_safety PROPERTIES TIMEOUT 120)
# Type selectors and element types as any number a C host may pass.
orv_add_test(test_hostile_selectors BOARD SOURCES test_hostile_selectors.cpp hostile_calls.c)
# glibc's per-thread allocation caches off, so that the heap statistics the
# soak compares show only what is really in use.
orv_add_test(test_soak BOARD SOURCES test_soak.cpp ENV GLIBC_TUNABLES=glibc.malloc.tcache_count=0)

# A short soak under valgrind's leak checker (plain 64-bit build only: the
# sanitizer builds bring their own checkers).
if(NOT ORV_SANITIZE AND NOT ORV_TSAN AND ORV_64BIT)
  find_program(ORV_VALGRIND valgrind)
  if(ORV_VALGRIND)
    add_test(NAME test_soak_valgrind
      COMMAND ${ORV_VALGRIND} --quiet --leak-check=full --show-leak-kinds=definite,indirect
              --errors-for-leak-kinds=definite,indirect --error-exitcode=99 $<TARGET_FILE:test_soak>
      WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/testrun/test_soak)
    set_tests_properties(test_soak_valgrind PROPERTIES
      ENVIRONMENT "LD_LIBRARY_PATH=${ORV_TEST_LD_PATH};ORV_SOAK_CYCLES=3"
      TIMEOUT 300)
  endif()
endif()
