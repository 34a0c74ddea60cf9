#!/usr/bin/env bash
# Run by bench/run.sh inside a demo stack whose responder runs under
# callgrind: instructions per request in the FastCGI steady state (the
# difference of two dumps over N requests), then one CGI request with its
# start-up, and the start-up time.
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
auth="Authorization: Basic YWRtaW46YWRtaW4="
n=200

send() {  # send COUNT METHOD PATH BODY
  local i
  for i in $(seq "$1"); do
    if [ "$2" = GET ]; then
      curl -s -o /dev/null -H "$auth" "$base$3"
    else
      curl -s -o /dev/null -H "$auth" -X "$2" --data-binary "$4" "$base$3"
    fi
  done
}
last_total() {  # the event total of the newest dump
  local file
  file=$(ls -t "$BENCH_CALLGRIND_OUT"/callgrind.* | head -1)
  awk '/^(summary|totals):/ {print $2; exit}' "$file"
}

echo "## Instructions per request (callgrind, FastCGI steady state, $n requests)"
echo
echo "| Request | instructions |"
echo "|---|---|"
send 5 GET /PSIA/index ""  # the process is up and has served once
for e in "${endpoints[@]}"; do
  IFS='|' read -r name method path body <<<"$e"
  send 20 "$method" "$path" "$body"
  callgrind_control -d >/dev/null 2>&1
  send "$n" "$method" "$path" "$body"
  callgrind_control -d >/dev/null 2>&1
  echo "| $name | $(( $(last_total) / n )) |"
done

cgi() {
  env -i PSIA_ROOT="$PSIA_DEMO_ROOT" PSIA_REQUEST_QUEUE_KEY="$PSIA_REQUEST_QUEUE_KEY" \
    PSIA_REPLY_QUEUE_KEY="$PSIA_REPLY_QUEUE_KEY" GATEWAY_INTERFACE=CGI/1.1 \
    REQUEST_METHOD=GET REQUEST_URI=/PSIA/index \
    HTTP_AUTHORIZATION="Basic YWRtaW46YWRtaW4=" "$@" >/dev/null 2>&1
}
cgi valgrind --tool=callgrind --callgrind-out-file="$BENCH_CALLGRIND_OUT/cgi.out" \
  "$BENCH_BUILD/psia-responder"
cgi_total=$(awk '/^(summary|totals):/ {print $2; exit}' "$BENCH_CALLGRIND_OUT/cgi.out")
start=$(date +%s%N)
for _ in $(seq 100); do cgi "$BENCH_BUILD/psia-responder"; done
startup_us=$(( ($(date +%s%N) - start) / 100 / 1000 ))
echo
echo "| One CGI request (GET /PSIA/index), start-up included | instructions |"
echo "|---|---|"
echo "| callgrind total | $cgi_total |"
echo
echo "Start-up and one CGI request, wall time: ${startup_us} µs (mean of 100)."
