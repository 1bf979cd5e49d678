# orv_install_rpath(TARGET FROM DIR TO DIR...)
#
# The installed TARGET, placed in the install directory FROM, finds what it
# loads in each directory TO through a run path relative to its own place
# ($ORIGIN), so the installed tree can be moved as a whole. The directories
# are relative to the install prefix; FROM itself is "$ORIGIN".
include_guard(GLOBAL)

function(orv_install_rpath target)
  cmake_parse_arguments(ARG "" "FROM" "TO" ${ARGN})
  set(paths)
  foreach(dir IN LISTS ARG_TO)
    file(RELATIVE_PATH rel /${ARG_FROM} /${dir})
    string(REGEX REPLACE "/$" "" rel "${rel}")
    if(rel STREQUAL "")
      list(APPEND paths "$ORIGIN")
    else()
      list(APPEND paths "$ORIGIN/${rel}")
    endif()
  endforeach()
  string(JOIN ":" rpath ${paths})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${rpath}")
endfunction()
