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

// One case per rule of the tree, in the order the rules are tested.
TEST(Routing, EveryRuleReachesItsHandler) {
  static const RouteCase cases[] = {
      {"GET", "/PSIA/indexr", get_psia_indexr},
      {"GET", "/PSIA/index", get_psia_index},
      {"GET", "/PSIA/description", get_psia_description},
      {"GET", "/PSIA/System/index", get_system_index},
      {"GET", "/PSIA/System/description", get_system_description},
      {"PUT", "/PSIA/System/reboot", put_reboot},
      {"PUT", "/PSIA/System/updateFirmware", put_update_firmware},
      {"GET", "/PSIA/System/configurationData", get_configuration_data},
      {"PUT", "/PSIA/System/configurationData", put_configuration_data},
      {"PUT", "/PSIA/System/factoryReset?MODE=FULL", put_factory_reset,
       "/PSIA/System/factoryReset?MODE=FULL"},
      {"GET", "/PSIA/System/deviceInfo", get_device_info},
      {"PUT", "/PSIA/System/deviceInfo", put_device_info},
      {"GET", "/PSIA/System/status", get_device_status},
      {"GET", "/PSIA/System/time/localTime", get_local_time},
      {"PUT", "/PSIA/System/time/localTime", put_local_time},
      {"GET", "/PSIA/System/time/timeZone", get_time_zone},
      {"PUT", "/PSIA/System/time/timeZone", put_time_zone},
      {"GET", "/PSIA/System/time/ntpServers/1", get_ntp_server},
      {"PUT", "/PSIA/System/time/ntpServers/1", put_ntp_server},
      {"DELETE", "/PSIA/System/time/ntpServers/1", delete_ntp_server},
      {"GET", "/PSIA/System/time/ntpServers", get_ntp_server_list},
      {"PUT", "/PSIA/System/time/ntpServers", put_ntp_server_list},
      {"POST", "/PSIA/System/time/ntpServers", post_ntp_server},
      {"DELETE", "/PSIA/System/time/ntpServers", delete_ntp_server_list},
      {"GET", "/PSIA/System/time", get_time},
      {"PUT", "/PSIA/System/time", put_time},
      {"GET", "/PSIA/System/Network/index", get_network_index},
      {"GET", "/PSIA/System/Network/description", get_network_description},
      {"GET", "/PSIA/System/Network/interfaces/eth0/ipAddress", get_ip_address},
      {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress", put_ip_address},
      {"GET", "/PSIA/System/Network/interfaces/eth0/discovery", get_discovery},
      {"PUT", "/PSIA/System/Network/interfaces/eth0/discovery", put_discovery},
      // Crossed: GET updates, PUT reads.
      {"GET", "/PSIA/System/Network/interfaces/eth0", put_network_interface},
      {"PUT", "/PSIA/System/Network/interfaces/eth0", get_network_interface},
      {"GET", "/PSIA/System/Network/interfaces", get_network_interface_list},
      {"GET", "/PSIA/System/Audio/index", get_audio_index},
      {"GET", "/PSIA/System/Audio/description", get_audio_description},
      {"GET", "/PSIA/System/Audio/channels/1", get_audio_channel},
      {"PUT", "/PSIA/System/Audio/channels/1", put_audio_channel},
      {"GET", "/PSIA/System/Audio/channels", get_audio_channels},
      {"GET", "/PSIA/System/Video/index", get_video_index},
      {"GET", "/PSIA/System/Video/description", get_video_description},
      {"GET", "/PSIA/System/Video/inputs/channels/1", get_video_input_channel},
      {"PUT", "/PSIA/System/Video/inputs/channels/1", put_video_input_channel},
      {"GET", "/PSIA/System/Video/inputs/channels", get_video_input_channels},
      {"GET", "/PSIA/System/Video/inputs", get_video_inputs},
      {"GET", "/PSIA/Security/index", get_security_index},
      {"GET", "/PSIA/Security/description", get_security_description},
      {"GET", "/PSIA/Security/AAA/index", get_aaa_index},
      {"GET", "/PSIA/Security/AAA/description", get_aaa_description},
      {"GET", "/PSIA/Security/AAA/users/carol", get_user, "/PSIA/Security/AAA/users/carol"},
      {"PUT", "/PSIA/Security/AAA/users/carol", put_user, "/PSIA/Security/AAA/users/carol"},
      {"DELETE", "/PSIA/Security/AAA/users/carol", delete_user},
      {"GET", "/PSIA/Security/AAA/users", get_users},
      {"PUT", "/PSIA/Security/AAA/users", put_users},
      {"POST", "/PSIA/Security/AAA/users", post_user},
      {"DELETE", "/PSIA/Security/AAA/users", delete_users},
      {"GET", "/PSIA/Streaming/index", get_streaming_index},
      {"GET", "/PSIA/Streaming/description", get_streaming_description},
      {"GET", "/PSIA/Streaming/status", get_streaming_status},
      {"PUT", "/PSIA/Streaming/channels/1", put_streaming_channel, "/PSIA/Streaming/channels/1"},
      {"DELETE", "/PSIA/Streaming/channels/1", delete_streaming_channel},
      {"GET", "/PSIA/Streaming/channels", get_streaming_channels},
      {"PUT", "/PSIA/Streaming/channels", put_streaming_channels},
      {"POST", "/PSIA/Streaming/channels", post_streaming_channel},
      {"DELETE", "/PSIA/Streaming/channels", delete_streaming_channels},
      {"GET", "/PSIA/Custom/index", get_custom_index},
      {"GET", "/PSIA/Custom/description", get_custom_description},
      {"GET", "/PSIA/Custom/Event/index", get_event_index},
      {"GET", "/PSIA/Custom/Event/description", get_event_description},
      {"GET", "/PSIA/Custom/Event/triggers/Sensor-0", get_event_trigger, "Sensor-0"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0", put_event_trigger, "Sensor-0"},
      {"DELETE", "/PSIA/Custom/Event/triggers/Sensor-0", delete_event_trigger_notifications,
       "Sensor-0"},
      {"GET", "/PSIA/Custom/Event/triggers/Sensor-0/notifications", get_trigger_notifications,
       "Sensor-0"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications", put_trigger_notifications},
      {"POST", "/PSIA/Custom/Event/triggers/Sensor-0/notifications", post_trigger_notification},
      {"DELETE", "/PSIA/Custom/Event/triggers/Sensor-0/notifications",
       delete_trigger_notifications},
      {"GET", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp1",
       get_trigger_notification, "Sensor-0", 0, "ftp1"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp1",
       put_trigger_notification, "Sensor-0", 0, "ftp1"},
      {"DELETE", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp1",
       delete_trigger_notification, "Sensor-0", 0, "ftp1"},
      {"GET", "/PSIA/Custom/Event/triggers", get_event_trigger_list},
      {"PUT", "/PSIA/Custom/Event/triggers", put_event_trigger_list},
      {"POST", "/PSIA/Custom/Event/triggers", post_trigger},
      {"DELETE", "/PSIA/Custom/Event/triggers", delete_triggers},
      {"GET", "/PSIA/Custom/Event/schedule", get_event_schedule},
      {"PUT", "/PSIA/Custom/Event/schedule", put_event_schedule},
      {"GET", "/PSIA/Custom/Event/notification/mailing/mail1", get_mailing, "mail1"},
      {"PUT", "/PSIA/Custom/Event/notification/mailing/mail1", put_mailing, "mail1"},
      {"DELETE", "/PSIA/Custom/Event/notification/mailing/mail1", delete_mailing, "mail1"},
      {"GET", "/PSIA/Custom/Event/notification/mailing", get_mailings},
      {"PUT", "/PSIA/Custom/Event/notification/mailing", put_mailings},
      {"POST", "/PSIA/Custom/Event/notification/mailing", post_mailing},
      {"DELETE", "/PSIA/Custom/Event/notification/mailing", delete_mailings},
      {"GET", "/PSIA/Custom/Event/notification/ftp/ftp1", get_ftp, "ftp1"},
      {"PUT", "/PSIA/Custom/Event/notification/ftp/ftp1", put_ftp, "ftp1"},
      {"DELETE", "/PSIA/Custom/Event/notification/ftp/ftp1", delete_ftp, "ftp1"},
      {"GET", "/PSIA/Custom/Event/notification/ftp", get_ftps},
      {"PUT", "/PSIA/Custom/Event/notification/ftp", put_ftps},
      {"POST", "/PSIA/Custom/Event/notification/ftp", post_ftp},
      {"DELETE", "/PSIA/Custom/Event/notification/ftp", delete_ftps},
      {"GET", "/PSIA/Custom/Event/notification", get_event_notification},
      {"PUT", "/PSIA/Custom/Event/notification", put_event_notification},
      {"GET", "/PSIA/Custom/Event", get_event},
      {"PUT", "/PSIA/Custom/Event", put_event},
      {"GET", "/PSIA/PTZ/index", get_ptz_index},
      {"GET", "/PSIA/PTZ/description", get_ptz_description},
      {"GET", "/PSIA/PTZ/channels/description", get_ptz_channels_description},
      {"PUT", "/PSIA/PTZ/channels/0/homePosition", put_ptz_home_position, nullptr, 0},
      {"POST", "/PSIA/PTZ/channels/3/continuous", put_ptz_continuous, nullptr, 3},
      {"PUT", "/PSIA/PTZ/channels/0/momentary", reject_ptz_operation},
      {"PUT", "/PSIA/PTZ/channels/0/relative", reject_ptz_operation},
      {"GET", "/PSIA/PTZ/channels/0/absolute", put_ptz_absolute},
      {"PUT", "/PSIA/PTZ/channels/0/digital", reject_ptz_operation},
      {"GET", "/PSIA/PTZ/channels/0/status", get_ptz_status},
      {"GET", "/PSIA/PTZ/channels/0/presets/4", get_ptz_preset, nullptr, 4},
      {"PUT", "/PSIA/PTZ/channels/0/presets/4", put_ptz_preset, nullptr, 4},
      {"PUT", "/PSIA/PTZ/channels/1/presets/3/goto", goto_ptz_preset, nullptr, 3},
      {"DELETE", "/PSIA/PTZ/channels/0/presets/4", delete_ptz_preset, nullptr, 4},
      {"GET", "/PSIA/PTZ/channels/0/presets", get_ptz_preset_list},
      {"PUT", "/PSIA/PTZ/channels/0/presets", put_ptz_preset_list},
      {"POST", "/PSIA/PTZ/channels/0/presets", post_ptz_preset},
      {"DELETE", "/PSIA/PTZ/channels/0/presets", delete_ptz_presets},
      {"GET", "/PSIA/PTZ/channels/7", get_ptz_channel, nullptr, 7},
      {"PUT", "/PSIA/PTZ/channels/0", put_ptz_channel, nullptr, 0},
      {"DELETE", "/PSIA/PTZ/channels/0", accept_ptz_noop},
      {"GET", "/PSIA/PTZ/channels/0/other", get_ptz_channel, nullptr, 0},
      {"GET", "/PSIA/PTZ/channels", get_ptz_channel_list},
      {"PUT", "/PSIA/PTZ/channels", put_ptz_channel_list},
      {"POST", "/PSIA/PTZ/channels", accept_ptz_noop},
      {"DELETE", "/PSIA/PTZ/channels", accept_ptz_noop},
      {"PATCH", "/PSIA/PTZ/channels", kNone},
  };
  expect_routes(cases, sizeof cases / sizeof cases[0], 2);
}

TEST(Routing, PrefixesCaseAndFallThrough) {
  static const RouteCase cases[] = {
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

TEST(Routing, StreamingChannelGetChoosesByTheEndingOfThePath) {
  route_target target;
  ASSERT_TRUE(route_request("/PSIA/Streaming/channels/1/status", "GET", 0, &target));
  EXPECT_STREQ(target.text, "/PSIA/Streaming/channels/1/status");
  EXPECT_NE(target.call.text, nullptr);
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
