# One call of the compiler, with the flags that pkg-config gives for the installed library.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

set(ENV{PKG_CONFIG_LIBDIR} ${PREFIX}/${LIBRARY_FOLDER}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs qor OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")

run(${COMPILER} -std=c++20 ${CMAKE_CURRENT_LIST_DIR}/main.cpp ${flags} -o consumer)
run(${FOLDER}/consumer)
