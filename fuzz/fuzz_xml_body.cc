// The body walks of every handler that reads a document: the first byte
// picks the resource and the method, the rest is the body.
#include <iterator>

#include "fuzz_driver.h"

namespace {

struct BodyRoute {
  const char* method;
  const char* uri;
};

const BodyRoute kBodyRoutes[] = {
    {"PUT", "/PSIA/System/time"},
    {"PUT", "/PSIA/System/time/localTime"},
    {"PUT", "/PSIA/System/time/timeZone"},
    {"PUT", "/PSIA/System/time/ntpServers"},
    {"POST", "/PSIA/System/time/ntpServers"},
    {"PUT", "/PSIA/System/time/ntpServers/1"},
    {"PUT", "/PSIA/System/deviceInfo"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/discovery"},
    {"GET", "/PSIA/System/Network/interfaces/eth0"},
    {"PUT", "/PSIA/System/Audio/channels/1"},
    {"PUT", "/PSIA/System/Video/inputs/channels/1"},
    {"PUT", "/PSIA/Security/AAA/users"},
    {"POST", "/PSIA/Security/AAA/users"},
    {"PUT", "/PSIA/Security/AAA/users/guest"},
    {"PUT", "/PSIA/Streaming/channels"},
    {"POST", "/PSIA/Streaming/channels"},
    {"PUT", "/PSIA/Streaming/channels/1"},
    {"PUT", "/PSIA/Streaming/channels/2"},
    {"PUT", "/PSIA/Custom/Event"},
    {"PUT", "/PSIA/Custom/Event/triggers"},
    {"POST", "/PSIA/Custom/Event/triggers"},
    {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0"},
    {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications"},
    {"POST", "/PSIA/Custom/Event/triggers/Sensor-0/notifications"},
    {"PUT", "/PSIA/Custom/Event/schedule"},
    {"PUT", "/PSIA/Custom/Event/notification"},
    {"PUT", "/PSIA/Custom/Event/notification/mailing"},
    {"POST", "/PSIA/Custom/Event/notification/mailing"},
    {"PUT", "/PSIA/Custom/Event/notification/mailing/mail-security"},
    {"PUT", "/PSIA/Custom/Event/notification/ftp"},
    {"POST", "/PSIA/Custom/Event/notification/ftp"},
    {"PUT", "/PSIA/Custom/Event/notification/ftp/ftp-archive"},
    {"PUT", "/PSIA/PTZ/channels"},
    {"PUT", "/PSIA/PTZ/channels/0"},
    {"PUT", "/PSIA/PTZ/channels/0/presets"},
    {"POST", "/PSIA/PTZ/channels/0/presets"},
    {"PUT", "/PSIA/PTZ/channels/0/presets/1"},
    {"PUT", "/PSIA/PTZ/channels/0/homePosition"},
    {"PUT", "/PSIA/PTZ/channels/0/continuous"},
    {"PUT", "/PSIA/PTZ/channels/0/absolute"},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const BodyRoute& route = kBodyRoutes[data[0] % std::size(kBodyRoutes)];
  FuzzRequest r;
  r.method = route.method;
  r.uri = route.uri;
  r.authorization = "Basic YWRtaW46YWRtaW4=";
  r.body.assign(reinterpret_cast<const char*>(data + 1), size - 1);
  fuzz_serve(r);
  return 0;
}
