# Writes an assembler file by which objects that import from the library are linked with the same
# functions and data in one program: what the loader fills in of a DLL, the linker does.
#
# cmake -D NM=... -D OUTPUT=... -P LocalImports.cmake OBJECT...
math(EXPR last "${CMAKE_ARGC} - 1")
set(found)
foreach(i RANGE ${last})
    if(CMAKE_ARGV${i} MATCHES "\\.obj?$")
        execute_process(COMMAND ${NM} -u ${CMAKE_ARGV${i}} OUTPUT_VARIABLE names
            COMMAND_ERROR_IS_FATAL ANY)
        # Of all namespaces but std, whose mangled names have no number in front.
        string(REGEX MATCHALL "__imp__Z[A-Z]*[0-9][A-Za-z0-9_]*" names "${names}")
        list(APPEND found ${names})
    endif()
endforeach()
list(REMOVE_DUPLICATES found)
set(text ".section .rdata\n.balign 8\n")
foreach(name ${found})
    string(REGEX REPLACE "^__imp_" "" symbol ${name})
    string(APPEND text ".globl ${name}\n${name}: .quad ${symbol}\n")
endforeach()
file(WRITE ${OUTPUT} "${text}")
