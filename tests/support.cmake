# Support classes of the applet base: locks and guards, the properties store,
# the log and the error store, the configuration-file and LUT-file parsers.
# The base objects include the host binding, which needs the design runtime
# (and the register I/O runtime where it is built).
set(ORV_SUPPORT_LIBS orv_base tervikhap)
if(TARGET tervikregio)
  list(APPEND ORV_SUPPORT_LIBS tervikregio)
endif()
orv_add_test(test_locks SOURCES test_locks.cpp LIBS ${ORV_SUPPORT_LIBS})
orv_add_test(test_properties SOURCES test_properties.cpp LIBS ${ORV_SUPPORT_LIBS})
orv_add_test(test_log_error SOURCES test_log_error.cpp LIBS ${ORV_SUPPORT_LIBS})
orv_add_test(test_config_file SOURCES test_config_file.cpp LIBS ${ORV_SUPPORT_LIBS})
orv_add_test(test_lut_file SOURCES test_lut_file.cpp LIBS ${ORV_SUPPORT_LIBS})
# The file helper of both parsers: in-memory search, refused inputs, safe saves.
orv_add_test(test_text_file SOURCES test_text_file.cpp LIBS ${ORV_SUPPORT_LIBS})
