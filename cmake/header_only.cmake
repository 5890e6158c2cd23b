# header_library(TARGET HEADER...): libraries of headers alone. They are the same on both systems, so
# both builds take Debian's. A folder of links shows them to the compiler: the machine's own include
# folder must not be on the path of the cross compiler.
include_guard(GLOBAL)

function(header_library target)
    set(header_links ${CMAKE_BINARY_DIR}/header_only/${target})
    file(MAKE_DIRECTORY ${header_links})
    foreach(header IN LISTS ARGN)
        string(MAKE_C_IDENTIFIER ${header} found)
        find_path(${found} ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
        if(NOT ${found})
            message(FATAL_ERROR "${header} is missing: run scripts/setup")
        endif()
        cmake_path(GET header PARENT_PATH folder)
        file(CREATE_LINK ${${found}}/${folder} ${header_links}/${folder} SYMBOLIC)
    endforeach()
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${header_links})
endfunction()

# What the console tool uses: arguments (CLI11) and JSON trees (nlohmann).
header_library(tool_headers CLI/CLI.hpp nlohmann/json.hpp)
