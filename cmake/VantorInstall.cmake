include(CMakePackageConfigHelpers)

install(TARGETS vantor EXPORT VantorTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/vantor/vantor.h include/vantor/ksv_client.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantor)
install(TARGETS vantor_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(VANTOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vantor)
install(EXPORT VantorTargets NAMESPACE Vantor:: DESTINATION ${VANTOR_CMAKE_DIR})
configure_package_config_file(cmake/VantorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VantorConfig.cmake INSTALL_DESTINATION ${VANTOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VantorConfig.cmake ${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake
  DESTINATION ${VANTOR_CMAKE_DIR})

# Relative to the .pc file, so that a copy installed under another prefix still points home.
file(RELATIVE_PATH VANTOR_PC_PREFIX_FROM_PCDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
  ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/vantor.pc.in ${PROJECT_BINARY_DIR}/vantor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vantor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
