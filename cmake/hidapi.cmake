# hidapi::hidapi, included as <hidapi.h>: what scripts/setup builds, a static library for Windows and
# a shared one for Linux. The static one finds hid.dll and cfgmgr32.dll itself while running, so no
# further library is linked.
include_guard(GLOBAL)

cmake_path(SET hidapi_build NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build)
if(WIN32)
    add_library(hidapi::hidapi STATIC IMPORTED GLOBAL)
    set(hidapi_library ${hidapi_build}/hidapi-windows/lib/libhidapi.a)
    set(hidapi_headers ${hidapi_build}/hidapi-windows/include)
else()
    add_library(hidapi::hidapi SHARED IMPORTED GLOBAL)
    set(hidapi_library
        ${hidapi_build}/lib/elvantris-redundancy-control/libhidapi-hidraw.so.0)
    set_target_properties(hidapi::hidapi PROPERTIES IMPORTED_SONAME libhidapi-hidraw.so.0)
    # Debian's own serve: only the library is built anew.
    find_path(hidapi_headers hidapi.h PATH_SUFFIXES hidapi)
endif()
if(NOT EXISTS ${hidapi_library} OR NOT hidapi_headers)
    message(FATAL_ERROR "hidapi has not been built yet: run scripts/setup")
endif()
set_target_properties(hidapi::hidapi PROPERTIES
    IMPORTED_LOCATION ${hidapi_library}
    INTERFACE_INCLUDE_DIRECTORIES ${hidapi_headers})
