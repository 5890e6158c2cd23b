# program_resources(TARGET DESCRIPTION): what Windows shows of a program's file: icon, manifest and
# version.
include_guard(GLOBAL)
enable_language(RC)

function(program_resources program description)
    set(folder ${PROJECT_SOURCE_DIR}/packaging/windows)
    set(resources ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc)
    configure_file(${folder}/program.rc.in ${resources} @ONLY)
    set_source_files_properties(${resources} PROPERTIES
        OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/assets/icon.ico;${folder}/program.manifest")
    target_sources(${program} PRIVATE ${resources})
endfunction()
