#!/usr/bin/env bash
# Installs a build into a temporary staging root (DESTDIR) and checks that
# the responder, the lighttpd snippet and the init script land where the
# build says, that the snippet is a configuration lighttpd accepts, and that
# the init script is sound shell. Run by ctest (Install.StagingLayout).
#
# Usage: scripts/check-install.sh BUILD_DIR PROGRAM LIGHTTPD_CONF INIT_SCRIPT
#   (the installed paths, as absolute paths on the target)
set -euo pipefail
if [ $# -ne 4 ]; then
  echo "usage: $0 BUILD_DIR PROGRAM LIGHTTPD_CONF INIT_SCRIPT" >&2
  exit 2
fi
build=$1 program=$2 conf=$3 init=$4

stage=$(mktemp -d /tmp/psia-stage-XXXXXX)
trap 'rm -rf "$stage"' EXIT
DESTDIR=$stage cmake --install "$build" >/dev/null

failures=0
check() {  # check WHAT TEST-ARGS...
  local what=$1; shift
  if test "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
check "responder at $program" -x "$stage$program"
check "lighttpd snippet at $conf" -f "$stage$conf"
check "init script at $init" -x "$stage$init"
[ "$failures" -eq 0 ] || exit 1

# The snippet names the installed program and serves /PSIA/ on one socket.
grep -qF "\"bin-path\" => \"$program\"" "$stage$conf" &&
  grep -qF '"/PSIA/" =>' "$stage$conf"
check "snippet serves /PSIA/ with the installed program" $? -eq 0

if sh -n "$stage$init"; then ok=0; else ok=1; fi
check "init script parses" $ok -eq 0
# With lighttpd spawning the responder, the init script leaves it alone.
status=$(sed -e "s|^LIGHTTPD_CONF=.*|LIGHTTPD_CONF=$stage$conf|" \
             -e "s|^PIDFILE=.*|PIDFILE=$stage/pid|" "$stage$init" |
         sh -s start 2>&1) || true
case "$status" in *"started by lighttpd"*) ok=0 ;; *) ok=1 ;; esac
check "init script defers to lighttpd's bin-path" $ok -eq 0

if command -v lighttpd >/dev/null; then
  cat > "$stage/lighttpd.conf" <<CONF
server.document-root = "$stage"
server.port = 1
include "$stage/snippet.conf"
CONF
  # The staged copy, pointed at the staged program and a socket of its own.
  sed -e "s|\"bin-path\" => \"[^\"]*\"|\"bin-path\" => \"$stage$program\"|" \
      -e "s|\"socket\" => \"[^\"]*\"|\"socket\" => \"$stage/socket\"|" \
      "$stage$conf" > "$stage/snippet.conf"
  if lighttpd -tt -f "$stage/lighttpd.conf" >"$stage/lighttpd.out" 2>&1; then
    ok=0
  else
    ok=1; cat "$stage/lighttpd.out"
  fi
  check "lighttpd accepts the snippet" $ok -eq 0
fi
exit $((failures > 0))
