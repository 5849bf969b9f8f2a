# What the scripts share: running commands, and other people's projects.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})

# run(<command> <argument>...): runs a command in the test's folder. Where it fails, so does the test.
function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${FOLDER} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# build(<source folder> <definition>...): configures and builds a project in the test's folder.
function(build source)
    run(${CMAKE_COMMAND} -S ${source} -B ${FOLDER} -G ${GENERATOR} -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}
        -DCMAKE_CXX_COMPILER=${COMPILER} ${ARGN})
    run(${CMAKE_COMMAND} --build ${FOLDER} --parallel 2)
endfunction()
