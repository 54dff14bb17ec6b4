# What `cmake --install` lays down: headers, both libraries, what pkg-config and find_package need, and
# the program with its man page.
include(CMakePackageConfigHelpers)

install(TARGETS orvimg32 orvimg32_static EXPORT OrvImg32Targets)
install(DIRECTORY include/orvimg32 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT OrvImg32Targets NAMESPACE OrvImg32:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrvImg32)

configure_file(cmake/orvimg32.pc.in orvimg32.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvimg32.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(WRITE ${PROJECT_BINARY_DIR}/OrvImg32Config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/OrvImg32Targets.cmake)\n")
write_basic_package_version_file(OrvImg32ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OrvImg32Config.cmake ${PROJECT_BINARY_DIR}/OrvImg32ConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrvImg32)

if(ORV_BUILD_TOOLS)
    file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(orvimg PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
    install(TARGETS orvimg)
    install(FILES tools/orvimg/orvimg.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES tools/orvimg/completion/orvimg.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME orvimg)
    install(FILES tools/orvimg/completion/_orvimg DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES tools/orvimg/completion/orvimg.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
