# What "cmake --install" puts where, in the components that packages are made of: library, development, tool
# and standin.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The stand-in stays out of the loader's way: at run time the maker's library is found. Where all of it belongs to the
# system, the loader looks for the stand-in behind everything else.
set(OPINIT_STANDIN_DIR ${CMAKE_INSTALL_LIBDIR}/kvlinopinitr)
target_link_options(kvlinopinitr INTERFACE
    $<INSTALL_INTERFACE:-Wl,-rpath-link,$<INSTALL_PREFIX>/${OPINIT_STANDIN_DIR}>)
install(TARGETS kvlinhw LIBRARY DESTINATION ${OPINIT_STANDIN_DIR} COMPONENT standin)
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
    configure_file(packaging/standin.conf.in standin.conf @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/standin.conf DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ld.so.conf.d
        RENAME zzz-libkvlinhw-standin.conf COMPONENT standin)
endif()

install(TARGETS kvlinopinitr EXPORT kvlinopinitr
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/kvlinopinitr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
# Of the README what suits whoever has no sources: its opening, and all from "Embedding it" on.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)
file(READ README.md readme)
string(FIND "${readme}" "## Trying it" sources_begin)
string(FIND "${readme}" "## Embedding it" sources_end)
string(SUBSTRING "${readme}" 0 ${sources_begin} opening)
string(SUBSTRING "${readme}" ${sources_end} -1 readme)
string(REPLACE "docs/" "" readme "${opening}${readme}")
file(CONFIGURE OUTPUT installed/README.md CONTENT "${readme}" @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/installed/README.md NEWS.md docs/operations.md docs/real-hosts.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
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
    # Its text is what the program says of itself, which one for another processor cannot be asked here.
    if(NOT CMAKE_CROSSCOMPILING)
        set(page_sources ${PROJECT_SOURCE_DIR}/packaging/opinitctl.8.in ${PROJECT_SOURCE_DIR}/NEWS.md)
        add_custom_command(OUTPUT opinitctl.8
            COMMAND ${PROJECT_SOURCE_DIR}/packaging/man-page $<TARGET_FILE:opinitctl> ${page_sources} opinitctl.8
            DEPENDS opinitctl ${PROJECT_SOURCE_DIR}/packaging/man-page ${page_sources}
            VERBATIM)
        add_custom_target(man-page ALL DEPENDS opinitctl.8)
        install(FILES ${PROJECT_BINARY_DIR}/opinitctl.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tool)
    endif()
endif()
