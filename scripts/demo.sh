#!/usr/bin/env bash
# Runs the responder for real: lighttpd on 127.0.0.1 in front, a seeded
# camera database under a demo root, and the control daemon simulator.
# Installs what is missing and builds first. Ctrl-C stops everything.
#
# Usage: scripts/demo.sh [--port N] [--build-dir DIR] [--digest] [--tls]
#                       [--check | --run CMD]
#   --port N        listen on port N (default 8080; "auto" picks one from
#                   this process's id, for test runs side by side)
#   --digest        Digest logins only, and every account's level enforced
#                   (PSIA_AUTH_SCHEMES=digest PSIA_ACCESS_LEVELS=enforce;
#                   the two variables, when set, are passed on as they are)
#   --tls           HTTPS on port N+1 too, with a self-signed certificate
#                   made at start (PSIA_TLS_PORT, PSIA_TLS_CERT for --run)
#   --build-dir DIR use the responder and simulator built in DIR (no build)
#   --responder CMD the program lighttpd starts instead of DIR's responder
#                   (a wrapper that runs it under valgrind, say)
#   --check         start, check a few answers through curl, stop; the
#                   exit status says whether they were right
#   --run CMD       start, run CMD (with PSIA_BASE_URL, PSIA_DEMO_ROOT,
#                   PSIA_DEMO_RUN and the two queue keys set), stop; exits
#                   with CMD's status
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$(pwd)

port=8080
build_dir=
check=no
run_command=
responder=
tls=no
while [ $# -gt 0 ]; do
  case "$1" in
    --digest)
      export PSIA_AUTH_SCHEMES=${PSIA_AUTH_SCHEMES:-digest}
      export PSIA_ACCESS_LEVELS=${PSIA_ACCESS_LEVELS:-enforce}
      shift ;;
    --tls) tls=yes; shift ;;
    --port) port=$2; shift 2 ;;
    --build-dir) build_dir=$2; shift 2 ;;
    --responder) responder=$2; shift 2 ;;
    --check) check=yes; shift ;;
    --run) run_command=$2; shift 2 ;;
    *) echo "usage: $0 [--port N] [--build-dir DIR] [--digest] [--tls] [--check | --run CMD]" >&2
       exit 2 ;;
  esac
done

if [ "$port" = auto ]; then port=$((20000 + $$ % 20000)); fi

if [ -z "$build_dir" ]; then
  scripts/install-deps.sh build demo
  build_dir=build
  cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$build_dir" -j"$(nproc 2>/dev/null || echo 2)" \
    --target psia-responder psia-control-sim
fi
build_dir=$(cd "$build_dir" && pwd)
responder=${responder:-$build_dir/psia-responder}
simulator=$build_dir/tools/psia-control-sim

# Everything of one run lives in one directory: the camera root (PSIA_ROOT),
# the web server's configuration, socket and logs.
run=$(mktemp -d /tmp/psia-demo-XXXXXX)
root=$run/root
mkdir -p "$run/htdocs"
scripts/make-root.sh "$root"

# Queue keys of their own, so the demo never talks to a real daemon's
# queues (1111 and 2222) on the same machine.
request_key=$((41111 + port))
reply_key=$((42222 + port))

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  if [ "$check" = yes ] || [ -n "$run_command" ]; then rm -rf "$run"; fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# PSIA_SIM_ARGS: more simulator options (a slow command, say) for tests.
# shellcheck disable=SC2086
"$simulator" --request-key "$request_key" --reply-key "$reply_key" \
  --transfer-dir "$root/usr/local/httpd/htdocs/Web/updownload" \
  --log "$run/control.log" --ready-file "$run/control.ready" ${PSIA_SIM_ARGS:-} &
pids+=($!)
for _ in $(seq 50); do [ -e "$run/control.ready" ] && break; sleep 0.1; done

