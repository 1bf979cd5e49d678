# Region of interest, output and pixel format handlers.
orv_add_test(test_roi BOARD SOURCES test_roi.cpp)
orv_add_test(test_output_format BOARD SOURCES test_output_format.cpp)
