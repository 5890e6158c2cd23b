# minizip::minizip, included as <minizip/zip.h>: writes zip archives with the compression of zlib.
# Both are linked into the tool, so that it needs no further library: Debian's own on Linux, and for
# Windows zlib of Debian's cross package and what scripts/setup builds.
include_guard(GLOBAL)

add_library(minizip::minizip STATIC IMPORTED GLOBAL)
if(WIN32)
    cmake_path(SET minizip_build NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/minizip-windows)
    set(minizip_library ${minizip_build}/lib/libminizip.a)
    set(minizip_headers ${minizip_build}/include)
    find_library(static_zlib libz.a)
else()
    find_library(minizip_library libminizip.a)
    find_path(minizip_headers minizip/zip.h)
    find_library(static_zlib libz.a)
endif()
if(NOT EXISTS ${minizip_library} OR NOT minizip_headers OR NOT static_zlib)
    message(FATAL_ERROR "minizip has not been built yet: run scripts/setup")
endif()
set_target_properties(minizip::minizip PROPERTIES
    IMPORTED_LOCATION ${minizip_library}
    INTERFACE_INCLUDE_DIRECTORIES ${minizip_headers}
    INTERFACE_LINK_LIBRARIES ${static_zlib})
