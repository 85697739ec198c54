# Installation, and the package for find_package(qvprj CONFIG).
include(CMakePackageConfigHelpers)

install(TARGETS qvprj qvfd qvsql qvgcp EXPORT qvprj-targets)
if(TARGET qvprj_program)
  install(TARGETS qvprj_program)
endif()
install(EXPORT qvprj-targets NAMESPACE qvprj:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)

foreach(library qvfd qvsql qvgcp)
  install(DIRECTORY contracts/${library} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "Private" EXCLUDE)
endforeach()
install(DIRECTORY qvprj DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "tables" EXCLUDE PATTERN "tiepoints" EXCLUDE PATTERN "private" EXCLUDE)

configure_package_config_file(cmake/qvprj-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qvprj-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/qvprj-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvprj)
