# kestrel_floor(NAME BELOW...) makes the object library kestrel_NAME of Kestrel/NAME/**.cpp, with
# the sources of the other platform left out. Floors without a source yet are passed over.
set(KESTREL_ALL_FLOORS "")

if(WIN32)
    set(KESTREL_OTHER_PLATFORM Posix)
else()
    set(KESTREL_OTHER_PLATFORM Windows)
endif()

# What every floor is compiled with.
function(kestrel_floor_options target)
    target_link_libraries(${target} PRIVATE kestrel_options)
    target_compile_definitions(${target} PRIVATE KESTREL_BUILDING)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    # The library calls its own exported functions as its own: nobody may put others in their place.
    if(NOT WIN32)
        target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    endif()
    # A unique symbol would keep the library in the process for good; hosts may unload it.
    if(NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fno-gnu-unique)
    endif()
endfunction()

# What most sources include is compiled once for all floors; it is most of what a source costs. The
# build by clang has it off and proves that each source includes what it uses.
if(KESTREL_PRECOMPILED)
    file(WRITE ${CMAKE_BINARY_DIR}/Precompiled.cpp "")
    add_library(kestrel_floors_precompiled OBJECT ${CMAKE_BINARY_DIR}/Precompiled.cpp)
    kestrel_floor_options(kestrel_floors_precompiled)
    target_precompile_headers(kestrel_floors_precompiled PRIVATE <algorithm> <array> <atomic>
        <functional> <memory> <mutex> <span> <string> <string_view> <system_error> <unordered_map>
        <vector> <Kestrel/Root/Text/UniString.h> <Kestrel/Root/Containers/Array.h>
        <Kestrel/Location/Location.h>)
endif()

function(kestrel_floor name)
    if(KESTREL_FLOORS AND NOT name IN_LIST KESTREL_FLOORS)
        return()
    endif()
    if(name STREQUAL "Library")
        file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/Kestrel/*.cpp)
    else()
        file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/Kestrel/${name}/*.cpp)
    endif()
    list(FILTER sources EXCLUDE REGEX "/Platform/${KESTREL_OTHER_PLATFORM}/")
    if(NOT sources)
        return()
    endif()
    set(target kestrel_${name})
    add_library(${target} OBJECT ${sources})
    kestrel_floor_options(${target})
    if(KESTREL_PRECOMPILED)
        target_precompile_headers(${target} REUSE_FROM kestrel_floors_precompiled)
        # So that the compiler cache can tell what was compiled.
        target_compile_options(${target} PRIVATE -fpch-preprocess)
        # What is included before <windows.h>, or behind it, is what these are about.
        set(ordered ${sources})
        list(FILTER ordered INCLUDE REGEX "/Platform/Windows/")
        set_source_files_properties(${ordered} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    endif()
    set(built ${KESTREL_ALL_FLOORS} ${name})
    set(KESTREL_ALL_FLOORS ${built} PARENT_SCOPE)
    set(below "")
    foreach(floor ${ARGN})
        if(TARGET kestrel_${floor})
            list(APPEND below ${floor})
        endif()
    endforeach()
    set_property(GLOBAL PROPERTY KESTREL_BELOW_${name} "${below}")
endfunction()

# The system libraries that the floors stand on.
function(kestrel_link_system target)
    target_link_libraries(${target} PRIVATE Threads::Threads)
    if(WIN32)
        target_link_libraries(${target} PRIVATE ole32 uuid shell32 ws2_32 iphlpapi ntdll)
    else()
        target_link_libraries(${target} PRIVATE ${UTF8PROC_LIBRARY} ${CMAKE_DL_LIBS})
    endif()
    target_link_libraries(${target} PRIVATE ZLIB::ZLIB)
endfunction()

# The shared library of all floors.
function(kestrel_library)
    set(objects "")
    foreach(floor ${KESTREL_ALL_FLOORS})
        list(APPEND objects $<TARGET_OBJECTS:kestrel_${floor}>)
    endforeach()
    if(NOT objects)
        return()
    endif()
    add_library(Kestrel SHARED ${objects})
    add_library(Kestrel::Kestrel ALIAS Kestrel)
    target_link_libraries(Kestrel PRIVATE kestrel_options)
    target_include_directories(Kestrel PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
        $<INSTALL_INTERFACE:include>)
    target_compile_features(Kestrel PUBLIC cxx_std_20)
    kestrel_link_system(Kestrel)
    if(NOT WIN32)
        # All but those that hosts guess, whose address is to be one in all modules, and the objects
        # that are written to, of which a host's program may hold the one copy. What is bound here
        # costs the start of a host nothing.
        set(guessed ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/guessed.list)
        set(objectNames ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/objects.list)
        set(versions ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/kestrel.map)
        target_link_options(Kestrel PRIVATE -Wl,-Bsymbolic-functions -Wl,--dynamic-list=${guessed}
            -Wl,--dynamic-list=${objectNames} -Wl,--version-script=${versions})
        set_property(TARGET Kestrel APPEND PROPERTY LINK_DEPENDS ${guessed} ${objectNames}
            ${versions})
        # Addresses to be moved by where the library lies, a bit each, where the system reads that.
        include(CheckCXXSourceRuns)
        set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,-z,pack-relative-relocs -Wl,--fatal-warnings)
        check_cxx_source_runs("int main() { return 0; }" KESTREL_PACKED_RELOCATIONS)
        if(KESTREL_PACKED_RELOCATIONS)
            target_link_options(Kestrel PRIVATE -Wl,-z,pack-relative-relocs)
        endif()
    endif()
    set_target_properties(Kestrel PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1
        LINKER_LANGUAGE CXX)
    if(WIN32)
        set_target_properties(Kestrel PROPERTIES PREFIX "" OUTPUT_NAME Kestrel)
    else()
        set_target_properties(Kestrel PROPERTIES OUTPUT_NAME kestrel)
    endif()
endfunction()
