# Line trigger / ExSync / shaft encoder, and image trigger / flash / software
# trigger handlers, seen through the exports on a simulated board.
orv_add_test(test_trigger BOARD SOURCES test_trigger.cpp)
