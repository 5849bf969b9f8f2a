# What `cmake --install` puts in place: the headers, the library, and how CMake and pkg-config find them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS qor EXPORT qor)
install(DIRECTORY qor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(QOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qor)
install(EXPORT qor NAMESPACE qor:: FILE qorConfig.cmake DESTINATION ${QOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorConfigVersion.cmake DESTINATION ${QOR_CMAKE_DIR})

configure_file(cmake/qor.pc.in qor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
