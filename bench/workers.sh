#!/usr/bin/env bash
# Run by bench/run.sh inside a demo stack: what several workers give and cost.
#   bench/workers.sh slow-put      GET /PSIA/index from 4 connections while a fifth client's PUTs wait 2 s each on
#                                  the daemon (the stack's simulator delays command 8); anonymous memory of the
#                                  workers afterwards
#   bench/workers.sh throughput    GET /PSIA/index from 8 connections, the stack on both cores
#   bench/workers.sh instructions  the shared state's instructions a request when nothing changed (the stack's
#                                  responder runs under callgrind)
# Each prints one line for bench/run.sh to put in its table: WORKERS FIGURES...
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
workers=${PSIA_WORKERS:-2}
# The process lighttpd started, and its workers (none when it serves alone).
worker_pids() {
  local parent
  parent=$(pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder)
  echo "$parent"
  pgrep -P "$parent" -x psia-responder || true
}
# wrk -> "requests/s p50 p99" (latencies as wrk shows them)
wrk_get() {  # wrk_get CONNECTIONS SECONDS [COMMAND IN FRONT OF WRK]
  local out
  out=$(BENCH_METHOD=GET BENCH_PATH=/PSIA/index BENCH_BODY='' BENCH_AUTH=$admin \
        "${@:3}" wrk -t 1 -c "$1" -d "$2s" --latency --timeout 10s -s bench/request.lua "$base/PSIA/index")
  echo "$(echo "$out" | awk '/Requests\/sec/ {print $2}') $(echo "$out" | awk '$1 == "50%" {print $2}') \
$(echo "$out" | awk '$1 == "99%" {print $2}')"
}
curl -s -o /dev/null -H "Authorization: $admin" "$base/PSIA/index"

case "$1" in
  slow-put)
    # The fifth client: one reboot after the other, each answered after the daemon's 2 s.
    ( end=$((SECONDS + BENCH_SECONDS + 4))
      while [ $SECONDS -lt $end ]; do
        curl -s -o /dev/null -m 10 -H "Authorization: $admin" -X PUT "$base/PSIA/System/reboot" || true
      done ) &
    putter=$!
    sleep 0.5
    read -r _ p50 p99 <<<"$(wrk_get 4 "$BENCH_SECONDS" taskset -c 1)"
    wait "$putter"
    anon=0
    for pid in $(worker_pids); do anon=$((anon + $(awk '$1 == "RssAnon:" {print $2}' "/proc/$pid/status"))); done
    echo "$workers $p50 $p99 $anon"
    ;;
  throughput)
    read -r rps _ <<<"$(wrk_get 8 "$BENCH_SECONDS" env)"
    echo "$workers $rps"
    ;;
  instructions)
    n=200
    send() { local i; for i in $(seq "$1"); do curl -s -o /dev/null -H "Authorization: $admin" "$base/PSIA/index"; done; }
    send 20
    callgrind_control -d >/dev/null 2>&1
    send "$n"
    callgrind_control -d >/dev/null 2>&1
    file=$(ls -t "$BENCH_CALLGRIND_OUT"/callgrind.* | head -1)
    # Inclusive counts of the shared state's own steps: the check for another process's zone change, and taking and
    # letting go of the lock (the guard's work under it is the guard's).
    total=$(callgrind_annotate --inclusive=yes --threshold=100 "$file" 2>/dev/null | awk '
      /psia::shared_camera::refresh\(\)|psia::camera_lock::camera_lock\(|psia::camera_lock::~camera_lock\(\)/ {
        gsub(",", "", $1); sum += $1 } END { print sum + 0 }')
    echo "$workers $((total / n))"
    ;;
esac
