# Where a Debian system expects things: libraries, headers, command, man page, completion, image data; and the package.
include(CMakePackageConfigHelpers)

install(TARGETS migr_shared migr_static migr_platform_shared migr_platform_static EXPORT migrTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS migr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES src/migr.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/migr)
include(cmake/public_headers.cmake)
foreach(header ${MIGR_PUBLIC_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES src/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/migr/${folder})
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/generated/driver/image_release.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/migr/driver)

install(EXPORT migrTargets NAMESPACE migr:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/migr)
configure_package_config_file(cmake/migrConfig.cmake.in ${CMAKE_BINARY_DIR}/generated/migrConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/migr)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/generated/migrConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/generated/migrConfig.cmake ${CMAKE_BINARY_DIR}/generated/migrConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/migr)

# pkg-config files find themselves, so that an installed tree may be moved.
file(RELATIVE_PATH MIGR_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(package migr migr-platform)
  configure_file(cmake/${package}.pc.in ${CMAKE_BINARY_DIR}/generated/${package}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/generated/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES cli/migr.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES cli/completion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME migr)
# By name: a folder whose variable is empty here would be the machine's root folder.
foreach(file update_config syntax_v510.txt system.conf.predefine signature.db)
  install(FILES ${CMAKE_BINARY_DIR}/image/${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/migr/image)
endforeach()
install(DIRECTORY docs/schema/ DESTINATION ${CMAKE_INSTALL_DATADIR}/migr/schema)
install(DIRECTORY samples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/migr/samples USE_SOURCE_PERMISSIONS)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME migr)
set(CPACK_PACKAGE_CONTACT "The libmigr maintainers <maintainers@libmigr.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "carries an appliance's configuration forward to a newer release")
set(CPACK_PACKAGE_DESCRIPTION "The library that upgrades the configuration of a web-application-firewall appliance, with a
 stand-in for the appliance's own functions, and the command that upgrades saved
 appliances safely.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
# libarchive is loaded when it is needed, so no tool finds it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "gzip, libarchive13 | libarchive13t64")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "parallel")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
