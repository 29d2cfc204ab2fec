include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS zeva EXPORT zevaTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY zeva/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zeva
        FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h")
install(TARGETS zeva-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The installed zeva finds the full command program here (apps/zeva/CMakeLists.txt);
# one level below the prefix, as bin, so that both find share/zeva/examples.
install(TARGETS zeva-commands RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR})
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zeva/examples)
install(EXPORT zevaTargets NAMESPACE zeva:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zeva)

configure_package_config_file(cmake/zevaConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zevaConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zeva)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zevaConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zevaConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zevaConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zeva)

configure_file(cmake/zeva.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zeva.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeva.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
