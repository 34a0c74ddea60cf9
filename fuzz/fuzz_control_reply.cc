// The control daemon's replies chosen by the fuzzer, for every request that
// sends the daemon a command. The first byte picks the request, the second
// what the daemon does besides replying (bits: 1 hung, 2 gone, 4 restarted
// before the request, 8 restarted while the responder waits); then up to
// four replies, each put in the reply queue before the request is served:
//
//   byte 0     addressee: 0 or 3 this process, 1 another process, 2 type 1
//   bytes 1-4  status (little-endian)
//   bytes 5-6  size handed to msgsnd, 0 to 4096 (the frame is 1128)
//   bytes 7-8  n, then n payload bytes (from payload byte 0)
//
// Replies for someone else, cut short, oversized, missing or too many: the
// answer must stay well formed and the request must wait no longer than
// its commands may.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "fuzz_driver.h"

namespace {

struct control_route {
  const char* method;
  const char* uri;
  const char* query;
  const char* body;
};

const control_route kControlRoutes[] = {
    {"PUT", "/PSIA/System/reboot", "", ""},
    {"PUT", "/PSIA/System/factoryReset?MODE=FULL", "MODE=FULL", ""},
    {"GET", "/PSIA/System/configurationData", "", ""},
    {"PUT", "/PSIA/System/time", "",
     "<Time><timeMode>NTP</timeMode><timeZone>CET-1CEST,M3.5.0,M10.5.0/3</timeZone></Time>"},
    {"PUT", "/PSIA/System/time", "",
     "<Time><timeMode>manual</timeMode><localTime>2012-03-04T05:06:07</localTime>"
     "<timeZone>JST-9</timeZone></Time>"},
    {"PUT", "/PSIA/System/time/timeZone", "", "JST-9"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress", "",
     "<IPAddress><ipVersion>v4</ipVersion><addressingType>static</addressingType>"
     "<ipAddress>10.9.8.7</ipAddress><subnetMask>255.255.0.0</subnetMask>"
     "<DefaultGateway><ipAddress>10.9.0.1</ipAddress></DefaultGateway>"
     "<PrimaryDNS><ipAddress>10.9.0.53</ipAddress></PrimaryDNS></IPAddress>"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress", "",
     "<IPAddress><addressingType>dhcp</addressingType></IPAddress>"},
    {"GET", "/PSIA/System/Network/interfaces/eth0", "",
     "<NetworkInterface><id>eth0</id><IPAddress><addressingType>static</addressingType>"
     "<ipAddress>10.9.8.7</ipAddress></IPAddress></NetworkInterface>"},
    {"PUT", "/PSIA/System/Audio/channels/1", "",
     "<AudioChannel><enabled>true</enabled></AudioChannel>"},
    {"PUT", "/PSIA/System/Video/inputs/channels/1", "",
     "<VideoInputChannel><id>1</id><brightnessLevel>60</brightnessLevel></VideoInputChannel>"},
    {"PUT", "/PSIA/Streaming/channels/1", "",
     "<StreamingChannel><id>1</id><enabled>true</enabled><Transport><rtspPortNo>554</rtspPortNo>"
     "</Transport></StreamingChannel>"},
    {"PUT", "/PSIA/Streaming/channels", "",
     "<StreamingChannelList><StreamingChannel><id>2</id></StreamingChannel></"
     "StreamingChannelList>"},
    {"POST", "/PSIA/Security/AAA/users", "",
     "<User><userName>carol</userName><password>c1</password></User>"},
    {"PUT", "/PSIA/Security/AAA/users/guest", "", "<User><password>g2</password></User>"},
    {"DELETE", "/PSIA/Security/AAA/users/guest", "", ""},
    {"PUT", "/PSIA/PTZ/channels/0", "",
     "<PTZChannel><id>0</id><enabled>true</enabled></PTZChannel>"},
    {"POST", "/PSIA/PTZ/channels/0/presets", "",
     "<PTZPreset><id>5</id><presetName>Gate</presetName></PTZPreset>"},
    {"DELETE", "/PSIA/PTZ/channels/0/presets/1", "", ""},
    {"PUT", "/PSIA/PTZ/channels/0/presets/1/goto", "", ""},
    {"PUT", "/PSIA/PTZ/channels/0/homePosition", "", ""},
    {"PUT", "/PSIA/PTZ/channels/0/continuous", "",
     "<PTZData><pan>50</pan><tilt>-20</tilt></PTZData>"},
    {"PUT", "/PSIA/PTZ/channels/0/absolute", "",
     "<PTZData><elevation>10</elevation><azimuth>90</azimuth><absoluteZoom>20</absoluteZoom></"
     "PTZData>"},
    {"GET", "/PSIA/PTZ/channels/0/status", "", ""},
};

constexpr size_t kMaxReplies = 4;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const control_route& route = kControlRoutes[data[0] % std::size(kControlRoutes)];
  fuzz_request r;
  r.method = route.method;
  r.uri = route.uri;
  r.query = route.query;
  r.body = route.body;
  r.authorization = kAdminAuthorization;
  r.content_length = r.method != "GET" || !r.body.empty();
  r.scripted_daemon = true;
  r.daemon.hung = (data[1] & 1) != 0;
  r.daemon.gone = (data[1] & 2) != 0;
  r.daemon.restarted_before = (data[1] & 4) != 0;
  r.daemon.restarted_while_waiting = (data[1] & 8) != 0;
  for (size_t at = 2; at + 9 <= size && r.replies.size() < kMaxReplies;) {
    const uint8_t* head = data + at;
    fuzz_reply reply;
    static const fuzz_reply::reply_to kAddressees[] = {
        fuzz_reply::reply_to::this_process, fuzz_reply::reply_to::another_process,
        fuzz_reply::reply_to::type_one, fuzz_reply::reply_to::this_process};
    reply.to = kAddressees[head[0] % 4];
    std::memcpy(&reply.status, head + 1, 4);
    reply.size = static_cast<size_t>(head[5] | head[6] << 8) % 4097;
    size_t n = std::min<size_t>(head[7] | head[8] << 8, size - at - 9);
    reply.payload.assign(reinterpret_cast<const char*>(head + 9), n);
    r.replies.push_back(reply);
    at += 9 + n;
  }
  fuzz_new_input();
  fuzz_serve(r);
  return 0;
}
