# Digital I/O, buffer status and board monitor; default values; the applet
# information query.
orv_add_test(test_io_status BOARD SOURCES test_io_status.cpp)
orv_add_test(test_defaults BOARD SOURCES test_defaults.cpp)
orv_add_test(test_info BOARD SOURCES test_info.cpp)
