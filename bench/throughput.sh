#!/usr/bin/env bash
# Run by bench/run.sh inside the demo stack: wrk against each endpoint and
# the references, then the responder's memory.
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
head -c 845 /dev/zero | tr '\0' x > "$PSIA_DEMO_RUN/htdocs/static.xml"
auth="Authorization: Basic YWRtaW46YWRtaW4="
rss_kb() {
  local pid
  pid=$(pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder)
  awk '/^VmRSS/ {print $2}' "/proc/$pid/status"
}

for _ in $(seq 1000); do curl -s -o /dev/null -H "$auth" "$base/PSIA/index"; done
rss_1000=$(rss_kb)

# measure NAME METHOD PATH BODY -> "requests/s p50 p99 count"
measure() {
  local out
  out=$(BENCH_METHOD=$2 BENCH_PATH=$3 BENCH_BODY=$4 taskset -c 1 \
        wrk -t 1 -c 8 -d "${BENCH_SECONDS}s" --latency -s bench/request.lua "$base$3")
  echo "$(echo "$out" | awk '/Requests\/sec/ {print $2}') \
$(echo "$out" | awk '$1 == "50%" {print $2}') $(echo "$out" | awk '$1 == "99%" {print $2}') \
$(echo "$out" | awk '/requests in/ {print $1}')"
}

read -r static_rps static_p50 static_p99 _ <<<"$(measure static GET /static.xml '')"
read -r query_rps query_p50 query_p99 _ <<<"$(measure query GET /ref/query '')"
read -r once_rps once_p50 once_p99 _ <<<"$(measure once GET /ref/prepared '')"

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
echo "## Throughput through lighttpd (wrk, 8 connections, core 1; server on core 0)"
echo
echo "| Request | requests/s | p50 | p99 | / static file | / one-query reference |"
echo "|---|---|---|---|---|---|"
echo "| static file, 845 bytes | $static_rps | $static_p50 | $static_p99 | 1.00 | $(ratio "$static_rps" "$query_rps") |"
echo "| reference: one query, prepared per request | $query_rps | $query_p50 | $query_p99 | $(ratio "$query_rps" "$static_rps") | 1.00 |"
echo "| reference: one query, prepared once | $once_rps | $once_p50 | $once_p99 | $(ratio "$once_rps" "$static_rps") | $(ratio "$once_rps" "$query_rps") |"
served=1000
for e in "${endpoints[@]}"; do
  IFS='|' read -r name method path body <<<"$e"
  read -r rps p50 p99 count <<<"$(measure "$name" "$method" "$path" "$body")"
  served=$((served + count))
  echo "| $name | $rps | $p50 | $p99 | $(ratio "$rps" "$static_rps") | $(ratio "$rps" "$query_rps") |"
done
while [ "$served" -lt 100000 ]; do
  read -r _ _ _ count <<<"$(measure index GET /PSIA/index '')"
  served=$((served + count))
done
echo
echo "## Memory"
echo
echo "| After | responder RSS |"
echo "|---|---|"
echo "| 1,000 requests | ${rss_1000} kB |"
echo "| $served requests | $(rss_kb) kB |"
