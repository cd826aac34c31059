# `make deb` (cpack -G DEB) makes three Debian packages from the install
# components: librestserver0 (runtime), librestserver-dev (dev) and
# restserver-host (host). Dependencies on other packages come from
# dpkg-shlibdeps; the three depend on each other at the same version.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME restserver)
set(CPACK_PACKAGE_VENDOR "restserver developers")
set(CPACK_PACKAGE_CONTACT "restserver developers <restserver@example.com>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "REST server framework for Linux services")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://localhost/restserver")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev host)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries are found in the build tree; the packages name each other.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME librestserver0)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "REST server framework: shared libraries
 librestserver.so.0, the framework (instances, sessions, auth filter, handler
 loading), and librsplatform.so.0, the platform layer it stands on (HTTP
 engine over Boost.Beast and OpenSSL, JSON, log, REST client).")
# Token verification runs the openssl tool.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "openssl")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/cmake/debian/triggers)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME librestserver-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION "REST server framework: development files
 C headers, the CMake package (find_package(restserver)), pkg-config files
 and the handler module SDK example, for writing handler modules and hosts.")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)

set(CPACK_DEBIAN_HOST_PACKAGE_NAME restserver-host)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION net)
set(CPACK_DEBIAN_HOST_DESCRIPTION "REST server framework: host program and systemd unit
 restserver-host serves a deployment (handler modules, configuration, TLS
 files); restserver-scaffold makes one from the template; the unit
 restserver@.service runs one per deployment under a dedicated user.")
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_COMPONENT_HOST_DEPENDS runtime)
set(CPACK_DEBIAN_HOST_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/host/systemd/postinst)

# Every package carries its copyright file and changelog, as Debian asks.
foreach(component runtime dev host)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${CMAKE_SOURCE_DIR}/cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
    COMPONENT ${component})
  set(changelog ${CMAKE_BINARY_DIR}/pkg/${package}/changelog.Debian.gz)
  configure_file(${CMAKE_SOURCE_DIR}/cmake/debian/changelog.in ${CMAKE_BINARY_DIR}/pkg/${package}/changelog.Debian @ONLY)
  execute_process(COMMAND gzip -n -9 -f -k ${CMAKE_BINARY_DIR}/pkg/${package}/changelog.Debian)
  install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/restserver-host COMPONENT host)

include(CPack)
