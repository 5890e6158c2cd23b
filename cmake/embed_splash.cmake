# embed_splash(TARGET FOLDER) compiles the tiles below FOLDER into TARGET: each set is a folder of
# its own, each key one file, in the order of the names. The sets are declared in
# decks/splash_tiles.hpp.
#
# Included, this file defines the function; run with -P, it writes the source file.

function(embed_splash target folder)
    file(GLOB tiles CONFIGURE_DEPENDS ${folder}/*/*.jpg ${folder}/*/*.bmp)
    set(script ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
    set(source ${CMAKE_CURRENT_BINARY_DIR}/splash_tiles.cpp)
    add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -D folder=${folder} -D source=${source} -P ${script}
        DEPENDS ${tiles} ${script}
        COMMENT "Embedding the splash tiles"
        VERBATIM)
    set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    target_sources(${target} PRIVATE ${source})
endfunction()

function(write_splash_source folder source)
    set(arrays "")
    set(sets "")
    file(GLOB set_folders LIST_DIRECTORIES true ${folder}/splash_*)
    foreach(set_folder IN LISTS set_folders)
        get_filename_component(set ${set_folder} NAME)
        set(table "")
        file(GLOB tiles ${set_folder}/*)
        foreach(tile IN LISTS tiles)
            get_filename_component(key ${tile} NAME_WE)
            file(READ ${tile} bytes HEX)
            string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
            string(APPEND arrays "constexpr unsigned char ${set}_${key}[] = {${bytes}};\n")
            string(APPEND table "    {${set}_${key}, sizeof ${set}_${key}},\n")
        endforeach()
        string(APPEND arrays "constexpr splash_tile ${set}_tiles[] = {\n${table}};\n")
        string(APPEND sets "constinit const splash_set ${set}{${set}_tiles};\n")
    endforeach()
    file(WRITE ${source} "#include \"decks/splash_tiles.hpp\"

namespace elvantris::operator_control {

namespace {

${arrays}
} // namespace

${sets}
} // namespace elvantris::operator_control
")
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
    write_splash_source(${folder} ${source})
endif()
