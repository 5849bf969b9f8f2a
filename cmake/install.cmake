# What `cmake --install` puts in place: the headers, the library, and how CMake and pkg-config find them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS qor EXPORT qor INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY qor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(QOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qor)
install(EXPORT qor NAMESPACE qor:: FILE qorConfig.cmake DESTINATION ${QOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorConfigVersion.cmake DESTINATION ${QOR_CMAKE_DIR})

# pkg-config's file finds the prefix from where it lies itself, however many folders deep that is, so that the whole may
# be moved. Only a library folder that is not below the prefix has to be named as it is.
set(QOR_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${QOR_PC_DIR})
    set(QOR_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
    set(QOR_PC_PREFIX /prefix)
    cmake_path(RELATIVE_PATH QOR_PC_PREFIX BASE_DIRECTORY /prefix/${QOR_PC_DIR})
    string(PREPEND QOR_PC_PREFIX "\${pcfiledir}/")
endif()
cmake_path(APPEND QOR_PC_LIBDIR "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND QOR_PC_INCLUDEDIR "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/qor.pc.in qor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor.pc DESTINATION ${QOR_PC_DIR})
