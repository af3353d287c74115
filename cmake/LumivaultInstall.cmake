# What other programs need to build against the libraries, and the program with its schema. Everything finds the rest
# relative to itself, so that an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/lumivault)

install(TARGETS photoindex kavoplatform EXPORT lumivaultTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS lumivault RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS lumivault-worker RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/lumivault)
if(LUMIVAULT_TOOLS)
  install(TARGETS kavophoto_extract_preview RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/lumivault)
endif()
install(DIRECTORY include/lumivault DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
# Of the platform, what a user of the database interface calls.
install(FILES src/platform/database.h src/platform/string_list.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumivault/platform)
install(FILES sql/photo.sql sql/pphoto.sql DESTINATION ${CMAKE_INSTALL_DATADIR}/lumivault/sql)

install(EXPORT lumivaultTargets NAMESPACE lumivault:: DESTINATION ${package_dir})
configure_package_config_file(cmake/lumivault-config.cmake.in lumivault-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(lumivault-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/lumivault-config.cmake ${PROJECT_BINARY_DIR}/lumivault-config-version.cmake
  DESTINATION ${package_dir})

file(RELATIVE_PATH pc_to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
configure_file(cmake/lumivault.pc.in lumivault.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lumivault.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
