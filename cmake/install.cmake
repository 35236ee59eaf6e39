# What `cmake --install` leaves behind, and how pkg-config and find_package() find it.
include(CMakePackageConfigHelpers)

install(TARGETS tonelink tonelink_static EXPORT tonelink
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# In a set of its own: who only receives needs nothing else of what is installed.
install(TARGETS tonelink_receiver tonelink_receiver_static EXPORT tonelink-receiver
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/tonelink DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS tonelink_platform_headers EXPORT tonelink)
if(TARGET tonelink_platform)
    install(TARGETS tonelink_platform EXPORT tonelink
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    set(headers_of_other_platforms)
else()
    set(headers_of_other_platforms PATTERN host.h EXCLUDE)
endif()
install(DIRECTORY platform/include/tonelink_platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    ${headers_of_other_platforms})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tonelink)
foreach(set tonelink tonelink-receiver)
    install(EXPORT ${set} NAMESPACE tonelink:: FILE ${set}-targets.cmake DESTINATION ${package_dir})
endforeach()
if(TARGET tonelink_platform)
    set(libraries_that_send libtonelink-api.so libtonelink-platform.so)
else()
    set(libraries_that_send libtonelink-api.so)
endif()
configure_package_config_file(cmake/tonelink-config.cmake.in tonelink-config.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_DOCDIR)
write_basic_package_version_file(tonelink-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/tonelink-config.cmake
    ${PROJECT_BINARY_DIR}/tonelink-config-version.cmake
    DESTINATION ${package_dir})

if(TARGET tonelink_platform)
    set(platform_libs " -ltonelink-platform")
else()
    set(pc_remark "; the program brings the platform's functions")
endif()
# The .pc file finds its prefix by its own place, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
# `pkg-config --static tonelink` is for where the archive is the only library, or everything is static;
# tonelink-static names the archive itself.
set(pc_name tonelink)
set(pc_libs "-L\${libdir} -ltonelink-api${platform_libs}")
set(pc_private_libs "-lm -lpthread")
configure_file(cmake/tonelink.pc.in tonelink.pc @ONLY)
set(pc_name tonelink-static)
set(pc_libs "\${libdir}/libtonelink-api.a -L\${libdir}${platform_libs} ${pc_private_libs}")
set(pc_private_libs "")
configure_file(cmake/tonelink.pc.in tonelink-static.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tonelink.pc ${PROJECT_BINARY_DIR}/tonelink-static.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(pc_name tonelink-receiver)
set(pc_libs "-L\${libdir} -ltonelink-receiver")
set(pc_private_libs "-lm")
configure_file(cmake/tonelink-receiver.pc.in tonelink-receiver.pc @ONLY)
set(pc_name tonelink-receiver-static)
set(pc_libs "\${libdir}/libtonelink-receiver.a -lm")
set(pc_private_libs "")
configure_file(cmake/tonelink-receiver.pc.in tonelink-receiver-static.pc @ONLY)
install(FILES
    ${PROJECT_BINARY_DIR}/tonelink-receiver.pc ${PROJECT_BINARY_DIR}/tonelink-receiver-static.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Documents and examples lie as in the source, so that they link to each other; the headers do not.
install(FILES LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
    FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN *.svg PATTERN *.1 PATTERN *.json PATTERN *.py)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
    FILES_MATCHING PATTERN *.c PATTERN *.py)
# The format's tables, which docs/format.md refers to.
install(FILES src/modem/code_tables.cpp src/modem/filter_taps.h
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/src/modem)
file(RELATIVE_PATH include_from_doc
    ${CMAKE_INSTALL_FULL_DOCDIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
file(READ README.md readme)
string(REPLACE "](include/" "](${include_from_doc}/" readme "${readme}")
file(WRITE ${PROJECT_BINARY_DIR}/installed/README.md "${readme}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)
install(FILES ${PROJECT_BINARY_DIR}/installed/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
