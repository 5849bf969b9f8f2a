# Another project, which finds the installed library as a CMake package.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

build(${CMAKE_CURRENT_LIST_DIR}/package -DCMAKE_PREFIX_PATH=${PREFIX})
run(${FOLDER}/consumer)
