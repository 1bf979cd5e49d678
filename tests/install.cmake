# The installed tree and the Debian packages as their users see them: a
# staging prefix (moved after installing), the packages' contents,
# dependencies and lintian, a consumer built out of tree against each with
# find_package and with pkg-config and run on the simulated board, and the
# installed appletctl. Slow and the same on every target: only in a tree
# configured with ORV_INSTALL_TESTS (the x64 preset).
if(ORV_INSTALL_TESTS)
  # The consumer: the example application, a CMake project
  # (find_package(Orvindel)) building one program from its C source.
  set(ORV_CONSUMER_DIR ${CMAKE_SOURCE_DIR}/examples)
  set(ORV_CONSUMER_PROGRAM grab_frames)
  add_test(NAME install_tree
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/install/check.sh install ${CMAKE_BINARY_DIR}
            ${ORV_CONSUMER_DIR} ${ORV_CONSUMER_PROGRAM} ${CMAKE_INSTALL_LIBDIR})
  add_test(NAME install_debian_packages
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/install/check.sh packages ${CMAKE_BINARY_DIR}
            ${ORV_CONSUMER_DIR} ${ORV_CONSUMER_PROGRAM} ${CMAKE_INSTALL_LIBDIR} ${PROJECT_VERSION})
  # Both run the build tree's install scripts: one at a time.
  set_tests_properties(install_tree install_debian_packages PROPERTIES TIMEOUT 900 LABELS install
                       RESOURCE_LOCK orvindel_build_tree_install)
endif()
