# The packages that ./package makes, OPINIT_PACKAGES being DEB or RPM: the components of cmake/install.cmake under the
# names that distributions use, with the papers that Debian asks of each.
set(CPACK_COMPONENTS_ALL library development standin)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each has its own
set(CPACK_PACKAGE_CONTACT "${OPINIT_PACKAGER}")
set(CPACK_PACKAGE_VENDOR "${OPINIT_PACKAGER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "not stated")
# The runtime library is the maker's, who may deliver it in another way; the stand-in is found by nobody unasked.
set(CPACK_RPM_SPEC_MORE_DEFINE
    "%global __requires_exclude ^libkvlinhw[.]so
%global __provides_exclude ^libkvlinhw[.]so
%global _build_id_links none")
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/share/man /usr/share/man/man8 /usr/lib64/cmake /usr/lib64/pkgconfig
    /usr/share/bash-completion /usr/share/bash-completion/completions)

# opinit_package(COMPONENT DEBIAN_NAME RPM_NAME SECTION SUMMARY DESCRIPTION)
macro(opinit_package component debian rpm section summary description)
    string(TOUPPER ${component} key)
    set(CPACK_COMPONENT_${key}_DESCRIPTION "${description}")
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${debian})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}")
    set(CPACK_RPM_${component}_PACKAGE_NAME ${rpm})
    set(CPACK_RPM_${component}_PACKAGE_SUMMARY "${summary}")
    set(CPACK_RPM_${component}_PACKAGE_DESCRIPTION "${description}")
    set(name ${debian})
    if(OPINIT_PACKAGES STREQUAL RPM)
        set(name ${rpm})
    endif()
    install(FILES packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endmacro()

configure_file(packaging/changelog.in changelog @ONLY)
execute_process(COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/changelog COMMAND_ERROR_IS_FATAL ANY)
set(about "\
It starts and stops the stack, reads and changes its settings, discovers
targets, logs in and out, and lists targets, sessions, connections and
disks.")
set(soname_package libkvlinopinitr${PROJECT_VERSION_MAJOR})
opinit_package(library ${soname_package} libkvlinopinitr libs
    "control of the host's iSCSI initiator, for storage management agents"
    "A plug-in library that controls open-iscsi. It needs the runtime
library libkvlinhw of the agent's maker.
${about}")
opinit_package(development libkvlinopinitr-dev libkvlinopinitr-devel libdevel
    "control of the host's iSCSI initiator, development files"
    "Headers, link, pkg-config and CMake packages, and examples for agents
that use libkvlinopinitr.")
if(OPINIT_TOOL)
    list(APPEND CPACK_COMPONENTS_ALL tool)
    opinit_package(tool opinitctl opinitctl admin
        "control of the host's iSCSI initiator from the command line"
        "${about}
Results are tables, trees or JSON; a doctor tells why operations would
be refused.")
endif()
opinit_package(standin libkvlinhw-standin libkvlinhw-standin libs
    "stand-in for the runtime library that libkvlinopinitr needs"
    "For hosts without the maker's libkvlinhw, and to link agents. It lies in
a folder of its own, which is looked into only where LD_LIBRARY_PATH
says so.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${soname_package} (= ${PROJECT_VERSION}), libkvlinhw-standin (= ${PROJECT_VERSION})")
set(CPACK_RPM_development_PACKAGE_REQUIRES
    "libkvlinopinitr = ${PROJECT_VERSION}, libkvlinhw-standin = ${PROJECT_VERSION}")
set(CPACK_DEBIAN_STANDIN_PACKAGE_DEPENDS libkmod2)
set(CPACK_RPM_standin_PACKAGE_REQUIRES kmod-libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS open-iscsi)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS libkvlinhw-standin)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${soname_package} (= ${PROJECT_VERSION})")
set(CPACK_RPM_tool_PACKAGE_REQUIRES "libkvlinopinitr = ${PROJECT_VERSION}")
set(CPACK_RPM_library_POST_INSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/packaging/ldconfig)
set(CPACK_RPM_library_POST_UNINSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/packaging/ldconfig)
include(CPack)
