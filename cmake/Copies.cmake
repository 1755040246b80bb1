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

# Behind the builder's own flags and stronger than they are: the instructions of the copies, and
# arithmetic without the liberties of -ffast-math.  What can't be undone, such as an -mfma, stops
# the compiler (processor_flags.h).
set(KORVAN_ALL_FLAGS -march=x86-64 -mfpmath=sse -fno-fast-math -ffp-contract=off)
set(KORVAN_FLAGS_CHECK ${PROJECT_SOURCE_DIR}/copies/processor_flags.h)

# korvan_once_files(TARGET SOURCE...): what is compiled once.
function(korvan_once_files target)
    add_library(${target} OBJECT ${ARGN})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
    target_compile_options(${target} PRIVATE
        ${KORVAN_ALL_FLAGS} "SHELL:-include ${KORVAN_FLAGS_CHECK}")
    target_link_libraries(${target} PRIVATE korvan_warnings)
endfunction()

# korvan_kernels(TARGET COPY SOURCE...): kernels as this copy compiles them.
function(korvan_kernels target copy)
    add_library(${target} OBJECT ${ARGN})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
    target_include_directories(${target} SYSTEM PRIVATE ${KORVAN_HIGHWAY_INCLUDE})
    # Highway's SSE4 and wider targets count AES and PCLMULQDQ in, unless told otherwise.
    target_compile_definitions(${target} PRIVATE
        KORVAN_COPY=${copy} KORVAN_COPY_NAME="${copy}"
        KORVAN_COPY_BRANCH=${KORVAN_COPY_${copy}_BRANCH}
        HWY_COMPILE_ONLY_STATIC HWY_BROKEN_EMU128=1 HWY_DISABLE_PCLMUL_AES)
    # At -O0 inline functions of Highway's would stay as symbols that other copies could pick up.
    target_compile_options(${target} PRIVATE
        ${KORVAN_ALL_FLAGS} $<IF:$<CONFIG:Debug>,-Og,-O3> -fno-exceptions -fno-rtti
        -fno-math-errno -fno-trapping-math ${KORVAN_COPY_${copy}_FLAGS})
    # A precompiled header has to come first, so the check is in it.
    list(LENGTH ARGN count)
    if(count GREATER 3 AND NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
        target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/copies/precompiled.h)
        # What a system header does on purpose (_mm512_undefined_pd) GCC warns of where it was
        # compiled before.
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-init-self>)
    else()
        target_compile_options(${target} PRIVATE "SHELL:-include ${KORVAN_FLAGS_CHECK}")
    endif()
    target_link_libraries(${target} PRIVATE korvan_warnings)
endfunction()
