# Headers and libraries are installed by their own folders; this adds the CMake package around them.
include(CMakePackageConfigHelpers)

install(EXPORT QK3DTargets NAMESPACE QK3D:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QK3D)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QK3DConfig.cmake.in ${PROJECT_BINARY_DIR}/QK3DConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QK3D
                              PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QK3DConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QK3DConfig.cmake ${PROJECT_BINARY_DIR}/QK3DConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QK3D)
