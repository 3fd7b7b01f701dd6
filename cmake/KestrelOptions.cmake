option(KESTREL_TESTS "Build the tests" ON)
option(KESTREL_TOOLS "Build the command line tool and the examples" ON)
option(KESTREL_BENCHMARKS "Build the benchmarks" OFF)
option(KESTREL_FUZZ "Build the fuzz harnesses (clang)" OFF)
option(KESTREL_PRECOMPILED "Compile the headers that most sources include once" OFF)
option(KESTREL_WERROR "Treat warnings as errors" OFF)
set(KESTREL_SANITIZE "" CACHE STRING "Sanitizers, as in address,undefined")
set(KESTREL_FLOORS "" CACHE STRING "Build these floors and their tests only; empty builds all")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # What one checkout has compiled serves the next, wherever it lies. By the bytes of what was
    # included, never by what the preprocessor makes of them: the compiler knows a header of a
    # precompiled one again by its bytes, comments and all.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}
        CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_DEPEND=1)
    if(CMAKE_CXX_FLAGS_RELEASE MATCHES "prefix-map")
        # A precompiled header of another checkout names its files by paths that are not mapped here.
        list(APPEND CMAKE_CXX_COMPILER_LAUNCHER CCACHE_NAMESPACE=${CMAKE_SOURCE_DIR})
    endif()
    list(APPEND CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()

# What every target of the house is compiled with. Interfaces answer a reference made from a null
# pointer with a status, so the compiler must not conclude that there is none.
add_library(kestrel_options INTERFACE)
target_include_directories(kestrel_options INTERFACE
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>)
target_compile_options(kestrel_options INTERFACE
    -Wall -Wextra -Wpedantic -Wno-unused-parameter -fno-delete-null-pointer-checks)
if(KESTREL_WERROR)
    target_compile_options(kestrel_options INTERFACE -Werror)
endif()
if(WIN32)
    # _WIN32_WINNT: Windows 7. The macros keep <windows.h> small and wide.
    target_compile_definitions(kestrel_options INTERFACE
        WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0601)
    target_link_options(kestrel_options INTERFACE -static)
endif()
add_library(kestrel_sanitizers INTERFACE)
target_link_libraries(kestrel_options INTERFACE kestrel_sanitizers)
if(KESTREL_SANITIZE)
    target_compile_options(kestrel_sanitizers INTERFACE
        -fsanitize=${KESTREL_SANITIZE} -fno-omit-frame-pointer)
    if(KESTREL_SANITIZE MATCHES "undefined")
        # vptr needs the type information of hidden classes, which the shared library keeps to
        # itself. References made from null pointers are answered with a status, and tested; a null
        # that is followed ends the process anyway.
        target_compile_options(kestrel_sanitizers INTERFACE
            -fno-sanitize=vptr,null -fno-sanitize-recover=all)
    endif()
    target_link_options(kestrel_sanitizers INTERFACE -fsanitize=${KESTREL_SANITIZE})
endif()

find_package(Threads REQUIRED)
# Where a manager of packages keeps them, or the system.
if(WIN32)
    set(ZLIB_USE_STATIC_LIBS ON)
endif()
find_package(ZLIB REQUIRED)
target_include_directories(kestrel_options SYSTEM INTERFACE ${ZLIB_INCLUDE_DIRS})
if(NOT WIN32)
    find_path(UTF8PROC_INCLUDE_DIR utf8proc.h REQUIRED)
    find_library(UTF8PROC_LIBRARY utf8proc REQUIRED)
    target_include_directories(kestrel_options SYSTEM INTERFACE ${UTF8PROC_INCLUDE_DIR})
endif()
