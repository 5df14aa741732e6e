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
# In batches of sources, GCC takes all but the first for headers.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(varnelle_options INTERFACE -Wno-subobject-linkage)
endif()
if(VARNELLE_FUZZERS)
    # A loop in which every branch is counted can't be vectorised, which is no mistake of the loop's. And undefined
    # behaviour has to end the program: that is how a fuzz target tells what it found.
    target_compile_options(varnelle_options INTERFACE -Wno-pass-failed -fno-sanitize-recover=undefined)
endif()
if(VARNELLE_SANITIZE)
    string(REPLACE "," ";" sanitizers "${VARNELLE_SANITIZE}")
    target_compile_options(varnelle_options INTERFACE -fsanitize=${VARNELLE_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(varnelle_options INTERFACE -fsanitize=${VARNELLE_SANITIZE})
    # A null pointer ends the program anyway, and the machines we run on don't mind the alignment of what isn't a
    # vector. Checking every access for them takes as long to compile as everything else does.
    if("undefined" IN_LIST sanitizers AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(varnelle_options INTERFACE -fno-sanitize=null,alignment,vptr)
    endif()
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

# varnelle_qml_module(<folder> <URI> QML_FILES <file>... [SINGLETONS <file>...] [IMPORTS <URI>...])
#
# Makes a folder's library a QML module: its files and its types marked for QML. It has no plugin; a program calls
# prepareQmlEngine, and a folder's register function keeps the linker from dropping its types.
function(varnelle_qml_module folder uri)
    cmake_parse_arguments(ARG "" "" "QML_FILES;SINGLETONS;IMPORTS" ${ARGN})
    set_target_properties(${folder} PROPERTIES AUTOMOC ON)
    # For the sanitizers, views are compiled when they are loaded and their models without optimisation: both halve the
    # time to build, and views wait for people.
    set(cache "")
    if(VARNELLE_SANITIZE)
        set(cache NO_CACHEGEN)
        target_compile_options(${folder} PRIVATE -O0)
    endif()
    set_source_files_properties(${ARG_SINGLETONS} PROPERTIES QT_QML_SINGLETON_TYPE TRUE)
    string(REPLACE "." "/" path ${uri})
    # A symbolic link named after the folder stands in the include root: what moc and the type registrar write includes
    # a header by its bare name.
    target_include_directories(${folder} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    qt_add_qml_module(${folder}
        URI ${uri}
        VERSION 1.0
        NO_PLUGIN
        ${cache}
        RESOURCE_PREFIX /qt/qml
        OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/qml/${path}
        IMPORT_PATH ${PROJECT_BINARY_DIR}/qml
        DEPENDENCIES QtQuick ${ARG_IMPORTS}
        QML_FILES ${ARG_SINGLETONS} ${ARG_QML_FILES})
    # What Qt's tools write isn't ours to mend.
    get_target_property(sources ${folder} SOURCES)
    list(FILTER sources INCLUDE REGEX "qmlcache|qmltyperegistrations")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -Wno-shadow)
endfunction()
