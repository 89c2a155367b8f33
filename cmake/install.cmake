# What an embedding server gets: the two libraries, the headers it is compiled against, and the means to find them.
# Components are the packages that packaging/CMakeLists.txt makes.

foreach(library velm_server cimom_indications)
    install(TARGETS ${library} EXPORT VelmIndicationsTargets
            LIBRARY COMPONENT ${library} NAMELINK_COMPONENT development
            FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm-indications COMPONENT development)
endforeach()
install(TARGETS velm_foundation EXPORT VelmIndicationsTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velm-indications COMPONENT development)

include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VelmIndications)
configure_package_config_file(
    cmake/VelmIndicationsConfig.cmake.in ${PROJECT_BINARY_DIR}/VelmIndicationsConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VelmIndicationsConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(EXPORT VelmIndicationsTargets NAMESPACE VelmIndications:: DESTINATION ${package_folder} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/VelmIndicationsConfig.cmake
              ${PROJECT_BINARY_DIR}/VelmIndicationsConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT development)

# The prefix is found from the place of the file, so that an installed tree can be moved.
file(RELATIVE_PATH VELM_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/velm-indications.pc.in velm-indications.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velm-indications.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

# What an operator gets: the daemon, the tool, and the providers where the daemon looks for them. What belongs to them
# beside the programs is in packaging/.
set_target_properties(velmd velmctl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS velmd RUNTIME COMPONENT velmd)
install(TARGETS velmctl RUNTIME COMPONENT velmctl)
set_target_properties(file_watch_provider network_links_provider PROPERTIES INSTALL_RPATH "$ORIGIN/../..")
install(TARGETS file_watch_provider network_links_provider
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/velm/providers COMPONENT providers)
