# Line trigger / ExSync / shaft encoder, and image trigger / flash / software
# trigger handlers, seen through the exports on a simulated board.
orv_add_test(test_line_trigger BOARD SOURCES test_line_trigger.cpp)
orv_add_test(test_image_trigger BOARD SOURCES test_image_trigger.cpp)
