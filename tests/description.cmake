# Parameter description: the registry of parameter records and the GenApi
# register description, with checks of generated documents by external
# GenICam tools (the schema through xmllint, the node map through
# libaravis-0.8).

orv_add_test(test_registry
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_registry.cpp
  LIBS orv_base tervikhap)

orv_add_test(test_xml_builder
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_xml_builder.cpp
  LIBS orv_base tervikhap)

# Documents of synthetic registries, written by the applet object's entry
# point into one directory shared by the checks below.
add_executable(xml_dump_synthetic ${CMAKE_CURRENT_LIST_DIR}/xml_dump_synthetic.cpp)
target_link_libraries(xml_dump_synthetic PRIVATE orv_base tervikhap ${CMAKE_DL_LIBS} pthread)
target_include_directories(xml_dump_synthetic PRIVATE ${CMAKE_SOURCE_DIR}/include ${CMAKE_CURRENT_LIST_DIR})

set(ORV_GENAPI_DIR ${CMAKE_BINARY_DIR}/testrun/genapi)
file(MAKE_DIRECTORY ${ORV_GENAPI_DIR})
set(ORV_GENAPI_DOCS
  ${ORV_GENAPI_DIR}/synthetic_port0.xml
  ${ORV_GENAPI_DIR}/synthetic_port1.xml
  ${ORV_GENAPI_DIR}/synthetic_empty.xml)

add_test(NAME xml_dump_synthetic COMMAND xml_dump_synthetic ${ORV_GENAPI_DIR}
  WORKING_DIRECTORY ${ORV_GENAPI_DIR})
set_tests_properties(xml_dump_synthetic PROPERTIES
  FIXTURES_SETUP orv_genapi_docs
  ENVIRONMENT "LD_LIBRARY_PATH=${ORV_TEST_LD_PATH}")

# (1) Validation against the GenApi 1.0 schema. The schema is taken from the
# resources of the Debian aravis tools at test time; it is not kept in the tree.
find_program(ORV_GRESOURCE gresource)
find_program(ORV_XMLLINT xmllint)
find_program(ORV_ARV_TEST arv-test-0.8)
if(ORV_GRESOURCE AND ORV_XMLLINT AND ORV_ARV_TEST)
  set(ORV_GENAPI_XSD ${ORV_GENAPI_DIR}/GenApiSchema_Version_1_0.xsd)
  add_test(NAME xml_genapi_schema_extract
    COMMAND sh -c "'${ORV_GRESOURCE}' extract '${ORV_ARV_TEST}' /org/aravis/GenApiSchema_Version_1_0.xsd > '${ORV_GENAPI_XSD}' && test -s '${ORV_GENAPI_XSD}'")
  set_tests_properties(xml_genapi_schema_extract PROPERTIES FIXTURES_SETUP orv_genapi_schema)

  add_test(NAME xml_genapi_schema_valid
    COMMAND ${ORV_XMLLINT} --noout --schema ${ORV_GENAPI_XSD} ${ORV_GENAPI_DOCS})
  set_tests_properties(xml_genapi_schema_valid PROPERTIES
    FIXTURES_REQUIRED "orv_genapi_docs;orv_genapi_schema")

  # Display names are copied into the document byte for byte under an utf-8
  # declaration: a Latin-1 byte in one makes the document ill-formed, and
  # the XML parser refuses it. This records that behaviour.
  add_test(NAME xml_genapi_latin1_refused
    COMMAND ${ORV_XMLLINT} --noout ${ORV_GENAPI_DIR}/synthetic_latin1.xml)
  set_tests_properties(xml_genapi_latin1_refused PROPERTIES
    FIXTURES_REQUIRED orv_genapi_docs
    PASS_REGULAR_EXPRESSION "Input is not proper UTF-8")
else()
  message(STATUS "GenApi schema checks skipped: gresource, xmllint or arv-test-0.8 not found")
endif()

# (2) The documents as a GenICam node map (Debian's libaravis-0.8, 64-bit only).
# genapi_check doc.xml... also serves for the applet's own documents.
set(ORV_HAVE_ARAVIS OFF)
if(ORV_64BIT)
  find_package(PkgConfig QUIET)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(ORV_ARAVIS QUIET IMPORTED_TARGET aravis-0.8 libxml-2.0)
    if(ORV_ARAVIS_FOUND)
      set(ORV_HAVE_ARAVIS ON)
    endif()
  endif()
