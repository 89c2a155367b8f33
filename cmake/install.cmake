# What an embedding server gets: the two libraries, the headers it is compiled against, and the means to find them.

install(TARGETS velm_foundation velm_server cimom_indications EXPORT VelmIndicationsTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm-indications)

include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VelmIndications)
configure_package_config_file(
    cmake/VelmIndicationsConfig.cmake.in ${PROJECT_BINARY_DIR}/VelmIndicationsConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VelmIndicationsConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(EXPORT VelmIndicationsTargets NAMESPACE VelmIndications:: DESTINATION ${package_folder})
install(FILES ${PROJECT_BINARY_DIR}/VelmIndicationsConfig.cmake
              ${PROJECT_BINARY_DIR}/VelmIndicationsConfigVersion.cmake
        DESTINATION ${package_folder})

# The prefix is found from the place of the file, so that an installed tree can be moved.
file(RELATIVE_PATH VELM_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/velm-indications.pc.in velm-indications.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velm-indications.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
