#!/usr/bin/env bash
# Two workers behind lighttpd with the packaged snippet (lighttpd starts their parent, PSIA_WORKERS unset: 2) are one
# camera: a GET is answered while a PUT waits on a slow daemon, a zone set through one worker (the other stopped) is
# seen through the other, a killed worker is replaced by one that knows the camera's state, and a parent killed
# outright takes its workers with it. Exits 77 (skipped) without lighttpd or curl. Usage: tests/workers_test.sh BUILD
set -uo pipefail
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."
for tool in lighttpd curl; do command -v "$tool" >/dev/null || { echo "skipped: no $tool"; exit 77; }; done

t=$(mktemp -d /tmp/psia-workers-XXXXXX)
pids=()
cleanup() {
  kill "${pids[@]}" 2>/dev/null
  wait 2>/dev/null
  [ -n "${KEEP:-}" ] || rm -rf "$t"
}
trap cleanup EXIT

DESTDIR=$t/stage cmake --install "$build" >/dev/null
snippet=$(find "$t/stage" -path '*/lighttpd/*' -name '*psia-responder.conf')
scripts/make-root.sh "$t/root" >/dev/null
port=$((20000 + ($$ + 10007) % 20000))
request_key=$((70000 + $$ % 10000)) reply_key=$((80000 + $$ % 10000))
"$build/tools/psia-control-sim" --request-key $request_key --reply-key $reply_key --delay 8=3000 \
  --ready-file "$t/ready" --log "$t/control.log" &
pids+=($!)

socket=$t/psia.socket
{
  printf '%s\n' "server.bind = \"127.0.0.1\"" "server.port = $port" "server.document-root = \"$t\"" \
    "server.errorlog = \"$t/lighttpd-error.log\"" "server.pid-file = \"$t/lighttpd.pid\""
  # The snippet as installed, with this run's socket, program and settings.
  sed -e "s|\"socket\" => \"[^\"]*\"|\"socket\" => \"$socket\"|" \
      -e "s|\"bin-path\" => \"[^\" ]*|\"bin-path\" => \"$build/psia-responder|" \
      -e "s|^\\( *\\)\"check-local\".*|&\\n\\1\"bin-environment\" => (\"PSIA_ROOT\" => \"$t/root\", \"PSIA_REQUEST_QUEUE_KEY\" => \"$request_key\", \"PSIA_REPLY_QUEUE_KEY\" => \"$reply_key\"),|" \
      "$snippet"
} > "$t/lighttpd.conf"
for _ in $(seq 50); do [ -e "$t/ready" ] && break; sleep 0.1; done
lighttpd -D -f "$t/lighttpd.conf" &
lighttpd=$!
pids+=($lighttpd)
base=http://127.0.0.1:$port

. tests/checks.sh
parent() { pgrep -P "$lighttpd" -x psia-responder; }
workers() { pgrep -P "$(parent)" -x psia-responder | sort; }
two_workers() { [ "$(workers | wc -l)" = 2 ]; }
# through WORKER METHOD URI [BODY]: a request through lighttpd, taken by WORKER (the other one is stopped
# meanwhile), from 127.0.0.1.
through() {
  local other
  other=$(workers | grep -vx "$1")
  kill -STOP $other
  curl -s -i -m 20 -u admin:admin -X "$2" ${4:+--data-binary "$4"} "$base$3"
  kill -CONT $other
}
has() { grep -q -e "$1" <<<"$2"; }

check "lighttpd starts two workers" eventually two_workers
check "the camera answers" eventually eval 'curl -s -u admin:admin "$base/PSIA/index" | grep -q "<ResourceList"'

# The daemon takes 3 s over the reboot: the GET sent meanwhile is answered by the other worker before it.
curl -s -o "$t/put" -m 20 -u admin:admin -X PUT "$base/PSIA/System/reboot" &
put=$!
sleep 0.5
index=$(curl -s -m 20 -u admin:admin "$base/PSIA/index")
check "a GET is answered while a PUT waits on the daemon" has "<ResourceList" "$index"
check "... before the PUT" kill -0 "$put"
wait "$put"
check "... which is answered too" grep -q "<statusCode>1</statusCode>" "$t/put"

read -r one two <<<"$(workers | tr '\n' ' ')"
zone='<Time><timeMode>NTP</timeMode><timeZone>CET-1</timeZone></Time>'
check "a zone is set through one worker" has "<statusCode>1</statusCode>" "$(through "$one" PUT /PSIA/System/time "$zone")"
check "... and seen through the other" has "<timeZone>CET-1</timeZone>" "$(through "$two" GET /PSIA/System/time)"

kill -9 "$one"
replaced() { two_workers && ! workers | grep -qx "$one"; }
check "a killed worker is replaced" eventually replaced
new=$(workers | grep -vx "$two")
check "... by one that knows the camera's zone" has "<timeZone>CET-1</timeZone>" "$(through "$new" GET /PSIA/System/time)"

# A parent killed outright takes its workers with it (a zombie left for a PID 1 that does not reap counts as ended).
old=$(workers)
kill -9 "$(parent)"
gone() { local w; for w in $old; do ps -o stat= -p "$w" | grep -qv Z && return 1; done; return 0; }
check "the workers end with a parent killed outright" eventually gone

finish
