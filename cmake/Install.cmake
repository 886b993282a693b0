# What a product installs: the library, the headers under their own folder, a CMake package and a pkg-config file.
# Components: Runtime is what programs need to run, Development what is needed to build them; Documentation the pages;
# Tools programs for people (tools/CMakeLists.txt).
include(CMakePackageConfigHelpers)

install(TARGETS ${OSTREL_LIBRARIES} EXPORT ostrel-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
foreach(header IN LISTS OSTREL_ALL_HEADERS OSTREL_ALL_GENERATED)
  get_filename_component(folder ${header} DIRECTORY)
  if(header IN_LIST OSTREL_ALL_GENERATED)
    set(header ${OSTREL_GENERATED_FOLDER}/${header})
  endif()
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libostrel/${folder} COMPONENT Development)
endforeach()

set(OSTREL_NEEDS_EXPAT OFF)
if(OSTREL_STATIC OR NOT BUILD_SHARED_LIBS)
  set(OSTREL_NEEDS_EXPAT ON)
endif()
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ostrel)
configure_package_config_file(cmake/ostrel-config.cmake.in ${PROJECT_BINARY_DIR}/ostrel-config.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ostrel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ostrel-config.cmake ${PROJECT_BINARY_DIR}/ostrel-config-version.cmake
  DESTINATION ${package_folder} COMPONENT Development)
install(EXPORT ostrel-targets NAMESPACE ostrel:: DESTINATION ${package_folder} COMPONENT Development)

# The prefix is that of the installation, which may differ from the configured one: the file is written then. A build
# in a sysroot overrides or prepends it (pkg-config --define-variable=prefix=..., PKG_CONFIG_SYSROOT_DIR).
set(OSTREL_PC_DEFINITIONS ${OSTREL_INTERFACE_DEFINITIONS})
list(TRANSFORM OSTREL_PC_DEFINITIONS PREPEND " -D")
list(JOIN OSTREL_PC_DEFINITIONS "" OSTREL_PC_DEFINITIONS)
set(PREFIX "@CMAKE_INSTALL_PREFIX@") # kept for the second step
configure_file(cmake/libostrel.pc.in ${PROJECT_BINARY_DIR}/libostrel.pc.in @ONLY)
install(CODE "
  configure_file(\"${PROJECT_BINARY_DIR}/libostrel.pc.in\" \"${PROJECT_BINARY_DIR}/libostrel.pc\" @ONLY)"
  COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/libostrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# gdb looks for the printers under the full path of the library. That is known when it is installed, as above.
if(BUILD_SHARED_LIBS AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  install(FILES tools/libostrel-gdb.py COMPONENT Development
    DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}"
    RENAME libostrel.so.${PROJECT_VERSION}-gdb.py)
endif()

# In the folders that they have in the sources: pages are linked with each other, and headers name docs/.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT Documentation)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Documentation FILES_MATCHING PATTERN "*.md")
