# The shortcuts of the hot path: the record index beside the range map, and
# the simulated runtime's direct paths beside its general conversions.
orv_add_test(test_hot_paths SOURCES test_hot_paths.cpp LIBS orv_applet orv_base talrun5 tervikhap tervikregio)
orv_add_test(test_no_allocation BOARD SOURCES test_no_allocation.cpp)
