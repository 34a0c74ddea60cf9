#!/usr/bin/env bash
# Run by bench/run.sh inside a demo stack whose responder runs under
# callgrind: instructions per request in the FastCGI steady state (the
# difference of two dumps around N requests), then single CGI requests,
# start-up included.
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
n=200

send() {  # send COUNT METHOD PATH BODY AUTH
  local i
  for i in $(seq "$1"); do
    if [ "$2" = GET ]; then
      curl -s -o /dev/null -H "Authorization: $5" "$base$3"
    else
      curl -s -o /dev/null -H "Authorization: $5" -X "$2" --data-binary "$4" "$base$3"
    fi
  done
}
last_total() {  # the event total of the newest dump
  local file
  file=$(ls -t "$BENCH_CALLGRIND_OUT"/callgrind.* | head -1)
  awk '/^(summary|totals):/ {print $2; exit}' "$file"
}

echo "## Instructions a request"
echo
echo "callgrind, FastCGI steady state: the difference of two dumps around $n requests."
echo
echo "| Request | instructions |"
echo "|---|---|"
send 5 GET /PSIA/index "" "$admin"  # the process is up and has served once
for e in "${endpoints[@]}"; do
  IFS='|' read -r name method path body who target <<<"$e"
  auth=$admin; [ "$who" = wrong ] && auth=$wrong
  send 20 "$method" "$path" "$body" "$auth"
  callgrind_control -d >/dev/null 2>&1
  send "$n" "$method" "$path" "$body" "$auth"
  callgrind_control -d >/dev/null 2>&1
  count=$(( $(last_total) / n ))
  echo "| $name | $count |"
  [ -n "$target" ] && result instructions "$name" "$count" "<= $target"
done

cgi() {  # cgi METHOD BODY PROGRAM...
  local method=$1 body=$2
  shift 2
  printf '%s' "$body" | env -i PSIA_ROOT="$PSIA_DEMO_ROOT" PSIA_REQUEST_QUEUE_KEY="$PSIA_REQUEST_QUEUE_KEY" \
    PSIA_REPLY_QUEUE_KEY="$PSIA_REPLY_QUEUE_KEY" GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD="$method" \
    REQUEST_URI=/PSIA/System/deviceInfo CONTENT_LENGTH=${#body} HTTP_AUTHORIZATION="$admin" \
    "$@" >/dev/null 2>&1
}
cgi_instructions() {
  cgi "$1" "$2" valgrind --tool=callgrind --callgrind-out-file="$BENCH_CALLGRIND_OUT/cgi.out" "$BENCH_BUILD/psia-responder"
  awk '/^(summary|totals):/ {print $2; exit}' "$BENCH_CALLGRIND_OUT/cgi.out"
}
get=$(cgi_instructions GET "")
put=$(cgi_instructions PUT "<DeviceInfo><deviceName>camera-lobby</deviceName></DeviceInfo>")
result instructions "one CGI GET of deviceInfo, start-up included" "$get" "<= 2500000"
start=$(date +%s%N)
for _ in $(seq 100); do cgi GET "" "$BENCH_BUILD/psia-responder"; done
startup_us=$(( ($(date +%s%N) - start) / 100 / 1000 ))
echo
echo "| One CGI request, start-up included | instructions |"
echo "|---|---|"
echo "| GET /PSIA/System/deviceInfo | $get |"
echo "| PUT /PSIA/System/deviceInfo with an XML body (libxml2 loaded) | $put |"
echo
echo "A CGI GET takes ${startup_us} µs of wall time, start-up included (mean of 100)."
