# One call of the compiler, with the library's sources beside the program's own.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(GLOB_RECURSE sources ${ROOT}/qor/*.cpp)
run(${COMPILER} -std=c++20 -I${ROOT} ${CMAKE_CURRENT_LIST_DIR}/main.cpp ${sources} -o consumer)
run(${FOLDER}/consumer)