endif()
if(ORV_HAVE_ARAVIS)
  add_executable(genapi_check ${CMAKE_CURRENT_LIST_DIR}/genapi_check.cpp)
  target_link_libraries(genapi_check PRIVATE PkgConfig::ORV_ARAVIS)
  # GLib's type system keeps its allocations for the life of the process.
  set(ORV_GENAPI_ENV "ASAN_OPTIONS=detect_leaks=0")

  add_test(NAME xml_genapi_nodemap COMMAND genapi_check ${ORV_GENAPI_DOCS})
  set_tests_properties(xml_genapi_nodemap PROPERTIES
    FIXTURES_REQUIRED orv_genapi_docs
    ENVIRONMENT "${ORV_GENAPI_ENV}")

  add_test(NAME xml_genapi_nodemap_latin1_refused
    COMMAND genapi_check --quiet ${ORV_GENAPI_DIR}/synthetic_latin1.xml)
  set_tests_properties(xml_genapi_nodemap_latin1_refused PROPERTIES
    FIXTURES_REQUIRED orv_genapi_docs
    ENVIRONMENT "${ORV_GENAPI_ENV}"
    PASS_REGULAR_EXPRESSION "not well-formed XML")
else()
  message(STATUS "GenApi node map check skipped (32-bit build or no aravis-0.8)")
endif()

# ---- The applet's own documents ---------------------------------------------
# Through the export on boards opened with the applet: the catalogue in the
# document, nodes against the registry records, handler changes, the size
# protocol.
orv_add_test(test_applet_xml BOARD SOURCES ${CMAKE_CURRENT_LIST_DIR}/test_applet_xml.cpp)

# Both ports' documents of real boards written to files for the external tools.
add_executable(xml_dump_applet ${CMAKE_CURRENT_LIST_DIR}/xml_dump_applet.cpp)
target_link_libraries(xml_dump_applet PRIVATE talrun5 ${CMAKE_DL_LIBS} pthread)
target_include_directories(xml_dump_applet PRIVATE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/applet ${CMAKE_CURRENT_LIST_DIR})
add_dependencies(xml_dump_applet Orvindel)
set(ORV_APPLET_DOCS
  ${ORV_GENAPI_DIR}/applet_port0.xml
  ${ORV_GENAPI_DIR}/applet_port1.xml
  ${ORV_GENAPI_DIR}/applet_changed_port0.xml
  ${ORV_GENAPI_DIR}/applet_changed_port1.xml
  ${ORV_GENAPI_DIR}/applet_dra_port0.xml)
add_test(NAME xml_dump_applet COMMAND xml_dump_applet ${ORV_GENAPI_DIR}
  WORKING_DIRECTORY ${ORV_GENAPI_DIR})
set_tests_properties(xml_dump_applet PROPERTIES
  FIXTURES_SETUP orv_genapi_applet_docs
  ENVIRONMENT "LD_LIBRARY_PATH=${ORV_TEST_LD_PATH}")

if(ORV_GRESOURCE AND ORV_XMLLINT AND ORV_ARV_TEST)
  add_test(NAME xml_genapi_schema_valid_applet
    COMMAND ${ORV_XMLLINT} --noout --schema ${ORV_GENAPI_XSD} ${ORV_APPLET_DOCS})
  set_tests_properties(xml_genapi_schema_valid_applet PROPERTIES
    FIXTURES_REQUIRED "orv_genapi_applet_docs;orv_genapi_schema")
endif()

if(ORV_HAVE_ARAVIS)
  # The documents as node maps, against their own text (test_applet_xml holds
  # the text against the registry records).
  add_test(NAME xml_genapi_nodemap_applet COMMAND genapi_check --quiet ${ORV_APPLET_DOCS})
  set_tests_properties(xml_genapi_nodemap_applet PROPERTIES
    FIXTURES_REQUIRED orv_genapi_applet_docs
    ENVIRONMENT "${ORV_GENAPI_ENV}")
endif()
