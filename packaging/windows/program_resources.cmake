# What Windows shows of the program file: icon, manifest and version.
enable_language(RC)
set(resources ${CMAKE_CURRENT_BINARY_DIR}/program.rc)
configure_file(${CMAKE_CURRENT_LIST_DIR}/program.rc.in ${resources} @ONLY)
set_source_files_properties(${resources} PROPERTIES
    OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/assets/icon.ico;${CMAKE_CURRENT_LIST_DIR}/program.manifest")
target_sources(elvantris-redundancy-control PRIVATE ${resources})
