# What every piece of our own code is compiled with, on each compiler that we support.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Werror)

find_package(Threads REQUIRED)

if(ELVANTRIS_SANITIZE)
    add_compile_options(-fsanitize=${ELVANTRIS_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -O1 -g1)
    # This check opens a pipe, and fails sound code in the tests that have no descriptor left.
    add_compile_options(-fno-sanitize=vptr)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # The instrumented code confuses these of g++; the plain builds keep them as errors.
        add_compile_options(-Wno-array-bounds -Wno-maybe-uninitialized -Wno-stringop-overflow
                            -Wno-stringop-overread)
    endif()
    add_link_options(-fsanitize=${ELVANTRIS_SANITIZE})
endif()

if(ELVANTRIS_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(WIN32)
    # Windows 10 is the oldest system that operators run. One file, no runtime of ours beside it.
    add_compile_definitions(_WIN32_WINNT=0x0A00 WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE)
    add_link_options(-static -static-libgcc -static-libstdc++)
    # The same objects make the same file, whenever they are linked.
    add_link_options(-Wl,--no-insert-timestamp)
endif()
