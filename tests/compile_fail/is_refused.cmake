# Looks for the error of one call that must not compile.
#
#     cmake -DERRORS=<file> -DNAME=<name of the call> -DREASON=<regular expression> -P is_refused.cmake
file(READ ${ERRORS} errors)
string(REGEX MATCHALL "(^|\n)${NAME}:1:[^\n]*" found "${errors}")
if(found STREQUAL "")
    message(FATAL_ERROR "${NAME} compiles.")
elseif(NOT found MATCHES "error: .*${REASON}")
    message(FATAL_ERROR "${NAME} is refused without \"${REASON}\":\n${found}")
endif()
