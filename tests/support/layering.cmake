# The library's layers, checked line by line:
#
#     file/ -> data/ -> core/    a room includes its own headers and those of the rooms to its right
#     anything -> outside        only headers of the C++ standard library
#     core/codec/                is included by core/compression.* and by itself
#     core/fs.*                  is the only place that names the functions of stdio that move bytes
#
#     cmake -DROOT=<folder that holds qor/> -P layering.cmake
#
# Every line that breaks a rule is named, and the script fails.
cmake_minimum_required(VERSION 3.25)

set(standard_headers
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts condition_variable
    coroutine deque exception execution filesystem format forward_list fstream functional future initializer_list
    iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers
    numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex
    source_location span sstream stack stdexcept stop_token streambuf string string_view strstream syncstream
    system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant
    vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio
    cstdlib cstring ctime cuchar cwchar cwctype)

# What each room may include of the library.
set(rooms_below_core core)
set(rooms_below_data data core)
set(rooms_below_file file data core)

set(stdio "fopen|freopen|fread|fwrite|fseek|ftell|fflush|fclose")

set(broken 0)
macro(breaks rule)
    message("qor/${file}:${number}: ${rule}: ${line}")
    math(EXPR broken "${broken} + 1")
endmacro()

file(GLOB_RECURSE files RELATIVE ${ROOT}/qor ${ROOT}/qor/*)
if(NOT files)
    message(FATAL_ERROR "There is no library in ${ROOT}.")
endif()

foreach(file IN LISTS files)
    string(REGEX MATCH "^[^/]*" room "${file}")
    if(NOT DEFINED rooms_below_${room})
        message("qor/${file}:1: no room of the library")
        math(EXPR broken "${broken} + 1")
        continue()
    endif()

    # A list item to a line; what CMake would take for a list of its own is blanked out.
    file(READ ${ROOT}/qor/${file} lines)
    string(REGEX REPLACE "[][;\\]" " " lines "${lines}")
    string(REPLACE "\n" ";" lines "${lines}")

    set(number 0)
    foreach(line IN LISTS lines)
        math(EXPR number "${number} + 1")

        if(line MATCHES "^ *# *include *\"qor/(([a-z]+)/[^\"]*)\"")
            set(included ${CMAKE_MATCH_1})
            if(NOT CMAKE_MATCH_2 IN_LIST rooms_below_${room})
                breaks("${room}/ does not include ${CMAKE_MATCH_2}/")
            elseif(included MATCHES "^core/codec/" AND NOT file MATCHES "^core/(codec/|compression\\.)")
                breaks("a codec is reached through core/compression.h")
            endif()
        elseif(line MATCHES "^ *# *include *<([^>]*)>")
            if(NOT CMAKE_MATCH_1 IN_LIST standard_headers)
                breaks("not a header of the C++ standard library")
            endif()
        elseif(line MATCHES "^ *# *include")
            breaks("an include is written from the root, as \"qor/...\"")
        endif()

        if(NOT file MATCHES "^core/fs\\." AND line MATCHES "std::(${stdio})|(^|[^a-zA-Z0-9_])(${stdio}) *\\(")
            breaks("stdio is called in core/fs.cpp alone")
        endif()
    endforeach()
endforeach()

if(broken GREATER 0)
    message(FATAL_ERROR "Lines that break the layers: ${broken}")
endif()
