# Build rules that every target of the project shares.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(varnelle_warnings INTERFACE)
target_compile_options(varnelle_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror)
add_library(varnelle_options INTERFACE)
target_link_libraries(varnelle_options INTERFACE varnelle_warnings)
# Optimising, GCC 12 sees overlapping copies in its own std::string (its bug 105651) and unset values in std::optional
# (80635).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(varnelle_options INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
endif()
if(VARNELLE_FUZZERS)
    # A loop in which every branch is counted can't be vectorised, which is no mistake of the loop's. And undefined
    # behaviour has to end the program: that is how a fuzz target tells what it found.
    target_compile_options(varnelle_options INTERFACE -Wno-pass-failed -fno-sanitize-recover=undefined)
endif()
if(VARNELLE_SANITIZE)
    target_compile_options(varnelle_options INTERFACE -fsanitize=${VARNELLE_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(varnelle_options INTERFACE -fsanitize=${VARNELLE_SANITIZE})
endif()

# varnelle_library(<folder> SOURCES <file>... [LINK <folder or library>...] [PRIVATE <library>...])
#
# One static library per folder of src/. A header of the folder is included as "<folder>/Header.h", and that path
# resolves only for targets that link the folder: each library exports an include root of its own which holds
# nothing but a link to its folder. This is what keeps includes from going up the house.
function(varnelle_library folder)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE" ${ARGN})
    set(include_root ${PROJECT_BINARY_DIR}/include/${folder})
    file(MAKE_DIRECTORY ${include_root})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${include_root}/${folder} SYMBOLIC)
    add_library(${folder} STATIC ${ARG_SOURCES})
    target_include_directories(${folder} PUBLIC ${include_root})
    target_link_libraries(${folder} PUBLIC ${ARG_LINK} PRIVATE varnelle_options ${ARG_PRIVATE})
endfunction()

# varnelle_program(<name> SOURCES <file>... LINK <library>...)
function(varnelle_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE varnelle_options ${ARG_LINK})
endfunction()
