#include "frame/routing.h"

#include <gtest/gtest.h>

#include <string>

#include "resources/catalogue/catalogue.h"
#include "resources/event/event.h"
#include "resources/media/media.h"
#include "resources/network/network.h"
#include "resources/ptz/ptz.h"
#include "resources/security/users.h"
#include "resources/system/system.h"
#include "util/request_context.h"

namespace {

struct RouteCase {
  const char* method;
  const char* path;
  handler_call expected;     // all null: answered with ResponseStatus 4
  const char* text = nullptr;  // expected text argument, when one
  int number = 0;
  const char* second = nullptr;
};

bool same(const handler_call& a, const handler_call& b) {
  return a.plain == b.plain && a.text == b.text && a.number == b.number &&
         a.pair == b.pair;
}

void expect_routes(const RouteCase* cases, size_t count, int ptz_support) {
  context().ptz_support = ptz_support;
  for (size_t i = 0; i < count; ++i) {
    const RouteCase& c = cases[i];
    SCOPED_TRACE(std::string(c.method) + " " + c.path);
    route_target target;
    bool found = route_request(c.path, c.method, 0, &target);
    handler_call none;
    if (same(c.expected, none)) {
      EXPECT_FALSE(found);
      continue;
    }
    ASSERT_TRUE(found);
    EXPECT_TRUE(same(target.call, c.expected));
    if (c.text != nullptr) {
      ASSERT_NE(target.text, nullptr);
      EXPECT_STREQ(target.text, c.text);
    }
    if (c.second != nullptr) {
      ASSERT_NE(target.second, nullptr);
      EXPECT_STREQ(target.second, c.second);
    }
    if (c.expected.number != nullptr) {
      EXPECT_EQ(target.number, c.number);
    }
  }
}

const handler_call kNone;

}  // namespace

// The rules whose order, match kind or argument is easy to get wrong.
TEST(Routing, OrderMatchKindsAndArguments) {
  static const RouteCase cases[] = {
      // The eth0 interface is bound crossed, on purpose.
      {"GET", "/PSIA/System/Network/interfaces/eth0", put_network_interface},
      {"PUT", "/PSIA/System/Network/interfaces/eth0", get_network_interface},
      {"GET", "/PSIA/System/time/ntpServers/1", get_ntp_server},
      {"GET", "/PSIA/System/time/ntpServers", get_ntp_server_list},
      {"PUT", "/PSIA/System/factoryReset?MODE=FULL", put_factory_reset,
       "/PSIA/System/factoryReset?MODE=FULL"},
      {"GET", "/PSIA/Security/AAA/users/guest", get_user, "/PSIA/Security/AAA/users/guest"},
      {"GET", "/PSIA/Custom/Event/triggers/Sensor-0", get_event_trigger, "Sensor-0"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-1",
       put_trigger_notification, "Sensor-0", 0, "ftp-1"},
      {"GET", "/PSIA/Custom/Event/notification/mailing/m1", get_mailing, "m1"},
      {"PUT", "/PSIA/PTZ/channels/1/presets/3/goto", goto_ptz_preset, nullptr, 3},
      {"PUT", "/PSIA/PTZ/channels/1/presets/3", put_ptz_preset, nullptr, 3},
      {"DELETE", "/PSIA/PTZ/channels/7/status", get_ptz_status, nullptr, 7},
      {"GET", "/PSIA/PTZ/channels/0/other", get_ptz_channel, nullptr, 0},
      {"PATCH", "/PSIA/PTZ/channels", kNone},
      {"GET", "/PSIA/indexrX", get_psia_indexr},
      {"GET", "/PSIA/index.xml", get_psia_index},
      {"get", "/psia/system/deviceinfo", get_device_info},
      {"PUT", "/PSIA/index", kNone},                 // GET only
      {"POST", "/PSIA/System/reboot", kNone},        // PUT only
      {"GET", "/PSIA/Security/AAA/users/", kNone},   // neither longer nor exact
      {"GET", "/PSIA/System/Network/interfaces/eth0/", kNone},
      {"GET", "/PSIA/Streaming/channels/", kNone},
      {"GET", "/PSIA/nothing", kNone},
      {"GET", "", kNone},
      // A prefix match alone does not end the search: a POST below the NTP
      // servers falls through to the list rule.
      {"POST", "/PSIA/System/time/ntpServers/3", post_ntp_server},
      {"PATCH", "/PSIA/System/time", kNone},
      // A trigger id followed by anything but "notifications/".
      {"GET", "/PSIA/Custom/Event/triggers/Sensor-0/x", get_trigger_notifications, "Sensor-0"},
      {"POST", "/PSIA/Custom/Event/triggers/Sensor-0", post_trigger},
      // Presets sub-resource with a method it does not take: the channel list
      // rule answers.
      {"POST", "/PSIA/PTZ/channels/0/presets/4", accept_ptz_noop},
  };
  expect_routes(cases, sizeof cases / sizeof cases[0], 2);
}

TEST(Routing, PtzBranchIsClosedUnlessThePtzSupportIsTwo) {
  static const RouteCase closed[] = {
      {"GET", "/PSIA/PTZ/index", kNone},
      {"GET", "/PSIA/PTZ/channels", kNone},
      {"GET", "/PSIA/index", get_psia_index},
  };
  for (int support : {0, 1, 3}) expect_routes(closed, 3, support);
}

TEST(Routing, LevelRulesAreKept) {
  context().ptz_support = 2;
  struct LevelCase {
    const char* method;
    const char* path;
    int level;
    bool taken;
  } cases[] = {
      {"GET", "/PSIA/System/deviceInfo", 3, true},
      {"PUT", "/PSIA/System/deviceInfo", 1, false},
      {"PUT", "/PSIA/System/time", 1, true},
      {"PUT", "/PSIA/System/time", 2, false},
      {"GET", "/PSIA/System/configurationData", 1, false},
      {"PUT", "/PSIA/PTZ/channels/0/continuous", 2, false},
  };
  for (const LevelCase& c : cases) {
    route_target target;
    EXPECT_EQ(route_request(c.path, c.method, c.level, &target), c.taken)
        << c.method << " " << c.path << " level " << c.level;
  }
}
