# What a product installs: the shared library, the headers under their own folder, a CMake package, a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS ostrel EXPORT ostrel-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT development)
foreach(header IN LISTS OSTREL_ALL_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libostrel/${folder} COMPONENT development)
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ostrel)
configure_package_config_file(cmake/ostrel-config.cmake.in ${PROJECT_BINARY_DIR}/ostrel-config.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ostrel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ostrel-config.cmake ${PROJECT_BINARY_DIR}/ostrel-config-version.cmake
  DESTINATION ${package_folder} COMPONENT development)
install(EXPORT ostrel-targets NAMESPACE ostrel:: DESTINATION ${package_folder} COMPONENT development)

# Relative, so that the installed tree may be moved or staged.
file(RELATIVE_PATH OSTREL_PKGCONFIG_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/libostrel.pc.in ${PROJECT_BINARY_DIR}/libostrel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/libostrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
