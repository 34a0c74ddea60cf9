#!/usr/bin/env bash
# Run by bench/run.sh inside a demo stack whose responder runs under
# callgrind: instructions per request in the FastCGI steady state (the
# difference of two dumps around N requests), then single CGI requests,
# start-up included.
set -euo pipefail
source bench/endpoints.sh
base=$PSIA_BASE_URL
n=200

sent=0
send() {  # send COUNT METHOD PATH BODY AUTH ("unknown": a new user name each time)
  local i auth=$5
  for i in $(seq "$1"); do
    sent=$((sent + 1))
    [ "$5" = unknown ] && auth="Basic $(printf 'visitor%d:x' "$sent" | base64 -w0)"
    if [ "$2" = GET ]; then
      curl -s -o /dev/null -H "Authorization: $auth" "$base$3"
    else
      curl -s -o /dev/null -H "Authorization: $auth" -X "$2" --data-binary "$4" "$base$3"
    fi
  done
}
last_total() {  # the event total of the newest dump
  local file
  file=$(ls -t "$BENCH_CALLGRIND_OUT"/callgrind.* | head -1)
  awk '/^(summary|totals):/ {print $2; exit}' "$file"
}

measure() {  # measure METHOD PATH BODY AUTH -> instructions a request
  send 20 "$1" "$2" "$3" "$4"
  callgrind_control -d >/dev/null 2>&1
  send "$n" "$1" "$2" "$3" "$4"
  callgrind_control -d >/dev/null 2>&1
  echo $(( $(last_total) / n ))
}

send 5 GET /PSIA/index "" "$admin"  # the process is up and has served once
if [ "${PSIA_AUTH_SCHEMES:-basic}" != basic ]; then
  # Digest logins, against the Basic GET of the run without them: a client
  # that keeps its nonce, nc counting up, so no 401 is in the loop.
  digest() {  # digest ALGORITHM -> instructions a request
    local nonce headers=$BENCH_CALLGRIND_OUT/headers-$1
    nonce=$(curl -s -i "$base/PSIA/index" | tr -d '\r' |
            sed -n "s/.*algorithm=$1, nonce=\"\([0-9a-f]*\)\".*/\1/p")
    python3 bench/digest_headers.py "$1" "$nonce" GET /PSIA/index $((n + 20)) > "$headers"
    head -20 "$headers" | while read -r h; do curl -s -o /dev/null -H "Authorization: $h" "$base/PSIA/index"; done
    callgrind_control -d >/dev/null 2>&1
    tail -n "$n" "$headers" | while read -r h; do curl -s -o /dev/null -H "Authorization: $h" "$base/PSIA/index"; done
    callgrind_control -d >/dev/null 2>&1
    echo $(( $(last_total) / n ))
  }
  sha256=$(digest SHA-256)
  md5=$(digest MD5)
  basic_in_mode=$(measure GET /PSIA/index "" "$admin")
  off=$(cat "$BENCH_CALLGRIND_OUT/index")
  echo
  echo "| Digest logins (PSIA_AUTH_SCHEMES=$PSIA_AUTH_SCHEMES) | instructions |"
  echo "|---|---|"
  echo "| GET /PSIA/index, Digest SHA-256 | $sha256 |"
  echo "| GET /PSIA/index, Digest MD5 | $md5 |"
  echo "| GET /PSIA/index, Basic in this mode | $basic_in_mode |"
  echo "| GET /PSIA/index, Basic in the basic mode | $off |"
  result instructions "Digest SHA-256 GET /PSIA/index over the Basic one" "$((sha256 - off))" "<= 15000"
  result instructions "Digest MD5 GET /PSIA/index over the Basic one" "$((md5 - off))" "<= 15000"
  exit 0
fi
if [ "${PSIA_LOGIN_ATTEMPTS:-10}" != 0 ]; then
  # The login guard is on in this run: what it adds to a correct login
  # (against the same request in the run without it), and what a refused
  # request from a locked-out address costs (no database work).
  on=$(measure GET /PSIA/index "" "$admin")
  send 10 GET /PSIA/index "" "$wrong"  # locks this address out
  locked=$(measure GET /PSIA/index "" "$admin")
  off=$(cat "$BENCH_CALLGRIND_OUT/index")
  echo
  echo "| The login guard | instructions |"
  echo "|---|---|"
  echo "| GET /PSIA/index, guard on | $on |"
  echo "| GET /PSIA/index, guard off | $off |"
  echo "| 401 to a locked-out address, the right password | $locked |"
  result instructions "login guard's cost to a correct login" "$((on - off))" "<= 500"
  result instructions "401 to a locked-out address" "$locked" "<= 20000"
  exit 0
fi

echo "## Instructions a request"
echo
echo "callgrind, FastCGI steady state: the difference of two dumps around $n requests (the"
echo "login guard off, so that wrong passwords do not lock the load out)."
echo
echo "| Request | instructions |"
echo "|---|---|"
for e in "${endpoints[@]}"; do
  IFS='|' read -r name method path body who target <<<"$e"
  case "$who" in wrong) auth=$wrong ;; unknown) auth=unknown ;; *) auth=$admin ;; esac
  count=$(measure "$method" "$path" "$body" "$auth")
  echo "| $name | $count |"
  [ -n "$target" ] && result instructions "$name" "$count" "<= $target"
  [ "$name" = "GET /PSIA/index" ] && echo "$count" > "$BENCH_CALLGRIND_OUT/index"
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
