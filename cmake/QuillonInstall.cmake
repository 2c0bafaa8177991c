# Install rules, the CMake package (find_package(Quillon)) and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS Quillon EXPORT QuillonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Headers: each module installs its own public ones (tulo_add_module).

set(QUILLON_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Quillon)
install(EXPORT QuillonTargets NAMESPACE Quillon:: DESTINATION ${QUILLON_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuillonConfig.cmake.in
    ${PROJECT_BINARY_DIR}/QuillonConfig.cmake INSTALL_DESTINATION ${QUILLON_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuillonConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuillonConfig.cmake ${PROJECT_BINARY_DIR}/QuillonConfigVersion.cmake
    DESTINATION ${QUILLON_CMAKE_DIR})

# Relative prefix, so an installed tree can be moved.
file(RELATIVE_PATH QUILLON_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/quillon.pc.in ${PROJECT_BINARY_DIR}/quillon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quillon.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
