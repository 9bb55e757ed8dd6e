# What "cmake --install" puts where, in the components that packages are made of: library, development, tool and
# standin.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The stand-in stays out of the loader's way: at run time the maker's library is found, or none.
set(OPINIT_STANDIN_DIR ${CMAKE_INSTALL_LIBDIR}/kvlinopinitr)
target_link_options(kvlinopinitr INTERFACE
    $<INSTALL_INTERFACE:-Wl,-rpath-link,$<INSTALL_PREFIX>/${OPINIT_STANDIN_DIR}>)
install(TARGETS kvlinhw LIBRARY DESTINATION ${OPINIT_STANDIN_DIR} COMPONENT standin)

install(TARGETS kvlinopinitr EXPORT kvlinopinitr
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/kvlinopinitr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES README.md NEWS.md docs/operations.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
    FILES_MATCHING PATTERN *.cpp)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvlinopinitr)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kvlinopinitrConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(EXPORT kvlinopinitr NAMESPACE kvlinopinitr:: FILE kvlinopinitrConfig.cmake
    DESTINATION ${package_dir} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/kvlinopinitrConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)

# Found from where the file itself lies, since a prefix may be given as late as at the installation.
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" up "${up}")
configure_file(packaging/kvlinopinitr.pc.in kvlinopinitr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kvlinopinitr.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(OPINIT_TOOL)
    install(TARGETS opinitctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    install(FILES packaging/opinitctl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME opinitctl COMPONENT tool)
    set(page opinitctl.8)
    if(OPINIT_PACKAGES)
        set(page opinitctl.8.gz)
    endif()
    set(page_sources ${PROJECT_SOURCE_DIR}/packaging/opinitctl.8.in ${PROJECT_SOURCE_DIR}/packaging/changelog.in)
    add_custom_command(OUTPUT ${page}
        COMMAND ${PROJECT_SOURCE_DIR}/packaging/man-page $<TARGET_FILE:opinitctl> ${page_sources} ${page}
        DEPENDS opinitctl ${PROJECT_SOURCE_DIR}/packaging/man-page ${page_sources}
        VERBATIM)
    add_custom_target(man-page ALL DEPENDS ${page})
    install(FILES ${PROJECT_BINARY_DIR}/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tool)
endif()
