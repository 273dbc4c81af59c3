# Installs the libraries, their headers, and the files by which others find them.
include(CMakePackageConfigHelpers)

install(TARGETS zet UplinkFailureDetection EXPORT UplinkFailureDetectionTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${UFD_STAGED_HEADERS}/ufd DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/UplinkFailureDetection)
install(EXPORT UplinkFailureDetectionTargets NAMESPACE UplinkFailureDetection::
        FILE UplinkFailureDetectionConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/UplinkFailureDetectionConfigVersion.cmake
  COMPATIBILITY ${UFD_COMPATIBILITY})
install(FILES ${PROJECT_BINARY_DIR}/UplinkFailureDetectionConfigVersion.cmake
        DESTINATION ${package_dir})

# The .pc file names paths relative to itself, so that the installed files can be moved.
file(RELATIVE_PATH UFD_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH UFD_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH UFD_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/UplinkFailureDetection.pc.in UplinkFailureDetection.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/UplinkFailureDetection.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
