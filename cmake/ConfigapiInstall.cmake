# Installation: the library with what it links, headers, tool, schema, and the
# two ways to find it (pkg-config and CMake).
include(CMakePackageConfigHelpers)

install(TARGETS configapi configapi_logapi configapi_qxmsconf
        EXPORT configapi-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/configapi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS configapi_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES schema/qxconfig.schema schema/qxconfig.ldif
        DESTINATION ${CMAKE_INSTALL_DATADIR}/configapi/schema)
install(FILES README.md CHANGES.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})

configure_file(cmake/configapi.pc.in configapi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/configapi.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/configapi)
install(EXPORT configapi-targets NAMESPACE configapi::
        DESTINATION ${package_folder})
configure_package_config_file(cmake/configapi-config.cmake.in
  ${PROJECT_BINARY_DIR}/configapi-config.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/configapi-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/configapi-config.cmake
              ${PROJECT_BINARY_DIR}/configapi-config-version.cmake
        DESTINATION ${package_folder})
