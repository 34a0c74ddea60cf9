#!/usr/bin/env bash
# The installed init script as the camera runs it (`busybox sh`, BusyBox's applets first in PATH), in both modes,
# against the built responder and a control daemon simulator of its own. Run as root, as the camera runs it: the
# responder runs as a system user of its own (made for the test if missing, removed afterwards). Exits 77 (skipped)
# without busybox, spawn-fcgi or root. Usage: tests/init_script_test.sh BUILD_DIR
set -uo pipefail
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."
for tool in busybox spawn-fcgi useradd; do command -v "$tool" >/dev/null || { echo "skipped: no $tool"; exit 77; }; done
[ "$(id -u)" = 0 ] || { echo "skipped: needs root (the responder runs as a user of its own)"; exit 77; }

user=psia-init-test made_user=
if ! id -u "$user" >/dev/null 2>&1; then
  useradd --system --user-group --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$user" || exit 1
  made_user=yes
fi
t=$(mktemp -d /tmp/psia-init-XXXXXX)
sim= unrelated= lighttpd=
cleanup() {
  run stop >/dev/null 2>&1
  kill $sim $unrelated $lighttpd 2>/dev/null; wait 2>/dev/null
  [ -n "${KEEP:-}" ] || rm -rf "$t"
  [ -z "$made_user" ] || userdel "$user" >/dev/null 2>&1
}
trap cleanup EXIT

chmod 755 "$t"
mkdir -p "$t/bin" "$t/run" "$t/empty"
for applet in $(busybox --list); do ln -s "$(command -v busybox)" "$t/bin/$applet"; done
rm "$t/bin/logger"  # the supervisor's messages go to the test's log
printf '#!/bin/sh\necho "$*" >> "%s/log"\n' "$t" > "$t/bin/logger" && chmod +x "$t/bin/logger"

DESTDIR=$t/stage cmake --install "$build" >/dev/null
init=$(find "$t/stage" -path '*/init.d/*' -type f)
daemon=$(find "$t/stage" -path '*/bin/psia-responder')
sed -i "s|^DEFAULTS=.*|DEFAULTS=$t/default|" "$init"
grep -v '"bin-path"' "$(find "$t/stage" -path '*/lighttpd/*' -name '*psia-responder.conf')" > "$t/spawn-fcgi.conf"
cp "$(find "$t/stage" -path '*/lighttpd/*' -name '*psia-responder.conf')" "$t/lighttpd.conf"

scripts/make-root.sh "$t/root" >/dev/null
touch "$t/root/dev/log"  # a stand-in the access check can test
chown -R "$user" "$t/root"
request_key=$((50000 + $$ % 10000)) reply_key=$((60000 + $$ % 10000))
"$build/tools/psia-control-sim" --request-key $request_key --reply-key $reply_key \
  --ready-file "$t/ready" --log "$t/control.log" &
sim=$!

rundir=$t/run/psia socket=$t/run/psia/psia.socket pidfile=$t/run/psia.pid
settings() {  # settings MODE [PSIA_ROOT]: the defaults file
  printf '%s\n' "DAEMON=$daemon" "LIGHTTPD_CONF=$t/$1.conf" "RUN_DIR=$rundir" "SOCKET=$socket" "PIDFILE=$pidfile" \
    "SUPERVISOR_PIDFILE=$t/run/supervisor.pid" "PSIA_USER=$user" RESPAWN_DELAY=1 "PSIA_ROOT=${2:-$t/root}" \
    "PSIA_REQUEST_QUEUE_KEY=$request_key" "PSIA_REPLY_QUEUE_KEY=$reply_key" > "$t/default"
}
run() { env PATH="$t/bin:$PATH" busybox sh "$init" "$@"; }

. tests/checks.sh
# expect ACTION STATUS PATTERN: the script's exit status and output
expect() {
  local out status
  out=$(run "$1" 2>&1); status=$?
  check "$1 -> $2 ($out)" test "$status" = "$2" -a -n "$(grep -e "$3" <<<"$out")"
}
pid() { cat "$pidfile" 2>/dev/null; }
is_responder() { [ "$(readlink "/proc/$1/exe")" = "$daemon" ]; }
alive() { kill -0 "$1" 2>/dev/null; }
gone() { ! alive "$1"; }

