#!/usr/bin/env bash
# Part of bench/run.sh (run from the source directory, with its BENCH_* variables): what several workers give and
# cost, measured with bench/workers.sh in demo stacks of one worker and of the default (2). Prints its section of the
# report and adds its figures to the targets. Alone, to check it:
#   BENCH_SECONDS=3 BENCH_BUILD=$PWD/build-bench BENCH_RESULTS=/tmp/r BENCH_CALLGRIND_OUT=/tmp/cg bench/workers-report.sh
set -euo pipefail
default=2
stack() {  # stack WORKERS MODE [PREFIX COMMAND...]: bench/workers.sh MODE's line in a demo stack of WORKERS workers
  PSIA_WORKERS=$1 PSIA_LOGIN_ATTEMPTS=0 PSIA_SIM_ARGS="--delay 8=2000" "${@:3}" scripts/demo.sh \
    --build-dir "$BENCH_BUILD" --port auto --run "bench/workers.sh $2" | tail -n 1
}
ms() {  # wrk's latency text (us, ms, s) in milliseconds
  awk -v t="$1" 'BEGIN { v = t + 0; if (t ~ /us$/) v /= 1000; else if (t ~ /[^m]s$/) v *= 1000; printf "%.2f", v }'
}
result() { printf '%s|%s|%s|%s\n' "$@" >> "$BENCH_RESULTS"; }

read -r _ one_p50 one_p99 one_anon <<<"$(stack 1 slow-put taskset -c 0)"
read -r _ p50 p99 anon <<<"$(stack $default slow-put taskset -c 0)"
read -r _ one_rps <<<"$(stack 1 throughput env)"
read -r _ rps <<<"$(stack $default throughput env)"
read -r _ shared <<<"$(PSIA_WORKERS=1 scripts/demo.sh --build-dir "$BENCH_BUILD" --port auto \
  --responder "$PWD/bench/callgrind-responder.sh" --run "bench/workers.sh instructions" | tail -n 1)"
extra=$(( (anon - one_anon) / (default - 1) ))

echo "## Workers"
echo
echo "GET /PSIA/index from 4 connections (wrk on core 1) while a fifth client sends PUT /PSIA/System/reboot after"
echo "PUT, each waiting 2 s on the daemon; lighttpd, the workers and the simulator on core 0. Throughput: GET"
echo "/PSIA/index from 8 connections, everything on both cores."
echo
echo "| Workers | GET p50 | GET p99 | anonymous memory, all processes | GET requests/s, 2 cores |"
echo "|---|---|---|---|---|"
echo "| 1 | $one_p50 | $one_p99 | ${one_anon} kB | $one_rps |"
echo "| $default (default) | $p50 | $p99 | ${anon} kB | $rps |"
echo
echo "The shared state (the check for another worker's zone change, the lock taken and let go around the login"
echo "guard) costs $shared instructions a GET /PSIA/index when nothing changed (callgrind, inclusive)."
result latency "GET /PSIA/index p99 while PUTs wait 2 s, $default workers (ms)" "$(ms "$p99")" "<= 5"
result instructions "shared state a request, nothing changed" "$shared" "<= 2000"
result memory "anonymous memory an extra worker (kB)" "$extra" "<= 1024"
