# Lookup table and processing handlers.
orv_add_test(test_lookup_table BOARD SOURCES test_lookup_table.cpp)
