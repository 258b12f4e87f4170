# What another project needs to use the library: library, headers, CMake package and pkg-config file. Embedded in
# another project, which does not ask for more by ZETO_INSTALL, only the shared library: without it no program starts.
if(NOT ZETO_INSTALL)
  if(ZETO_SHARED)
    install(TARGETS zeto LIBRARY NAMELINK_SKIP)
    if(ZETO_LOG_STAND_IN)
      install(TARGETS zeto_log_stand_in LIBRARY NAMELINK_SKIP)
    endif()
  endif()
  return()
endif()

include(CMakePackageConfigHelpers)
set(zeto_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeto)

# The components become packages: library, development, tool, python.
set(zeto_parts LIBRARY COMPONENT library NAMELINK_COMPONENT development ARCHIVE COMPONENT development)
install(TARGETS zeto EXPORT zetoTargets ${zeto_parts})
if(ZETO_LOG_STAND_IN)
  install(TARGETS zeto_log_stand_in EXPORT zetoTargets ${zeto_parts})
endif()
if(NOT ZETO_SHARED)  # who links a static library links what it needs
  install(TARGETS zeto_log EXPORT zetoTargets)
endif()
install(DIRECTORY include/zeto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT zetoTargets NAMESPACE zeto:: DESTINATION ${zeto_package_dir} COMPONENT development)
configure_package_config_file(cmake/zetoConfig.cmake.in zetoConfig.cmake
  INSTALL_DESTINATION ${zeto_package_dir} PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(zetoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zetoConfig.cmake ${PROJECT_BINARY_DIR}/zetoConfigVersion.cmake
  DESTINATION ${zeto_package_dir} COMPONENT development)

set(zeto_pc_libs "")
if(NOT ZETO_SHARED)
  set(zeto_pc_libs " ${zeto_log_link} -lm")
endif()
configure_file(cmake/zeto.pc.in zeto.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zeto.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
