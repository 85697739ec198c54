# Installation, and the package for find_package(qvprj CONFIG).
include(CMakePackageConfigHelpers)

install(TARGETS qvprj qvfd qvsql qvgcp qvmath EXPORT qvprj-targets FILE_SET HEADERS)
if(TARGET qvprj_program)
  # The program finds the libraries beside it, wherever both are installed.
  file(RELATIVE_PATH library_path ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(qvprj_program PROPERTIES INSTALL_RPATH "$ORIGIN/${library_path}")
  install(TARGETS qvprj_program)
endif()
install(EXPORT qvprj-targets NAMESPACE qvprj:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)

configure_package_config_file(cmake/qvprj-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qvprj-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)
