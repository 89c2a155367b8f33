# Settings and target helpers shared by every folder of this project.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-Wthread-safety)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13
   AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    # With optimization, GCC 12 takes the concatenation of a literal and a std::string for overlapping memory.
    add_compile_options(-Wno-restrict)
endif()
if(VELM_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()

if(VELM_SANITIZE)
    add_compile_options(-fsanitize=${VELM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VELM_SANITIZE})
    if(VELM_SANITIZE MATCHES "undefined")
        # This check opens a pipe to see whether memory can be read, and a test runs without a descriptor to give.
        add_compile_options(-fno-sanitize=vptr)
    endif()
endif()
if(VELM_SANITIZE STREQUAL "thread")
    # ThreadSanitizer does not know fences, and GCC warns of each; Asio's handlers are ordered by its locks already.
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

# velm_add_layer(<name> <folder> [<library>...])
# One object library of all sources below <folder>, so that the shared libraries and each test binary link the
# layers they need. The libraries named stay private to the layer's sources.
function(velm_add_layer name folder)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${folder}/*.cpp")
    if(NOT sources)
        return()
    endif()
    add_library(${name} OBJECT ${sources})
    target_link_libraries(${name} PUBLIC velm_foundation PRIVATE ${ARGN})
endfunction()

# velm_add_shared_library(<name> LAYERS <layer>... [LIBRARIES <library>...])
# A shared library made of layers. It shows what cmake/<name>.map names; the libraries named are part of its interface.
function(velm_add_shared_library name)
    cmake_parse_arguments(ARG "" "" "LAYERS;LIBRARIES" ${ARGN})
    foreach(library IN LISTS ARG_LIBRARIES)
        if(NOT TARGET ${library})
            return()
        endif()
    endforeach()
    add_library(${name} SHARED)
    target_link_libraries(${name} PUBLIC velm_foundation ${ARG_LIBRARIES} PRIVATE ${ARG_LAYERS})
    set(map "${PROJECT_SOURCE_DIR}/cmake/${name}.map")
    target_link_options(${name} PRIVATE "LINKER:--version-script=${map}")
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS "${map}"
        INSTALL_RPATH "$ORIGIN")
endfunction()
