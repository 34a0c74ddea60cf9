#!/usr/bin/env bash
# Soak run: drives the responder through lighttpd on 127.0.0.1 with mixed
# GET/PUT traffic (bench/soak.lua) at several concurrency levels while
# another process keeps writing the database and holding its write lock,
# then checks that nothing crashed, every answer was well formed, and the
# responder's memory did not grow.
#
# Usage: bench/soak.sh [SECONDS_PER_LEVEL]   (default 30; three levels,
#        about 100,000 requests in all on the build machine)
# Fails when the responder restarted, an answer was malformed, or its RSS
# after the run exceeds its RSS after the first 1,000 requests by 1 MB.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
export PSIA_SOAK_SECONDS=$seconds
scripts/install-deps.sh build bench >/dev/null
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target psia-responder psia-control-sim >/dev/null

PSIA_WORKERS=1 exec scripts/demo.sh --build-dir build --port auto --run '
set -euo pipefail
db=$PSIA_DEMO_ROOT/usr/local/korvia/kkorvia.db
auth="Authorization: Basic YWRtaW46YWRtaW4="
responder_pid() { pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder || echo none; }
rss_kb() { awk "/^VmRSS/ {print \$2}" /proc/$1/status; }

# The first 1,000 requests: the process has reached its working size.
for i in $(seq 1000); do
  curl -s -o /dev/null -H "$auth" "$PSIA_BASE_URL/PSIA/System/deviceInfo"
done
pid=$(responder_pid)
rss_start=$(rss_kb "$pid")

# The camera'"'"'s other processes write the same database meanwhile, and
# sometimes hold its write lock for a while.
( while :; do
    sqlite3 "$db" "begin immediate; update Audio set InputGain=(InputGain+1)%100;" \
      ".shell sleep 0.05" "commit;" >/dev/null 2>&1 || true
    sleep 0.2
  done ) &
writer=$!
trap "kill $writer 2>/dev/null || true" EXIT

total=1000
malformed=0
rows=
for connections in 1 4 16; do
  out=$(wrk -t 1 -c "$connections" -d "${PSIA_SOAK_SECONDS}s" --latency \
          -s bench/soak.lua "$PSIA_BASE_URL")
  echo "$out" | grep -E "^errors" | grep -v "connect 0 read 0 write 0 timeout 0" >&2 || true
  rows+="| $connections $(echo "$out" | sed -n "s/^row //p")"$'"'\n'"'
  total=$((total + $(echo "$out" | awk "/^requests/ {print \$2}")))
  malformed=$((malformed + $(echo "$out" | awk "/^answers malformed/ {print \$3}")))
done
kill $writer 2>/dev/null || true

after=$(responder_pid)
rss_end=$(rss_kb "$after")
echo "Taken $(date -u +%Y-%m-%d) with \`bench/soak.sh $PSIA_SOAK_SECONDS\` on $(nproc) cores ($(uname -m)), $PSIA_SOAK_SECONDS s a level."
echo
echo "| Connections | requests/s | Documents | 401 | ResponseStatus 1 | ResponseStatus 4 | Malformed | p50 ms | p99 ms |"
echo "|---|---|---|---|---|---|---|---|---|"
printf "%s" "$rows"
echo
echo "Requests served: $total. Responder RSS: ${rss_start} kB after the first 1,000, ${rss_end} kB after $total."
status=0
[ "$pid" = "$after" ] || { echo "FAIL: the responder restarted ($pid -> $after)"; status=1; }
[ "$malformed" -eq 0 ] || { echo "FAIL: $malformed malformed answers"; status=1; }
[ $((rss_end - rss_start)) -le 1024 ] || { echo "FAIL: memory grew by $((rss_end - rss_start)) kB"; status=1; }
[ $status -ne 0 ] || echo "The responder never restarted and no answer was malformed."
exit $status
'
