# cmake -DPORT=FOLDER -DPREFIX=FOLDER -DWORK=FOLDER -P vcpkg.cmake: runs a port by stand-ins for the
# operations of the manager. What the port asks for is found in PREFIX, and the result stands in
# WORK/packages.
set(CURRENT_PACKAGES_DIR ${WORK}/packages)

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(vcpkg_check_linkage)
endfunction()

function(vcpkg_cmake_configure)
    cmake_parse_arguments(PARSE_ARGV 0 given "" "SOURCE_PATH" "OPTIONS")
    run(cmake -S ${given_SOURCE_PATH} -B ${WORK}/build -G Ninja ${given_OPTIONS}
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_PREFIX_PATH=${PREFIX}
        -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR})
endfunction()

function(vcpkg_cmake_install)
    run(cmake --build ${WORK}/build --target install)
endfunction()

# Packages are found below share there, by their names.
function(vcpkg_cmake_config_fixup)
    cmake_parse_arguments(PARSE_ARGV 0 given "" "CONFIG_PATH" "")
    if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/${given_CONFIG_PATH}/KestrelConfig.cmake)
        message(FATAL_ERROR "no package at ${given_CONFIG_PATH}")
    endif()
endfunction()

function(vcpkg_fixup_pkgconfig)
    if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/kestrel.pc)
        message(FATAL_ERROR "no file for pkg-config")
    endif()
endfunction()

include(${PORT}/portfile.cmake)
