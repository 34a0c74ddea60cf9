#!/usr/bin/env bash
# Run by bench/run.sh inside the demo stack: wrk against each endpoint and
# the references, the latency of a change, and the responder's memory.
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
head -c 845 /dev/zero | tr '\0' x > "$PSIA_DEMO_RUN/htdocs/static.xml"
responder_pid() { pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder; }
memory_kb() { awk -v f="$1:" '$1 == f {print $2}' "/proc/$(responder_pid)/status"; }

# measure CONNECTIONS METHOD PATH BODY AUTH [LUA] -> "requests/s p50 p99 count"
measure() {
  local out
  out=$(BENCH_METHOD=$2 BENCH_PATH=$3 BENCH_BODY=$4 BENCH_AUTH=$5 taskset -c 1 \
        wrk -t 1 -c "$1" -d "${BENCH_SECONDS}s" --latency -s "${6:-bench/request.lua}" "$base$3")
  echo "$(echo "$out" | awk '/Requests\/sec/ {print $2}') \
$(echo "$out" | awk '$1 == "50%" {print $2}') $(echo "$out" | awk '$1 == "99%" {print $2}') \
$(echo "$out" | awk '/requests in/ {print $1}')"
}
ms() {  # wrk's latency text (us, ms, s) in milliseconds
  awk -v t="$1" 'BEGIN { v = t + 0; if (t ~ /us$/) v /= 1000; else if (t ~ /[^m]s$/) v *= 1000; printf "%.2f", v }'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

curl -s -o /dev/null -H "Authorization: $admin" "$base/PSIA/index"
rss_before=$(memory_kb VmRSS)
curl -s -o /dev/null -H "Authorization: $admin" -X PUT --data-binary \
  "<DeviceInfo><deviceName>camera-lobby</deviceName></DeviceInfo>" "$base/PSIA/System/deviceInfo"
rss_after=$(memory_kb VmRSS)

read -r static_rps static_p50 static_p99 _ <<<"$(measure 8 GET /static.xml '' "$admin")"
read -r query_rps query_p50 query_p99 _ <<<"$(measure 8 GET /ref/query '' "$admin")"
read -r once_rps once_p50 once_p99 _ <<<"$(measure 8 GET /ref/prepared '' "$admin")"

echo "## Throughput through lighttpd"
echo
echo "wrk, 8 connections, on core 1; lighttpd, the responder and the simulator on core 0."
echo
echo "| Request | requests/s | p50 | p99 | / static file | / one-query reference, prepared once |"
echo "|---|---|---|---|---|---|"
echo "| static file, 845 bytes | $static_rps | $static_p50 | $static_p99 | 1.00 | $(ratio "$static_rps" "$once_rps") |"
echo "| reference: one query, prepared per request | $query_rps | $query_p50 | $query_p99 | $(ratio "$query_rps" "$static_rps") | $(ratio "$query_rps" "$once_rps") |"
echo "| reference: one query, prepared once | $once_rps | $once_p50 | $once_p99 | $(ratio "$once_rps" "$static_rps") | 1.00 |"
for e in "${endpoints[@]}"; do
  IFS='|' read -r name method path body who _ <<<"$e"
  # wrk repeats one request: a new user name each time is counted by
  # instructions only.
  [ "$who" = unknown ] && continue
  auth=$admin; [ "$who" = wrong ] && auth=$wrong
  read -r rps p50 p99 _ <<<"$(measure 8 "$method" "$path" "$body" "$auth")"
  echo "| $name | $rps | $p50 | $p99 | $(ratio "$rps" "$static_rps") | $(ratio "$rps" "$once_rps") |"
  case "$name" in
    "GET /PSIA/index") result ratio "GET /PSIA/index / one-query reference prepared once" "$(ratio "$rps" "$once_rps")" ">= 0.9" ;;
    "PUT timeZone"*) result rate "PUT timeZone, 8 connections, requests/s" "$rps" ">= 1500" ;;
  esac
done

read -r _ one_p50 one_p99 _ <<<"$(measure 1 PUT /PSIA/System/time/timeZone JST-9 "$admin")"
result latency "PUT timeZone, one connection, p50 (ms)" "$(ms "$one_p50")" "<= 2"
result latency "PUT timeZone, one connection, p99 (ms)" "$(ms "$one_p99")" "<= 5"
echo
echo "PUT timeZone from one connection: p50 $one_p50, p99 $one_p99."

served=0
while [ "$served" -lt 100000 ]; do
  read -r _ _ _ count <<<"$(measure 8 GET /PSIA/index '' "$admin" bench/mixed.lua)"
  served=$((served + count))
done
anon=$(memory_kb RssAnon)
result memory "anonymous memory after $served mixed requests (kB)" "$anon" "<= 1024"
echo
echo "## Memory of the responder"
echo
echo "| When | RSS | anonymous |"
echo "|---|---|---|"
echo "| after its first request (a GET) | ${rss_before} kB | |"
echo "| after its first XML body (libxml2 loaded) | ${rss_after} kB | |"
echo "| after $served more requests, mixed, XML bodies among them | $(memory_kb VmRSS) kB | ${anon} kB |"
