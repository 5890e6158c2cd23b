# hidapi::hidapi, included as <hidapi.h>: the system's shared library on Linux, the static one that
# scripts/setup builds for Windows. That one finds hid.dll and cfgmgr32.dll itself while running, so
# no further library is linked.
include_guard(GLOBAL)

if(WIN32)
    set(hidapi_folder ${CMAKE_CURRENT_LIST_DIR}/../build/hidapi-windows)
    cmake_path(NORMAL_PATH hidapi_folder)
    if(NOT EXISTS ${hidapi_folder}/lib/libhidapi.a)
        message(FATAL_ERROR "hidapi has not been built for Windows yet: run scripts/setup")
    endif()
    add_library(hidapi::hidapi STATIC IMPORTED GLOBAL)
    set_target_properties(hidapi::hidapi PROPERTIES
        IMPORTED_LOCATION ${hidapi_folder}/lib/libhidapi.a
        INTERFACE_INCLUDE_DIRECTORIES ${hidapi_folder}/include)
else()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(HIDAPI IMPORTED_TARGET GLOBAL hidapi-hidraw)
    if(NOT HIDAPI_FOUND)
        message(FATAL_ERROR "hidapi is not installed: run scripts/setup")
    endif()
    add_library(hidapi::hidapi ALIAS PkgConfig::HIDAPI)
endif()
