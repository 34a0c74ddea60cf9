#!/usr/bin/env bash
# Checks what `cmake --install` lays out. Run by ctest.
#
#   scripts/check-install.sh BUILD_DIR
#     Installs BUILD_DIR twice: staged with DESTDIR (the files must name the
#     run-time paths, found below the stage) and with --prefix DIR (they
#     must name DIR). Then: lighttpd accepts the snippet, the init script
#     parses, and systemd-analyze verifies the units where it can run.
#   scripts/check-install.sh --buildroot [CMAKE-ARGS...]
#     Configures the source tree as Buildroot does (prefix /usr, BUILD_TESTING
#     off, configuration in /etc; GoogleTest must not be looked for), builds
#     it and stages it with DESTDIR: exactly the expected files, at the
#     expected places.
set -uo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d /tmp/psia-install-XXXXXX)
trap 'rm -rf "$tmp"' EXIT

failures=0
check() {  # check WHAT COMMAND...: the command must succeed
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}

# Every path the installed files name, each with the file that names it.
named_paths() {  # named_paths TREE
  grep -rHo -e '"bin-path" => "[^"]*"' -e '^DAEMON=.*' -e '^DEFAULTS=.*' \
       -e '^LIGHTTPD_CONF=.*' -e '^ExecStart=.*' -e '^EnvironmentFile=.*' "$1" |
    sed -E 's/"bin-path" => "([^"]*)"/\1/; s/:[A-Za-z_]+=-?/:/; s/ --start-workers$//'
}
# The named paths exist once ROOT is put in front of them.
paths_match() {  # paths_match TREE ROOT
  local file path bad=0 count=0
  while IFS=: read -r file path; do
    count=$((count + 1))
    [ -e "$2$path" ] || { echo "     ${file#"$1"/} names $path, not installed"; bad=1; }
  done < <(named_paths "$1")
  [ "$count" -ge 6 ] && [ "$bad" -eq 0 ]
}

if [ "${1:-}" = --buildroot ]; then
  shift
  # The flags Buildroot's cmake-package passes (less its toolchain file).
  cmake -S "$here" -B "$tmp/build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=Release \
        -DBUILD_TESTING=OFF -DCMAKE_INSTALL_SYSCONFDIR=/etc -DCMAKE_INSTALL_LOCALSTATEDIR=/var \
        -DCMAKE_INSTALL_RUNSTATEDIR=/run -DBUILD_SHARED_LIBS=ON -DCMAKE_COLOR_MAKEFILE=OFF \
        -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON "$@" >"$tmp/configure.log" 2>&1
  check "configures with Buildroot's flags, without GoogleTest" test $? -eq 0 ||
    { cat "$tmp/configure.log"; exit 1; }
  cmake --build "$tmp/build" -j2 >"$tmp/build.log" 2>&1 || { cat "$tmp/build.log"; exit 1; }
  DESTDIR=$tmp/stage cmake --install "$tmp/build" >/dev/null
  (cd "$tmp/stage" && find . -type f | sort) > "$tmp/files"
  cat > "$tmp/expected" <<'FILES'
./etc/default/psia-responder
./etc/init.d/S49psia-responder
./etc/lighttpd/conf-available/90-psia-responder.conf
./usr/bin/psia-responder
./usr/lib/systemd/system/psia-responder.service
./usr/lib/systemd/system/psia-responder.socket
./usr/lib/tmpfiles.d/psia-responder.conf
./usr/share/man/man8/psia-responder.8
FILES
  check "stages exactly the expected files" diff "$tmp/expected" "$tmp/files"
  check "installed files name the run-time paths" paths_match "$tmp/stage" "$tmp/stage"
  check "the snippet starts /usr/bin/psia-responder" \
    grep -q '"bin-path" => "/usr/bin/psia-responder --start-workers"' "$tmp/stage/etc/lighttpd/conf-available/90-psia-responder.conf"
  exit $((failures > 0))
fi

build=$1
DESTDIR=$tmp/stage cmake --install "$build" >/dev/null
check "staged with DESTDIR: the files name run-time paths" paths_match "$tmp/stage" "$tmp/stage"
cmake --install "$build" --prefix "$tmp/prefix" >/dev/null
check "installed with --prefix: the files name that prefix" paths_match "$tmp/prefix" ""
init=$(find "$tmp/prefix" -path '*/init.d/*' -type f)
conf=$(find "$tmp/prefix" -path '*/lighttpd/*' -name '*psia-responder.conf')
check "init script parses (sh)" sh -n "$init"
if command -v busybox >/dev/null; then
  check "init script parses (busybox sh)" busybox sh -n "$init"
fi

# The init script, systemd-tmpfiles and the snippet agree on the
# responder's own directory, and the socket is in it.
rundir=$(sed -n 's/^d \([^ ]*\) .*/\1/p' "$(find "$tmp/prefix" -path '*/tmpfiles.d/*' -type f)")
check "the socket is in the responder's own directory ($rundir)" test -n "$rundir" -a \
  "$(sed -n 's/^RUN_DIR=//p' "$init")" = "$rundir" -a \
  "$(sed -n 's|.*"socket" => "\(.*\)/[^/]*".*|\1|p' "$conf")" = "$rundir"

if command -v lighttpd >/dev/null; then
  cat > "$tmp/lighttpd.conf" <<CONF
server.document-root = "$tmp"
server.port = 1
include "$tmp/snippet.conf"
CONF
  # A socket of its own (lighttpd -tt checks, and may make, its directory).
  sed -e "s|\"socket\" => \"[^\"]*\"|\"socket\" => \"$tmp/socket\"|" "$conf" > "$tmp/snippet.conf"
  check "lighttpd accepts the snippet" lighttpd -tt -f "$tmp/lighttpd.conf"
fi

# systemd-analyze verify checks the units offline (ExecStart must exist:
# the --prefix install's does), in a container too. Its warnings count as
# failures.
if command -v systemd-analyze >/dev/null; then
  units=$(find "$tmp/prefix" -name 'psia-responder.s*' -path '*systemd*' | sort)
  # Documentation=man:psia-responder(8) is looked up where it was installed.
  man_check=--man=no
  command -v man >/dev/null && man_check=--man=yes
  out=$(MANPATH=$tmp/prefix/share/man systemd-analyze verify $man_check $units 2>&1); status=$?
  [ -z "$out" ] || echo "$out"
  check "systemd-analyze verify accepts the units" test $status -eq 0 -a -z "$out"
else
  echo "skip systemd-analyze verify (no systemd-analyze here)"
fi
exit $((failures > 0))
