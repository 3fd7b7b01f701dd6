# cmake --install: the library, its public headers, the tool, and what find_package and pkg-config
# need; cpack: Debian packages of the same, or an archive for Windows. The headers in a floor's
# Internal and Platform folders are the house's own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KESTREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrel)
install(TARGETS Kestrel EXPORT KestrelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
        NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/Kestrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
    FILES_MATCHING PATTERN "*.h"
    PATTERN "Internal" EXCLUDE
    PATTERN "Platform" EXCLUDE)
install(EXPORT KestrelTargets NAMESPACE Kestrel:: DESTINATION ${KESTREL_CMAKE_DIR}
    COMPONENT development)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/KestrelConfig.cmake.in
    ${CMAKE_BINARY_DIR}/KestrelConfig.cmake INSTALL_DESTINATION ${KESTREL_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KestrelConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KestrelConfig.cmake ${CMAKE_BINARY_DIR}/KestrelConfigVersion.cmake
    DESTINATION ${KESTREL_CMAKE_DIR} COMPONENT development)

# The folder of libraries may have levels of its own, as lib/x86_64-linux-gnu.
file(RELATIVE_PATH KESTREL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" KESTREL_PC_TO_PREFIX "${KESTREL_PC_TO_PREFIX}")
get_target_property(KESTREL_LINK_NAME Kestrel OUTPUT_NAME)
configure_file(${CMAKE_SOURCE_DIR}/cmake/kestrel.pc.in ${CMAKE_BINARY_DIR}/kestrel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kestrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
install(FILES ${CMAKE_SOURCE_DIR}/Tools/debug/Kestrel.natvis
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel COMPONENT development)
if(NOT WIN32)
    # gdb loads what stands here, under the library's own path, together with the library. The prefix
    # is that of the installation, which a package sets anew.
    install(FILES ${CMAKE_SOURCE_DIR}/Tools/debug/kestrel_gdb.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}
        RENAME libkestrel.so.${PROJECT_VERSION}-gdb.py COMPONENT development)
endif()
if(TARGET kestrel_tool)
    install(TARGETS kestrel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    install(FILES ${CMAKE_SOURCE_DIR}/Tools/kestrel/web/d3/LICENSE
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kestrel-tools RENAME LICENSE.d3 COMPONENT tool)
    if(NOT WIN32)
        install(FILES ${CMAKE_SOURCE_DIR}/Tools/kestrel/kestrel.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    endif()
endif()

# What changed, where a distribution looks for it.
find_program(KESTREL_GZIP gzip)
if(KESTREL_GZIP AND NOT WIN32)
    execute_process(COMMAND ${KESTREL_GZIP} -9nc ${CMAKE_SOURCE_DIR}/CHANGELOG.md
        OUTPUT_FILE ${CMAKE_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
    foreach(component library:libkestrel1 development:libkestrel-dev tool:kestrel-tools)
        string(REPLACE ":" ";" component ${component})
        list(GET component 0 name)
        list(GET component 1 package)
        if(NOT name STREQUAL tool OR TARGET kestrel_tool)
            install(FILES ${CMAKE_BINARY_DIR}/changelog.gz
                DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${name})
        endif()
    endforeach()
endif()

set(CPACK_PACKAGE_NAME kestrel)
set(CPACK_PACKAGE_VENDOR Kestrel)
set(CPACK_PACKAGE_CONTACT "The Kestrel maintainers <kestrel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_COMPONENTS_ALL library development)
if(TARGET kestrel_tool)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(WIN32)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    # Each package with programs gets one with their symbols beside it.
    set(CPACK_DEBIAN_LIBRARY_DEBUGINFO_PACKAGE ON)
    set(CPACK_DEBIAN_TOOL_DEBUGINFO_PACKAGE ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkestrel1)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkestrel-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkestrel1 (= ${PROJECT_VERSION})")
    set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kestrel-tools)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libkestrel1 (= ${PROJECT_VERSION})")
    set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS libedit2) # loaded by one command alone
    # The tool's needs are looked up with the library of the build tree at hand.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
endif()
include(CPack)
cpack_add_component(library DISPLAY_NAME "Library" DESCRIPTION
    "What programs built with Kestrel need to run.")
cpack_add_component(development DISPLAY_NAME "Development files" DEPENDS library DESCRIPTION
    "Headers, and what CMake, pkg-config and debuggers need to build and look at programs.")
cpack_add_component(tool DISPLAY_NAME "Command line tool" DEPENDS library DESCRIPTION
    "kestrel: files and folders by portable paths and URLs, from the command line.")
