#!/usr/bin/env bash
# What binding every symbol at start-up (BIND_NOW, full RELRO) costs one CGI
# request: the instructions (callgrind) of GET /PSIA/index, start-up
# included, in two Release builds that differ only in PSIA_BIND_NOW, against
# a fresh camera root and the control daemon simulator. Prints a Markdown
# table with the date and the command; docs/performance.md quotes it.
#
# Usage: bench/bind-now.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build bench >/dev/null

for mode in ON OFF; do
  cmake -S . -B build-bench-bind-now-$mode -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
        -DPSIA_BIND_NOW=$mode >/dev/null
  cmake --build build-bench-bind-now-$mode -j2 --target psia-responder psia-control-sim >/dev/null
done

run=$(mktemp -d /tmp/psia-bind-now-XXXXXX)
sim=
trap 'kill $sim 2>/dev/null; wait 2>/dev/null; rm -rf "$run"' EXIT
scripts/make-root.sh "$run/root" >/dev/null
request_key=$((43000 + $$ % 1000)) reply_key=$((44000 + $$ % 1000))
build-bench-bind-now-ON/tools/psia-control-sim --request-key $request_key \
  --reply-key $reply_key --ready-file "$run/ready" --log "$run/control.log" &
sim=$!
for _ in $(seq 50); do [ -e "$run/ready" ] && break; sleep 0.1; done

instructions() {  # instructions PROGRAM: callgrind's total for one CGI GET
  env -i PSIA_ROOT="$run/root" PSIA_REQUEST_QUEUE_KEY=$request_key \
    PSIA_REPLY_QUEUE_KEY=$reply_key GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD=GET \
    REQUEST_URI=/PSIA/index HTTP_AUTHORIZATION="Basic YWRtaW46YWRtaW4=" \
    valgrind --tool=callgrind --callgrind-out-file="$run/callgrind.out" "$1" >"$run/answer" 2>/dev/null
  grep -q '<ResourceList' "$run/answer" || { echo "bind-now: no document from $1" >&2; exit 1; }
  awk '/^(summary|totals):/ {print $2; exit}' "$run/callgrind.out"
}
slots() { readelf -rW "$1" | grep -c 'JUMP_SLOT'; }

now=$(instructions build-bench-bind-now-ON/psia-responder)
lazy=$(instructions build-bench-bind-now-OFF/psia-responder)
echo "## What BIND_NOW costs a CGI request"
echo
echo "\`bench/bind-now.sh\`, $(date -u +%Y-%m-%d), $(uname -m), Release builds, GET /PSIA/index" \
     "as one CGI request (start-up included), instructions counted by callgrind."
echo
echo "| Build | instructions | function slots in the responder |"
echo "|---|---|---|"
echo "| BIND_NOW, full RELRO (PSIA_BIND_NOW=ON, the default) | $now | $(slots build-bench-bind-now-ON/psia-responder), all bound at start-up |"
echo "| lazy binding, partial RELRO (PSIA_BIND_NOW=OFF) | $lazy | $(slots build-bench-bind-now-OFF/psia-responder), each bound at its first call |"
awk -v now="$now" -v lazy="$lazy" 'BEGIN {
  printf "| cost of BIND_NOW | %+d (%+.1f %%) | |\n", now - lazy, 100 * (now - lazy) / lazy }'
