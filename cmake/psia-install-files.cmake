# Run by `cmake --install` (see psia-packaging.cmake): writes the files that
# name installed paths, for the prefix of this installation, and installs
# them. DESTDIR, when set, is put in front of where they go, never into them.

# A directory relative to the prefix made absolute, as GNUInstallDirs
# does; the configuration directory of the prefixes / and /usr is /etc.
function(psia_full_dir out dir)
  if(IS_ABSOLUTE "${dir}")
    set(full "${dir}")
  elseif(ARGN STREQUAL "SYSCONF" AND CMAKE_INSTALL_PREFIX MATCHES "^/(usr/?)?$")
    set(full "/${dir}")
  else()
    set(full "${CMAKE_INSTALL_PREFIX}/${dir}")
  endif()
  string(REGEX REPLACE "/+" "/" full "${full}")
  set(${out} "${full}" PARENT_SCOPE)
endfunction()

psia_full_dir(bindir "${PSIA_BINDIR}")
psia_full_dir(etc "${PSIA_SYSCONFDIR}" SYSCONF)
psia_full_dir(mandir "${PSIA_MANDIR}")
psia_full_dir(unitdir "${PSIA_SYSTEMD_UNITDIR}")
psia_full_dir(tmpfilesdir "lib/tmpfiles.d")

set(PSIA_RESPONDER_PROGRAM ${bindir}/psia-responder)
set(PSIA_LIGHTTPD_CONF ${etc}/lighttpd/conf-available/90-psia-responder.conf)
set(PSIA_INIT_SCRIPT ${etc}/init.d/${PSIA_INIT_NAME})
set(PSIA_DEFAULTS_FILE ${etc}/default/psia-responder)
# systemd's name for the same socket (/var/run is a link to /run there).
string(REGEX REPLACE "^/var/run/" "/run/" PSIA_SYSTEMD_SOCKET "${PSIA_FASTCGI_SOCKET}")
# The run-time directory as systemd's RuntimeDirectory= names it: below /run.
string(REGEX REPLACE "^/var/run/" "/run/" PSIA_SYSTEMD_RUN_DIR "${PSIA_RUN_DIR}")
if(NOT PSIA_SYSTEMD_RUN_DIR MATCHES "^/run/[^/]")
  message(FATAL_ERROR "PSIA_RUN_DIR (${PSIA_RUN_DIR}) must be a directory below /run")
endif()
string(REGEX REPLACE "^/run/" "" PSIA_RUNTIME_DIRECTORY "${PSIA_SYSTEMD_RUN_DIR}")

set(out ${PSIA_BINARY_DIR}/packaging/installed)
file(MAKE_DIRECTORY ${out})
# psia_install(TEMPLATE NAME DIR [FILE|PROGRAM])
function(psia_install template name dir)
  configure_file(${PSIA_SOURCE_DIR}/packaging/${template} ${out}/${name} @ONLY)
  set(type FILE)
  if(ARGN)
    set(type ${ARGN})
  endif()
  file(INSTALL DESTINATION ${dir} TYPE ${type} FILES ${out}/${name})
endfunction()

psia_install(lighttpd-psia-responder.conf.in 90-psia-responder.conf ${etc}/lighttpd/conf-available)
psia_install(S49psia-responder.in ${PSIA_INIT_NAME} ${etc}/init.d PROGRAM)
psia_install(psia-responder.default.in psia-responder ${etc}/default)
psia_install(psia-responder.service.in psia-responder.service ${unitdir})
psia_install(psia-responder.socket.in psia-responder.socket ${unitdir})
psia_install(psia-responder.tmpfiles.in psia-responder.conf ${tmpfilesdir})
psia_install(psia-responder.8.in psia-responder.8 ${mandir}/man8)
