# cpp_httplib: the one header of Debian's source package, which scripts/setup fetches. Debian's built
# library is there for Linux alone, and would bring TLS and compression that a rehearsal has no use
# for: the package would depend on all of them.
include_guard(GLOBAL)

cmake_path(SET httplib_header NORMALIZE
           ${CMAKE_CURRENT_LIST_DIR}/../build/httplib/include/httplib.h)
if(NOT EXISTS ${httplib_header})
    message(FATAL_ERROR "cpp-httplib has not been fetched yet: run scripts/setup")
endif()
cmake_path(GET httplib_header PARENT_PATH httplib_headers)
add_library(cpp_httplib INTERFACE)
target_include_directories(cpp_httplib SYSTEM INTERFACE ${httplib_headers})
# Its assertions tell the file's name. Without its folder every checkout makes the same programs.
target_compile_options(cpp_httplib INTERFACE -fmacro-prefix-map=${httplib_headers}/=)
if(WIN32)
    target_link_libraries(cpp_httplib INTERFACE ws2_32)
endif()
