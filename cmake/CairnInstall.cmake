# Install rules: headers, both libraries, a CMake package (cairn::cairn) and
# a pkg-config file.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(TARGETS cairn cairn_static EXPORT cairnTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT cairnTargets NAMESPACE cairn::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cairn)

configure_package_config_file(cmake/cairnConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/cairnConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cairn)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/cairnConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/cairnConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/cairnConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cairn)

# The .pc file finds the prefix relative to itself, so a staged or moved
# installation still works.
file(RELATIVE_PATH CAIRN_PC_TO_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" CAIRN_PC_TO_PREFIX "${CAIRN_PC_TO_PREFIX}")
configure_file(cmake/cairn.pc.in ${CMAKE_CURRENT_BINARY_DIR}/cairn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/cairn.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
