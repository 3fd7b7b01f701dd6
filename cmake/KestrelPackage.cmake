# cmake --install: the library, its public headers, the tool, and what find_package and pkg-config
# need. The headers beside a floor's Internal and Platform folders are the house's own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS Kestrel EXPORT KestrelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/Kestrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h"
    PATTERN "Internal" EXCLUDE
    PATTERN "Platform" EXCLUDE)
install(EXPORT KestrelTargets NAMESPACE Kestrel::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrel)
file(WRITE ${CMAKE_BINARY_DIR}/KestrelConfig.cmake
    "include(\${CMAKE_CURRENT_LIST_DIR}/KestrelTargets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KestrelConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KestrelConfig.cmake ${CMAKE_BINARY_DIR}/KestrelConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrel)
if(TARGET kestrel_tool)
    install(TARGETS kestrel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
