# cpp_httplib: Debian's library on Linux. For Windows there is none, and there it is the one header
# of the same version's source, which scripts/setup fetches.
include_guard(GLOBAL)

add_library(cpp_httplib INTERFACE)
if(WIN32)
    cmake_path(SET httplib_header NORMALIZE
               ${CMAKE_CURRENT_LIST_DIR}/../build/httplib-windows/include/httplib.h)
    if(NOT EXISTS ${httplib_header})
        message(FATAL_ERROR "cpp-httplib has not been fetched yet: run scripts/setup")
    endif()
    cmake_path(GET httplib_header PARENT_PATH httplib_headers)
    target_include_directories(cpp_httplib SYSTEM INTERFACE ${httplib_headers})
    target_link_libraries(cpp_httplib INTERFACE ws2_32)
else()
    find_package(PkgConfig REQUIRED)
    # The library's own flags matter: its classes change their layout with them.
    pkg_check_modules(cpp_httplib REQUIRED IMPORTED_TARGET cpp-httplib)
    target_link_libraries(cpp_httplib INTERFACE PkgConfig::cpp_httplib)
endif()
