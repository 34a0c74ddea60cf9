# Installation and the Debian packages.
#
# `cmake --install build --prefix STAGE` lays out
#   STAGE/bin/psia-responder
#   STAGE/etc/lighttpd/conf-available/90-psia-responder.conf
#   STAGE/etc/init.d/S90psia-responder
# The configuration folder follows the prefix (a firmware staging root);
# scripts/package.sh builds the .deb with prefix /usr and /etc instead.
include(GNUInstallDirs)

set(PSIA_FASTCGI_SOCKET /var/run/lighttpd/psia-responder.socket CACHE STRING
    "Unix socket between lighttpd and the responder")

set(PSIA_RESPONDER_PROGRAM ${CMAKE_INSTALL_FULL_BINDIR}/psia-responder)
if(IS_ABSOLUTE "${CMAKE_INSTALL_SYSCONFDIR}")
  set(psia_etc "${CMAKE_INSTALL_SYSCONFDIR}")
else()
  set(psia_etc "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SYSCONFDIR}")
endif()
set(PSIA_LIGHTTPD_CONF ${psia_etc}/lighttpd/conf-available/90-psia-responder.conf)
set(PSIA_INIT_SCRIPT ${psia_etc}/init.d/S90psia-responder)
set(PSIA_DEFAULTS_FILE ${psia_etc}/default/psia-responder)

configure_file(${PROJECT_SOURCE_DIR}/packaging/lighttpd-psia-responder.conf.in
               ${PROJECT_BINARY_DIR}/packaging/90-psia-responder.conf @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/packaging/S90psia-responder.in
               ${PROJECT_BINARY_DIR}/packaging/S90psia-responder @ONLY)

install(TARGETS psia-responder RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_BINARY_DIR}/packaging/90-psia-responder.conf
        DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/lighttpd/conf-available)
install(PROGRAMS ${PROJECT_BINARY_DIR}/packaging/S90psia-responder
        DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/init.d)

# The .deb. Its architecture is the target's, not the build host's.
if(CMAKE_CROSSCOMPILING AND CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(COMMAND dpkg-architecture -t ${CMAKE_LIBRARY_ARCHITECTURE}
                          -qDEB_HOST_ARCH
                  OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE
                  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME psia-responder)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "psia-responder maintainers <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "PSIA configuration service of a network camera (FastCGI)")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_SET_DESTDIR ON)
# Listed with the floors dpkg-shlibdeps finds, rather than computed: the
# libfcgi floor is the first Debian build with the fix for CVE-2025-23016,
# which no shlibs file knows about, and libuuid1 (the device identifier) is
# only linked once a handler calls it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libstdc++6 (>= 5.2), libgcc-s1 (>= 3.5), libfcgi0ldbl (>= 2.4.2-2+deb12u1), libsqlite3-0 (>= 3.5.9), libxml2 (>= 2.7.4), libuuid1")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "lighttpd")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "spawn-fcgi")
# Files under /etc are the site's once installed.
if(IS_ABSOLUTE "${CMAKE_INSTALL_SYSCONFDIR}")
  file(WRITE ${PROJECT_BINARY_DIR}/packaging/conffiles
       "${PSIA_LIGHTTPD_CONF}\n${PSIA_INIT_SCRIPT}\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/packaging/conffiles)
endif()
include(CPack)
