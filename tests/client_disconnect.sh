#!/usr/bin/env bash
# A client that hangs up while a worker waits for the control daemon: the worker finishes that request into the void
# and the workers serve the next one, none of them restarted. Usage: tests/client_disconnect.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
PSIA_SIM_ARGS="--delay 8=2500" exec scripts/demo.sh --build-dir "$1" --port auto --run '
set -euo pipefail
responder() { pgrep -P "$(cat "$PSIA_DEMO_RUN/lighttpd.pid")" -x psia-responder | sort | tr "\n" " "; }
curl -s -o /dev/null -u admin:admin "$PSIA_BASE_URL/PSIA/index"
before=$(responder)
curl -s -o /dev/null -m 1 -u admin:admin -X PUT "$PSIA_BASE_URL/PSIA/System/reboot" || true
sleep 2.5
curl -s -u admin:admin "$PSIA_BASE_URL/PSIA/index" | grep -q "<ResourceList"
after=$(responder)
[ "$before" = "$after" ] || { echo "the responder was restarted ($before -> $after)"; exit 1; }
echo "ok: the next request was served by the same workers"
'
