# Installs the library once for each library folder, and moves all of it to another place: what is installed may name
# neither the place it was installed to nor the one it was built from.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${PREFIXES})
file(MAKE_DIRECTORY ${PREFIXES})

string(REPLACE "," ";" LIBRARY_FOLDERS ${LIBRARY_FOLDERS})
foreach(library_folder IN LISTS LIBRARY_FOLDERS)
    build(${ROOT} -DCMAKE_BUILD_TYPE=Debug -DCMAKE_INSTALL_LIBDIR=${library_folder}
        -DQOR_BUILD_TESTS=OFF -DQOR_BUILD_TOOLS=OFF -DQOR_BUILD_EXAMPLES=OFF)
    run(${CMAKE_COMMAND} --install ${FOLDER} --prefix ${FOLDER}/first)

    string(REPLACE "/" "-" name ${library_folder})
    set(prefix ${PREFIXES}/${name})
    file(RENAME ${FOLDER}/first ${prefix})

    file(GLOB_RECURSE sources RELATIVE ${prefix} ${prefix}/*.cpp)
    if(sources)
        message(FATAL_ERROR "Sources are installed: ${sources}")
    endif()

    file(GLOB_RECURSE descriptions ${prefix}/*.cmake ${prefix}/*.pc)
    foreach(description IN LISTS descriptions)
        file(READ ${description} text)
        foreach(place IN ITEMS ${FOLDER} ${ROOT})
            string(FIND "${text}" ${place} found)
            if(NOT found EQUAL -1)
                message(FATAL_ERROR "${description} holds on to ${place}:\n${text}")
            endif()
        endforeach()
    endforeach()
endforeach()
