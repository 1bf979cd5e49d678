# Start-up, the exports, the frame and the parameter engine.
orv_add_test(test_entry BOARD SOURCES test_entry.cpp)
orv_add_test(test_engine BOARD SOURCES test_engine.cpp)

# Start-up against missing or incomplete host runtimes: one program, run once
# per runtime variant with only that runtime on the library path.
orv_add_test(test_entry_variants SOURCES test_entry_variants.cpp LD_PATH "${ORV_LIB_DIR}"
             ENV ORV_HOST_VARIANT=none)
add_dependencies(test_entry_variants Orvindel talrun5_variants)
foreach(variant noinit initonly nullinit nullinit_noerr)
  add_test(NAME test_entry_variants_${variant} COMMAND test_entry_variants
           WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/testrun/test_entry_variants)
  set_tests_properties(test_entry_variants_${variant} PROPERTIES
    ENVIRONMENT "LD_LIBRARY_PATH=${ORV_LIB_DIR}:${CMAKE_BINARY_DIR}/hostvariants/${variant};ORV_HOST_VARIANT=${variant}"
    TIMEOUT 120)
endforeach()

# Internals the exports cannot reach: the applet object built from its objects.
orv_add_test(test_dqora SOURCES test_dqora.cpp LIBS orv_applet orv_base talrun5 tervikhap tervikregio)
