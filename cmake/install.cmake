# What another project needs to use the library: headers, library, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)
set(zeto_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeto)

install(TARGETS zeto EXPORT zetoTargets)
install(DIRECTORY include/zeto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zetoTargets NAMESPACE zeto:: FILE zetoConfig.cmake DESTINATION ${zeto_package_dir})
write_basic_package_version_file(zetoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zetoConfigVersion.cmake DESTINATION ${zeto_package_dir})

# Relative to the file itself, so that the installed tree may move and `cmake --install --prefix` tells the truth.
file(RELATIVE_PATH zeto_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zeto.pc.in zeto.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zeto.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(ZETO_LOG_STAND_IN)
  install(TARGETS zeto_log_stand_in)
endif()
