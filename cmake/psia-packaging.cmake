# Installation. With the prefix /usr (GNUInstallDirs puts the
# configuration in /etc then) `cmake --install build` lays out
#   /usr/bin/psia-responder
#   /usr/share/man/man8/psia-responder.8
#   /usr/lib/systemd/system/psia-responder.service, psia-responder.socket
#   /usr/lib/tmpfiles.d/psia-responder.conf
#   /etc/lighttpd/conf-available/90-psia-responder.conf
#   /etc/init.d/S49psia-responder
#   /etc/default/psia-responder
#
# The files that name other installed files (the lighttpd snippet, the init
# script, the systemd units, the manual page, the defaults file) are written
# while installing, for the prefix being installed to: `--prefix DIR` means
# that the program lives in DIR/bin at run time. A firmware image or a
# package is staged with DESTDIR instead, which keeps the run-time paths:
#   DESTDIR=$STAGE cmake --install build      # $STAGE/usr/bin/..., paths /usr/bin/...
include(GNUInstallDirs)

# The responder's own run-time directory, made for its user at boot (init
# script, systemd-tmpfiles, RuntimeDirectory=): the socket goes there, so
# nothing has to be made or changed in a directory that belongs to lighttpd.
set(PSIA_RUN_DIR /run/psia-responder CACHE STRING
    "Run-time directory of the responder, owned by its user (below /run)")
set(PSIA_FASTCGI_SOCKET ${PSIA_RUN_DIR}/psia-responder.socket CACHE STRING
    "Unix socket between lighttpd and the responder")
set(PSIA_WORKERS 2 CACHE STRING
    "Responder processes lighttpd starts (the snippet's max-procs)")
set(PSIA_USER www-data CACHE STRING
    "User the responder runs as (the web server's)")
# S49: BusyBox's rcS starts /etc/init.d/S??* in order, and the responder's
# socket must be there before S50lighttpd. Debian packages install it as
# psia-responder and order it with its LSB header.
set(PSIA_INIT_NAME S49psia-responder CACHE STRING "File name of the init script")
set(PSIA_SYSTEMD_UNITDIR lib/systemd/system CACHE STRING
    "Directory of the systemd units (relative: below the prefix)")

install(TARGETS psia-responder RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The directories, as the install script will see them; they are made
# absolute against the prefix given at install time.
install(CODE "
set(PSIA_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
set(PSIA_BINARY_DIR \"${PROJECT_BINARY_DIR}\")
set(PROJECT_VERSION \"${PROJECT_VERSION}\")
set(PSIA_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
set(PSIA_SYSCONFDIR \"${CMAKE_INSTALL_SYSCONFDIR}\")
set(PSIA_MANDIR \"${CMAKE_INSTALL_MANDIR}\")
set(PSIA_SYSTEMD_UNITDIR \"${PSIA_SYSTEMD_UNITDIR}\")
set(PSIA_INIT_NAME \"${PSIA_INIT_NAME}\")
set(PSIA_FASTCGI_SOCKET \"${PSIA_FASTCGI_SOCKET}\")
set(PSIA_RUN_DIR \"${PSIA_RUN_DIR}\")
set(PSIA_USER \"${PSIA_USER}\")
set(PSIA_WORKERS \"${PSIA_WORKERS}\")
")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/psia-install-files.cmake)
