# Camera configuration files: saving and loading through the exports.
orv_add_test(test_config BOARD SOURCES test_config.cpp test_config_load.cpp)
