# The shortcuts of the hot path: the record index beside the range map, and
# the simulated runtime's direct paths beside its general conversions.
orv_add_test(test_hot_paths SOURCES test_hot_paths.cpp LIBS orv_applet orv_base talrun5 tervikhap tervikregio)
orv_add_test(test_no_allocation BOARD SOURCES test_no_allocation.cpp)
# The lock scope, the arena and the design runtime's check of names.
orv_add_test(test_lean_paths SOURCES test_lean_paths.cpp LIBS orv_base tervikhap tervikregio)
target_include_directories(test_lean_paths PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/grabber_basis
                           ${CMAKE_SOURCE_DIR}/platform)
