# Compiles the source of all calls that must not compile, and keeps the lines that name its errors.
#
#     cmake -DERRORS=<file to write> -P compile_all.cmake -- <compiler> <argument>...
set(command)
set(in_command FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
    if(in_command)
        list(APPEND command "${CMAKE_ARGV${i}}")
    elseif("${CMAKE_ARGV${i}}" STREQUAL "--")
        set(in_command TRUE)
    endif()
endforeach()

execute_process(COMMAND ${command} RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(NOT result EQUAL 1)
    message(FATAL_ERROR "The compiler was to find errors, and ended with ${result}:\n${said}")
endif()

string(REGEX MATCHALL "[^\n]*error: [^\n]*\n" errors "${said}")
list(JOIN errors "" errors)
file(WRITE ${ERRORS} "${errors}")
