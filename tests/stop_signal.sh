#!/usr/bin/env bash
# SIGTERM ends the responder promptly: while it waits for a silent control daemon (a factory reset, whose wait is
# three minutes) the request in hand is answered 2 and the process ends; while it waits for a connection it ends at
# once. Usage: tests/stop_signal.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
PSIA_WORKERS=1 PSIA_SIM_ARGS="--silent 10" exec scripts/demo.sh --build-dir "$1" --port auto --run '
set -euo pipefail
responder() { pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder || true; }
ended() {  # ended PID WHAT: the process is gone within 20 s
  for _ in $(seq 200); do kill -0 "$1" 2>/dev/null || { echo "ok: $2"; return 0; }; sleep 0.1; done
  echo "FAIL: $2: the responder still runs 20 s after SIGTERM"; exit 1
}
curl -s -o /dev/null -u admin:admin "$PSIA_BASE_URL/PSIA/index"
pid=$(responder)
[ -n "$pid" ] || { echo "FAIL: no responder"; exit 1; }
curl -s -m 60 -u admin:admin -X PUT "$PSIA_BASE_URL/PSIA/System/factoryReset?mode=basic" > "$PSIA_DEMO_RUN/answer" &
client=$!
for _ in $(seq 50); do grep -q "command 10" "$PSIA_DEMO_RUN/control.log" 2>/dev/null && break; sleep 0.1; done
kill -TERM "$pid"
ended "$pid" "SIGTERM during a wait for the daemon"
wait "$client" || true
grep -q "<statusCode>2</statusCode>" "$PSIA_DEMO_RUN/answer" || { echo "FAIL: the request in hand was not answered 2"; cat "$PSIA_DEMO_RUN/answer"; exit 1; }
curl -s -o /dev/null -u admin:admin "$PSIA_BASE_URL/PSIA/index" || true
pid=$(responder)
[ -n "$pid" ] || { echo "FAIL: no responder after the restart"; exit 1; }
kill -TERM "$pid"
ended "$pid" "SIGTERM while waiting for a connection"
'
