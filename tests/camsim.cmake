# The camera simulator handlers, seen through the exports on a simulated board.
orv_add_test(test_camera_simulator BOARD SOURCES test_camera_simulator.cpp)
