-- wrk: the mixed traffic of the memory figure. Reads of every kind, an
-- unknown path, a wrong password, and changes with XML bodies in turn.
local admin = "Basic YWRtaW46YWRtaW4="
local mix = {
  {"GET", "/PSIA/index", admin},
  {"GET", "/PSIA/System/deviceInfo", admin},
  {"GET", "/PSIA/Streaming/channels", admin},
  {"GET", "/PSIA/Security/AAA/users", admin},
  {"GET", "/PSIA/Custom/Event", admin},
  {"GET", "/PSIA/Nothing/here", admin},
  {"GET", "/PSIA/index", "Basic YWRtaW46d3Jvbmc="},
  {"PUT", "/PSIA/System/deviceInfo", admin, "<DeviceInfo><deviceName>camera-lobby</deviceName></DeviceInfo>"},
  {"PUT", "/PSIA/Custom/Event/schedule", admin,
   "<EventSchedule><TimeBlockList><TimeBlock><dayOfWeek>3</dayOfWeek></TimeBlock></TimeBlockList></EventSchedule>"},
  {"PUT", "/PSIA/System/time/timeZone", admin, "JST-9"},
}
local turn = 0
function request()
  turn = turn + 1
  local r = mix[turn % #mix + 1]
  return wrk.format(r[1], r[2], {Authorization = r[3]}, r[4])
end
