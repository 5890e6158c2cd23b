# minizip::minizip, included as <minizip/zip.h>: writes zip archives with the compression of zlib.
# minizip is linked into the tool: Debian's own on Linux, and for Windows what scripts/setup builds.
# zlib is the system's on Linux, where dpkg itself needs it, so that every Debian has it and keeps it
# up to date. For Windows that of Debian's cross package is linked in too.
include_guard(GLOBAL)

add_library(minizip::minizip STATIC IMPORTED GLOBAL)
if(WIN32)
    cmake_path(SET minizip_build NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/minizip-windows)
    set(minizip_library ${minizip_build}/lib/libminizip.a)
    set(minizip_headers ${minizip_build}/include)
    find_library(zlib_library libz.a)
else()
    find_library(minizip_library libminizip.a)
    find_path(minizip_headers minizip/zip.h)
    find_library(zlib_library z)
endif()
if(NOT EXISTS ${minizip_library} OR NOT minizip_headers OR NOT zlib_library)
    message(FATAL_ERROR "minizip has not been built yet: run scripts/setup")
endif()
set_target_properties(minizip::minizip PROPERTIES
    IMPORTED_LOCATION ${minizip_library}
    INTERFACE_INCLUDE_DIRECTORIES ${minizip_headers}
    INTERFACE_LINK_LIBRARIES ${zlib_library})