echo "== spawn-fcgi mode"
settings spawn-fcgi
expect start 0 OK
first=$(pid)
check "the pid file names the responder" is_responder "$first"
check "the responder runs as $user" test "$(stat -c %U "/proc/$first")" = "$user"
check "its run-time directory is made for it" test "$(stat -c '%U %a' "$rundir")" = "$user 755"
check "its socket is its user's, for the user and group only" test "$(stat -c '%U %A' "$socket")" = "$user srw-rw----"
check "the directory above is left as it was" test "$(stat -c '%U %a' "$t/run")" = "root 755"
check "nothing is missing for the user" test -z "$(grep -s warning "$t/log")"
check "the defaults reach the responder" grep -qz "^PSIA_REPLY_QUEUE_KEY=$reply_key\$" "/proc/$first/environ"
expect status 0 "running (pid $first, 2 workers)"
workers() { pgrep -P "$1" -x psia-responder | sort; }
before=$(workers "$first")
expect start 0 "already running"
# The FastCGI record that makes libfcgi abort (two parameter lengths of 0x40000000, whose sum overflows its int): the
# worker that took it ends, and its parent starts another.
python3 - "$socket" <<'EOF'
import socket, struct, sys
s = socket.socket(socket.AF_UNIX)
s.connect(sys.argv[1])
begin = struct.pack('>BBHHBBHB5x', 1, 1, 1, 8, 0, 0, 1, 0)
s.sendall(begin + struct.pack('>BBHHBB', 1, 4, 1, 8, 0, 0) + bytes([0xC0, 0, 0, 0] * 2))  # the parameters
s.settimeout(5)
try: s.recv(1)
except OSError: pass
EOF
check "the record ends a worker, which its parent replaces" eventually eval \
  '[ "$(workers "$first" | wc -l)" = 2 ] && [ "$(workers "$first")" != "$before" ]'
kill -9 "$first"  # the parent: the supervisor starts another
check "a killed responder comes back" eventually eval '[ -n "$(pid)" ] && [ "$(pid)" != "$first" ] && is_responder "$(pid)" && [ -S "$socket" ]'
check "the restart is logged" grep -q "responder $first ended" "$t/log"
second=$(pid)
expect restart 0 OK
check "restart ends the old responder" gone "$second"
check "restart starts a new one" is_responder "$(pid)"
third=$(pid)
expect stop 0 OK
check "stop ends the responder" gone "$third"
check "stop removes the socket and the pid files" test ! -e "$socket" -a ! -e "$pidfile"
expect status 3 stopped

sleep 300 & unrelated=$!
echo "$unrelated" > "$pidfile"; echo "$unrelated" > "$t/run/supervisor.pid"
expect status 1 "stale pid file"
expect stop 0 OK
check "a stale pid file's process is left alone" alive "$unrelated"
echo "$unrelated" > "$pidfile"
expect start 0 OK
check "start over a stale pid file runs the responder" is_responder "$(pid)"
expect stop 0 OK
: > "$pidfile"
expect status 3 stopped

chmod 000 "$t/root/dev/mtdblock7"  # what the user cannot read is named; the responder starts all the same
expect start 0 "warning: $user cannot read $t/root/dev/mtdblock7"
expect stop 0 OK
chmod 644 "$t/root/dev/mtdblock7"

settings spawn-fcgi "$t/empty"  # no database: the responder cannot start
expect start 1 FAIL
expect status 3 stopped
check "a failed start leaves no supervisor" test ! -e "$t/run/supervisor.pid"
socket=$t/elsewhere/psia.socket settings spawn-fcgi  # a socket directory that is not the script's own
expect start 1 "does not exist"
check "a directory not its own is not made" test ! -e "$t/elsewhere"

echo "== lighttpd mode"
settings lighttpd
rmdir "$rundir"
expect start 0 "started by lighttpd"
check "start makes the directory lighttpd's socket goes in" test "$(stat -c %U "$rundir")" = "$user"
# lighttpd starts the responder as spawn-fcgi does, on SOCKET-0.
env PSIA_ROOT="$t/root" PSIA_REQUEST_QUEUE_KEY=$request_key PSIA_REPLY_QUEUE_KEY=$reply_key \
  spawn-fcgi -n -s "$socket-0" -u "$user" -U "$user" -- "$daemon" >/dev/null & lighttpd=$!
check "lighttpd's responder is up" eventually is_responder $lighttpd
expect status 0 "running (spawned by lighttpd)"
expect stop 0 "left to lighttpd"
check "stop leaves lighttpd's responder" alive $lighttpd
expect restart 0 "lighttpd starts it again"
check "restart ends lighttpd's responder" eventually gone $lighttpd
expect status 3 "not running"

finish
