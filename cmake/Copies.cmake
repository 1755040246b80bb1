# Reads copies/copies.def, the one list of the compiled copies.
#
# Sets KORVAN_COPIES to the names in their order, and for each name
# KORVAN_COPY_<name>_BRANCH (the lowest), _FEATURES and _FLAGS (lists).

set(copies_file "${PROJECT_SOURCE_DIR}/copies/copies.def")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${copies_file}")
file(READ "${copies_file}" copies_text)
string(REGEX REPLACE "//[^\n]*" "" copies_text "${copies_text}")
string(REGEX MATCHALL "KORVAN_COPY_ROW\\([^)]*\\)" copies_rows "${copies_text}")

set(KORVAN_COPIES "")
foreach(row IN LISTS copies_rows)
    if(NOT row MATCHES "\\(([a-z0-9]+), ([0-9]+), ([0-9]+),[ \n]*\"([^\"]*)\",[ \n]*\"([^\"]*)\"\\)")
        message(FATAL_ERROR "copies.def: can't read ${row}")
    endif()
    list(APPEND KORVAN_COPIES ${CMAKE_MATCH_1})
    set(KORVAN_COPY_${CMAKE_MATCH_1}_BRANCH ${CMAKE_MATCH_2})
    set(KORVAN_COPY_${CMAKE_MATCH_1}_FEATURES "${CMAKE_MATCH_4}")
    separate_arguments(KORVAN_COPY_${CMAKE_MATCH_1}_FLAGS UNIX_COMMAND "${CMAKE_MATCH_5}")
endforeach()