sed -e "s|@PORT@|$port|" -e "s|@RUN@|$run|g" -e "s|@RESPONDER@|$responder|" \
    -e "s|@ROOT@|$root|" -e "s|@REQUEST_KEY@|$request_key|" \
    -e "s|@REPLY_KEY@|$reply_key|" -e "s|@LOGIN_ATTEMPTS@|${PSIA_LOGIN_ATTEMPTS:-10}|" \
    -e "s|@WORKERS@|${PSIA_WORKERS:-2}|" \
    -e "s|@AUTH_SCHEMES@|${PSIA_AUTH_SCHEMES:-basic}|" \
    -e "s|@ACCESS_LEVELS@|${PSIA_ACCESS_LEVELS:-admin-only}|" \
    demo/lighttpd.conf.in > "$run/lighttpd.conf"
tls_port=$((port + 1))
if [ "$tls" = yes ]; then
  openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=127.0.0.1 \
    -addext subjectAltName=IP:127.0.0.1 -keyout "$run/tls-key.pem" -out "$run/tls-cert.pem" \
    2>/dev/null
  sed -e "s|@TLS_PORT@|$tls_port|" -e "s|@TLS_CERT@|$run/tls-cert.pem|" \
      -e "s|@TLS_KEY@|$run/tls-key.pem|" demo/lighttpd-tls.conf.in >> "$run/lighttpd.conf"
fi
# More configuration for this run (the benchmarks add their references).
if [ -n "${PSIA_LIGHTTPD_EXTRA:-}" ]; then
  sed -e "s|@RUN@|$run|g" -e "s|@BUILD@|$build_dir|g" "$PSIA_LIGHTTPD_EXTRA" >> "$run/lighttpd.conf"
fi
lighttpd -D -f "$run/lighttpd.conf" &
pids+=($!)

base=http://127.0.0.1:$port
for _ in $(seq 100); do
  curl -s -o /dev/null "$base/" && break
  sleep 0.1
done

if [ "$check" = yes ]; then
  failures=0
  # The whole HTTP answer, byte for byte, but for the two headers that
  # change with the clock and the web server's version.
  answer() { curl -s -i "$@" | grep -a -v -e '^Date: ' -e '^Server: ' || true; }
  expect() {  # expect WHAT EXPECTED-FILE CURL-ARGS...
    local what=$1 expected=$2; shift 2
    if answer "$@" | cmp -s - "$expected"; then
      echo "ok   $what"
    else
      echo "FAIL $what"; answer "$@" | diff "$expected" - | head -20 || true
      failures=$((failures + 1))
    fi
  }
  expect "index through lighttpd" demo/expected/index.http \
    -u admin:admin "$base/PSIA/index"
  expect "wrong password" demo/expected/unauthorized.http \
    -u admin:wrong "$base/PSIA/index"
  expect "unknown resource" demo/expected/unknown.http \
    -u admin:admin "$base/PSIA/Nothing/here"
  exit $((failures > 0))
fi

if [ -n "$run_command" ]; then
  PSIA_BASE_URL=$base PSIA_DEMO_ROOT=$root PSIA_DEMO_RUN=$run \
    PSIA_TLS_PORT=$tls_port PSIA_TLS_CERT=$run/tls-cert.pem \
    PSIA_REQUEST_QUEUE_KEY=$request_key PSIA_REPLY_QUEUE_KEY=$reply_key \
    bash -c "$run_command"
  exit $?
fi

if [ "${PSIA_AUTH_SCHEMES:-basic}" = basic ]; then how="-u"; else how="--digest -u"; fi
cat <<MSG

The camera answers on $base/PSIA/ (user admin, password admin; logins:
${PSIA_AUTH_SCHEMES:-basic}, levels: ${PSIA_ACCESS_LEVELS:-admin-only}).
  curl $how admin:admin $base/PSIA/index
  curl $how guest:guest $base/PSIA/System/deviceInfo   (a viewer, level 2)
  curl $how admin:admin $base/PSIA/System/time
  curl $how admin:admin $base/PSIA/Streaming/channels
  curl $how admin:admin -X PUT --data-binary JST-9 $base/PSIA/System/time/timeZone
Camera root: $root
Control daemon log: $run/control.log    Web server log: $run/lighttpd-error.log
Press Ctrl-C to stop.
MSG
if [ "$tls" = yes ]; then
  echo "HTTPS: curl --cacert $run/tls-cert.pem $how admin:admin https://127.0.0.1:$tls_port/PSIA/index"
fi
wait "${pids[@]}"
