# The Debian packages: one for each component. scripts/package makes them, with the preset "package".

file(STRINGS debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "\\(${PROJECT_VERSION}\\)")
    message(FATAL_ERROR "packaging/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velm-indications)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "Velm maintainers <maintainers@users.noreply.c-seed-54dc3c44.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries belong to no package yet when dependencies are looked up: components name them below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/server ${PROJECT_BINARY_DIR}/Indications)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Before 1.0 only what was built together fits together.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")

# velm_add_package(<component> <package> SECTION <section> SUMMARY <line> DESCRIPTION <text> [COMPONENTS <component>...]
#                  [DEPENDS <package>...] [RECOMMENDS <package>...])
# Files for maintainers stand in debian/<component>: maintainer scripts, conffiles, and reasons given to lintian.
function(velm_add_package component package)
    cmake_parse_arguments(ARG "" "SECTION;SUMMARY;DESCRIPTION" "COMPONENTS;DEPENDS;RECOMMENDS" ${ARGN})
    string(TOUPPER ${component} COMPONENT)
    string(REPLACE ";" ", " depends "${ARG_DEPENDS}")
    string(REPLACE ";" ", " recommends "${ARG_RECOMMENDS}")
    file(GLOB control debian/${component}/*)
    set(overrides ${CMAKE_CURRENT_SOURCE_DIR}/debian/${component}/lintian-overrides)
    list(REMOVE_ITEM control ${overrides})

    set(CPACK_COMPONENT_${COMPONENT}_DEPENDS "${ARG_COMPONENTS}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${COMPONENT}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_DESCRIPTION}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${ARG_SECTION} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_RECOMMENDS "${recommends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA "${control}" PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)

    set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install(FILES debian/copyright DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${documents} COMPONENT ${component}
            EXCLUDE_FROM_ALL)
    if(EXISTS ${overrides})
        install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
                COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
endfunction()

add_custom_command(
    OUTPUT changelog.gz
    COMMAND gzip -9nc ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog > changelog.gz
    DEPENDS debian/changelog VERBATIM)
add_custom_target(package_changelog ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)

velm_add_package(velm_server libvelm-server${PROJECT_VERSION_MAJOR}
    SECTION libs
    SUMMARY "layers of a CIM server that the indication library stands on"
    DESCRIPTION "Object model, subscribers, configuration, log, HTTP and CIM-XML messages.\n\
A server that brings its own does without it.")
velm_add_package(cimom_indications libcimom-indications${PROJECT_VERSION_MAJOR}
    SECTION libs COMPONENTS velm_server
    SUMMARY "indication subsystem for CIM servers"
    DESCRIPTION "Keeps subscriptions, decides who receives what, and delivers it as\n\
CIM-XML export messages over HTTP.")
velm_add_package(development libcimom-indications-dev
    SECTION libdevel COMPONENTS velm_server cimom_indications DEPENDS libc6-dev
    SUMMARY "indication subsystem for CIM servers: development files"
    DESCRIPTION "Headers, and what CMake and pkg-config need to find the library, for\n\
servers that load it and for providers.")
velm_add_package(velmd velmd
    SECTION admin COMPONENTS velm_server cimom_indications RECOMMENDS velm-providers velmctl logrotate
    DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers"
    SUMMARY "CIM server that tells its clients what happens"
    DESCRIPTION "Serves CIM-XML on the loopback interface, keeps classes and instances,\n\
loads providers, and delivers indications to those who subscribed.")
velm_add_package(velmctl velmctl
    SECTION admin COMPONENTS velm_server
    SUMMARY "command-line tool for velmd"
    DESCRIPTION "Subscribes and listens, makes things happen, shows classes and\n\
instances, and explains why a listener hears nothing.")
velm_add_package(providers velm-providers
    SECTION admin COMPONENTS velm_server
    SUMMARY "providers for velmd: files and network links"
    DESCRIPTION "Loadable modules: one reports what happens to the files of directories,\n\
the other what happens to Ethernet ports and IP addresses.")

include(CPack)
