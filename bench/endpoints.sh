# The benchmarked requests: name, method, path, body, credentials ("admin",
# "wrong", or "unknown": a user name the camera does not have, another one
# each request, so that a statement compiled per name would show), and the most instructions a request may cost in the FastCGI
# steady state (empty: recorded only).
endpoints=(
  "GET /PSIA/index|GET|/PSIA/index||admin|40000"
  "unmatched path (status 4)|GET|/PSIA/Nothing/here||admin|35000"
  "401, wrong password|GET|/PSIA/index||wrong|30000"
  "401, unknown user (a new name each time)|GET|/PSIA/index||unknown|30000"
  "GET deviceInfo|GET|/PSIA/System/deviceInfo||admin|80000"
  "GET Security/AAA/users|GET|/PSIA/Security/AAA/users||admin|75000"
  "GET Streaming/channels|GET|/PSIA/Streaming/channels||admin|200000"
  "PUT timeZone (control exchange)|PUT|/PSIA/System/time/timeZone|JST-9|admin|80000"
  "PUT deviceInfo (XML body)|PUT|/PSIA/System/deviceInfo|<DeviceInfo><deviceName>camera-lobby</deviceName></DeviceInfo>|admin|"
)
admin="Basic YWRtaW46YWRtaW4="
wrong="Basic YWRtaW46d3Jvbmc="

# result KIND NAME VALUE [TARGET] -- one figure for the targets table.
result() { printf '%s|%s|%s|%s\n' "$@" >> "$BENCH_RESULTS"; }
