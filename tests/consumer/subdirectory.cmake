# Another project, of which the library is a folder. It gets the library and none of the project's own wishes.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

build(${CMAKE_CURRENT_LIST_DIR}/subdirectory -DQOR_ROOT=${ROOT} -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
run(${FOLDER}/consumer)

file(READ ${FOLDER}/compile_commands.json commands)
string(REGEX MATCH "\"command\": [^\n]*consumer/main.cpp" own "${commands}")
if(NOT own)
    message(FATAL_ERROR "How main.cpp was compiled is not told:\n${commands}")
elseif(own MATCHES " -W")
    message(FATAL_ERROR "The project's warnings are asked of a program that uses the library:\n${own}")
elseif(commands MATCHES " -Werror")
    message(FATAL_ERROR "A warning would fail somebody else's build:\n${commands}")
endif()
