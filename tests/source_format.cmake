# The sources as clang-format makes them (.clang-format at the top): once, in
# the tree that also checks the installation (the x64 preset).
if(ORV_INSTALL_TESTS)
  add_test(NAME source_format COMMAND bash ${CMAKE_SOURCE_DIR}/scripts/check-format.sh)
endif()
