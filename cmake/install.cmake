# What `cmake --install` puts where (GNUInstallDirs):
#   lib/          librestserver.so.0 and librsplatform.so.0 with their links,
#                 the CMake package (restserver::restserver, restserver::platform)
#                 and the pkg-config files (restserver, rsplatform)
#   include/restserver/, include/rsplatform/   the public C headers
#   bin/          restserver-host and restserver-scaffold
#   share/restserver/   the deployment template and the handler SDK example
#   lib/systemd/system/, lib/sysusers.d/   the unit and its user
include(CMakePackageConfigHelpers)

set(RS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/restserver)
set(RS_SHARE_DIR ${CMAKE_INSTALL_DATADIR}/restserver)

install(TARGETS restserver rsplatform EXPORT restserver-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/restserver COMPONENT dev
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/rsplatform COMPONENT dev
  FILES_MATCHING PATTERN "*.h")

install(EXPORT restserver-targets NAMESPACE restserver:: DESTINATION ${RS_CMAKE_DIR}
  FILE restserver-targets.cmake COMPONENT dev)
configure_package_config_file(cmake/restserver-config.cmake.in
  ${CMAKE_BINARY_DIR}/pkg/restserver-config.cmake INSTALL_DESTINATION ${RS_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/pkg/restserver-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/pkg/restserver-config.cmake ${CMAKE_BINARY_DIR}/pkg/restserver-config-version.cmake
  DESTINATION ${RS_CMAKE_DIR} COMPONENT dev)

# pkg-config files relative to their own folder, so an unpacked tree works too.
file(RELATIVE_PATH RS_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(pc restserver rsplatform)
  configure_file(cmake/${pc}.pc.in ${CMAKE_BINARY_DIR}/pkg/${pc}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/pkg/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endforeach()

# The host finds the libraries through the loader's default path when they
# land in a system folder, and through its own run path otherwise.
list(FIND CMAKE_C_IMPLICIT_LINK_DIRECTORIES ${CMAKE_INSTALL_FULL_LIBDIR} rs_system_libdir)
if(rs_system_libdir EQUAL -1)
  file(RELATIVE_PATH rs_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(restserver-host PROPERTIES INSTALL_RPATH "$ORIGIN/${rs_bin_to_lib}")
else()
  set_target_properties(restserver-host PROPERTIES INSTALL_RPATH "")
endif()
install(TARGETS restserver-host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT host)
install(PROGRAMS scripts/restserver-scaffold DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT host)
install(DIRECTORY examples/sdk/deployment/ DESTINATION ${RS_SHARE_DIR}/deployment COMPONENT host)
install(DIRECTORY examples/sdk/ DESTINATION ${RS_SHARE_DIR}/sdk COMPONENT dev PATTERN deployment EXCLUDE)

install(FILES host/systemd/restserver@.service DESTINATION lib/systemd/system COMPONENT host)
install(FILES host/systemd/restserver.sysusers DESTINATION lib/sysusers.d RENAME restserver.conf COMPONENT host)
