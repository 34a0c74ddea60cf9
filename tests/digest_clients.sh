#!/usr/bin/env bash
# Real clients end to end in each PSIA_AUTH_SCHEMES mode: curl --digest, curl --anyauth and Python's requests
# (HTTPDigestAuth), GET and PUT with a body, through lighttpd over FastCGI, as CGI and over TLS.
# Usage: tests/digest_clients.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" != --inside ]; then
  build=$(cd "$1" && pwd)
  # Three ports a run (plain, TLS, CGI), apart from the range of --port auto.
  port=$((40000 + $$ % 8000 * 3))
  for mode in basic digest digest,basic; do
    PSIA_AUTH_SCHEMES=$mode scripts/demo.sh --build-dir "$build" --port "$port" --tls \
      --run "tests/digest_clients.sh --inside $build"
  done
  exit 0
fi
build=$2
mode=$PSIA_AUTH_SCHEMES
run=$PSIA_DEMO_RUN
. tests/checks.sh

# The same responder as a CGI program, behind a second lighttpd.
cgi_port=$((${PSIA_BASE_URL##*:} + 2))
cat > "$run/cgi.conf" <<CONF
server.modules = ("mod_alias", "mod_cgi", "mod_setenv")
server.bind = "127.0.0.1"
server.port = $cgi_port
server.document-root = "$run/htdocs"
server.errorlog = "$run/cgi-error.log"
alias.url = ("/PSIA" => "$build/psia-responder")
cgi.assign = ("" => "")
setenv.add-environment = ("PSIA_ROOT" => "$PSIA_DEMO_ROOT", "PSIA_REQUEST_QUEUE_KEY" => "$PSIA_REQUEST_QUEUE_KEY",
  "PSIA_REPLY_QUEUE_KEY" => "$PSIA_REPLY_QUEUE_KEY", "PSIA_AUTH_SCHEMES" => "$mode")
CONF
lighttpd -D -f "$run/cgi.conf" &
cgi_pid=$!
trap 'kill $cgi_pid 2>/dev/null || true; wait $cgi_pid 2>/dev/null || true' EXIT
for _ in $(seq 50); do curl -s -o /dev/null "http://127.0.0.1:$cgi_port/" && break; sleep 0.1; done

# Each client prints the HTTP status and leaves the body in $run/body.
curl_client() {  # curl_client AUTH-OPTION USER:PASSWORD BASE METHOD PATH [BODY]
  local -a data=()
  [ "$4" = PUT ] && data=(-X PUT --data-binary "$6")
  curl -s -m 10 --cacert "$PSIA_TLS_CERT" $1 -u "$2" -o "$run/body" -w '%{http_code}' "${data[@]}" "$3$5"
}
python_client() {  # python_client - USER:PASSWORD BASE METHOD PATH [BODY]
  /usr/bin/python3 - "$2" "$3" "$4" "$5" "${6:-}" "$run/body" "$PSIA_TLS_CERT" <<'PY'
import sys
import requests
from requests.auth import HTTPDigestAuth
account, base, method, path, body, out, cert = sys.argv[1:8]
user, password = account.split(":", 1)
r = requests.request(method, base + path, data=body or None, auth=HTTPDigestAuth(user, password), timeout=10,
                     verify=cert)
open(out, "wb").write(r.content)
print(r.status_code)
PY
}
# expect WHAT EXPECTED CLIENT ARGS...: what the client got, the ResponseStatus code of a PUT (else the HTTP status).
expect() {
  local what=$1 expected=$2 status got
  shift 2
  status=$("$@")
  got=$(sed -n 's|.*<statusCode>\([0-9]*\)</statusCode>.*|\1|p' "$run/body" | head -1)
  check "$mode: $what: ${got:-$status}, expected $expected" test "${got:-$status}" = "$expected"
}

declare -A bases=([FastCGI]=$PSIA_BASE_URL [CGI]=http://127.0.0.1:$cgi_port [TLS]=https://127.0.0.1:$PSIA_TLS_PORT)
for way in FastCGI CGI TLS; do
  base=${bases[$way]}
  # A Digest client's PUT (its GET logs in the same way) and a Basic GET: answered, or refused by the mode.
  digest=1 basic=200
  case $mode in basic) digest=401 ;; digest) basic=401 ;; esac
  expect "$way curl --digest PUT" "$digest" curl_client --digest admin:admin "$base" PUT /PSIA/System/time/timeZone JST-9
  expect "$way curl --anyauth GET" 200 curl_client --anyauth admin:admin "$base" GET /PSIA/index
  expect "$way curl --anyauth PUT" 1 curl_client --anyauth admin:admin "$base" PUT /PSIA/System/time/timeZone CET-1CEST
  expect "$way Basic GET" "$basic" curl_client --basic admin:admin "$base" GET /PSIA/index
  expect "$way requests PUT" "$digest" python_client - admin:admin "$base" PUT /PSIA/System/time/timeZone JST-9
done
finish
