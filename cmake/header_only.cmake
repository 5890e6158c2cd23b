# tool_headers: the libraries of headers alone that the console tool and the simulator use, arguments
# (CLI11), JSON trees (nlohmann) and pictures (stb). They are the same on both systems, so both
# builds take Debian's. A folder of links shows them to the compiler: the machine's own include
# folder must not be on the path of the cross compiler.
include_guard(GLOBAL)

set(header_links ${CMAKE_BINARY_DIR}/header_only)
file(MAKE_DIRECTORY ${header_links})
foreach(header CLI/CLI.hpp nlohmann/json.hpp stb/stb_image_write.h)
    string(MAKE_C_IDENTIFIER ${header} found)
    find_path(${found} ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${found})
        message(FATAL_ERROR "${header} is missing: run scripts/setup")
    endif()
    cmake_path(GET header PARENT_PATH folder)
    file(CREATE_LINK ${${found}}/${folder} ${header_links}/${folder} SYMBOLIC)
endforeach()

add_library(tool_headers INTERFACE)
target_include_directories(tool_headers SYSTEM INTERFACE ${header_links})
