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

install(TARGETS zeto EXPORT zetoTargets)
if(ZETO_LOG_STAND_IN)
  install(TARGETS zeto_log_stand_in EXPORT zetoTargets)
endif()
if(NOT ZETO_SHARED)  # who links a static library links what it needs
  install(TARGETS zeto_log EXPORT zetoTargets)
endif()
install(DIRECTORY include/zeto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zetoTargets NAMESPACE zeto:: FILE zetoConfig.cmake DESTINATION ${zeto_package_dir})
write_basic_package_version_file(zetoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zetoConfigVersion.cmake DESTINATION ${zeto_package_dir})

# Relative to the file itself, so that the installed tree may move and `cmake --install --prefix` tells the truth.
file(RELATIVE_PATH zeto_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(zeto_pc_libs "")
if(NOT ZETO_SHARED)
  set(zeto_pc_libs " ${zeto_log_link} -lm")
endif()
configure_file(cmake/zeto.pc.in zeto.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zeto.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
