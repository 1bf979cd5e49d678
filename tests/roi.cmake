# Region of interest, output and pixel format handlers.
orv_add_test(test_roi BOARD SOURCES test_roi.cpp)
