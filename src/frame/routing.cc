// The routing table of the resource tree, as data: one row per path prefix,
// tested in order; each row lists its method clauses. A prefix match alone
// never ends the search: when no clause of a row takes the request, a later,
// shorter prefix may still take it.
#include "frame/routing.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "io/response.h"
#include "resources/catalogue/catalogue.h"
#include "resources/event/event.h"
#include "resources/media/media.h"
#include "resources/network/network.h"
#include "resources/ptz/ptz.h"
#include "resources/security/users.h"
#include "resources/system/system.h"
#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

enum method_bits : unsigned {
  G = 1u << 0,  // GET
  U = 1u << 1,  // PUT
  P = 1u << 2,  // POST
  D = 1u << 3,  // DELETE
  kAnyMethod = G | U | P | D | 1u << 4,
};

enum class level_rule { any, up_to_1, only_0 };

enum class match_kind {
  prefix,  // the path begins with the prefix
  exact,   // the path is the prefix
  longer,  // the path begins with the prefix and goes on
  ptz_gate // not a path: the PTZ branch is closed unless PTZSupport is 2
};

// What a text handler of a row is given.
enum class argument { none, full_path, suffix };

struct clause {
  unsigned methods;
  level_rule level;
  handler_call call;
};

struct request_line {
  const char* path;
  unsigned method;  // one of G, U, P, D, or another bit for other methods
  int level;
};

// Rows with paths below them that are split further (trigger and PTZ
// channel paths) have a dispatcher instead of clauses; it returns false when
// no clause took the request.
using sub_dispatcher = bool (*)(const request_line&, const char* rest,
                               route_target* target);

struct route {
  const char* prefix;
  match_kind match;
  argument arg;
  clause clauses[4];
  sub_dispatcher dispatch;
};

bool level_allows(level_rule rule, int level) {
  switch (rule) {
    case level_rule::any: return level <= 3;
    case level_rule::up_to_1: return level <= 1;
    case level_rule::only_0: return level == 0;
  }
  return false;
}

// Takes the first clause whose method and level hold; false when none does.
template <size_t N>
bool take_clause(const clause (&clauses)[N], const request_line& req,
                 route_target* target) {
  for (const clause& c : clauses) {
    if (c.methods == 0) break;
    if ((c.methods & req.method) != 0 && level_allows(c.level, req.level)) {
      target->call = c.call;
      return true;
    }
  }
  return false;
}

bool ends_with(const char* text, const char* ending) {
  size_t n = std::strlen(text), m = std::strlen(ending);
  return n >= m && strcasecmp(text + n - m, ending) == 0;
}

// GET of one streaming channel: its status, its capabilities or the channel
// itself, by the ending of the path.
void get_streaming_channel_by_ending(const char* path) {
  if (ends_with(path, "status")) get_streaming_channel_status(path);
  else if (ends_with(path, "capabilities")) get_streaming_channel_capabilities(path);
  else get_streaming_channel(path);
}

constexpr level_rule any = level_rule::any;
constexpr level_rule up1 = level_rule::up_to_1;
constexpr level_rule lv0 = level_rule::only_0;

// Trigger paths: "<id>", "<id>/notifications/<nid>" or "<id>/<anything
// else>" (the trigger's notification list).
bool dispatch_trigger(const request_line& req, const char* rest,
                      route_target* target) {
  static const clause kTrigger[] = {
      {G, any, get_event_trigger},
      {U, up1, put_event_trigger},
      {D, up1, delete_event_trigger_notifications},
  };
  static const clause kNotification[] = {
      {G, any, get_trigger_notification},
      {U, up1, put_trigger_notification},
      {D, up1, delete_trigger_notification},
  };
  static const clause kNotificationList[] = {
      {G, any, get_trigger_notifications},
      {U, up1, put_trigger_notifications},
      {P, up1, post_trigger_notification},
      {D, up1, delete_trigger_notifications},
  };
  const char* slash = std::strchr(rest, '/');
  if (slash == nullptr) {
    target->text = rest;
    return take_clause(kTrigger, req, target);
  }
  size_t id_length = static_cast<size_t>(slash - rest);
  copy_bounded(target->trigger_id,
               id_length < sizeof target->trigger_id ? id_length + 1
                                                     : sizeof target->trigger_id,
               rest);
  target->text = target->trigger_id;
  const char* after = slash + 1;
  if (strncasecmp(after, "notifications/", 14) == 0) {
    copy_bounded(target->notification_id, after + 14);
    target->second = target->notification_id;
    return take_clause(kNotification, req, target);
  }
  return take_clause(kNotificationList, req, target);
}

// PTZ channel paths: "<channel>" or "<channel>/<sub-resource>". The motion
// and status sub-resources are taken whatever the method: their handlers
// decide what they accept.
bool dispatch_ptz_channel(const request_line& req, const char* rest,
                          route_target* target) {
  struct sub_resource {
    const char* word;  // compared over its own length
    clause clauses[4];
  };
  static const sub_resource kSubResources[] = {
      {"homePosition", {{kAnyMethod, up1, put_ptz_home_position}}},
      {"continuous", {{kAnyMethod, up1, put_ptz_continuous}}},
      {"momentary", {{kAnyMethod, up1, reject_ptz_operation}}},
      {"relative", {{kAnyMethod, up1, reject_ptz_operation}}},
      {"absolute", {{kAnyMethod, up1, put_ptz_absolute}}},
      {"digital", {{kAnyMethod, up1, reject_ptz_operation}}},
      {"status", {{kAnyMethod, up1, get_ptz_status}}},
      {"presets/", {{G, any, get_ptz_preset},
                    {U, up1, put_ptz_preset},  // or goto, below
                    {D, up1, delete_ptz_preset}}},
      {"presets", {{G, any, get_ptz_preset_list},
                   {U, up1, put_ptz_preset_list},
                   {P, up1, post_ptz_preset},
                   {D, up1, delete_ptz_presets}}},
  };
  static const clause kChannel[] = {
      {G, any, get_ptz_channel},
      {U, up1, put_ptz_channel},
      {D, up1, accept_ptz_noop},
  };
  static const clause kGoto[] = {{U, up1, goto_ptz_preset}};

  target->number = parse_int(rest);
  const char* slash = std::strchr(rest, '/');
  if (slash == nullptr) return take_clause(kChannel, req, target);
  const char* sub = slash + 1;
  for (const sub_resource& s : kSubResources) {
    size_t n = std::strlen(s.word);
    if (strncasecmp(sub, s.word, n) != 0) continue;
    if (std::strcmp(s.word, "presets/") == 0) {
      target->number = parse_int(sub + n);
      if (strcasestr(rest, "goto") != nullptr && take_clause(kGoto, req, target))
        return true;
    }
    return take_clause(s.clauses, req, target);
  }
  return take_clause(kChannel, req, target);
}

// The resource tree, in the order the rules are tested.
const route kRoutes[] = {
    {"/PSIA/indexr", match_kind::prefix, argument::none, {{G, any, get_psia_indexr}}, nullptr},
    {"/PSIA/index", match_kind::prefix, argument::none, {{G, any, get_psia_index}}, nullptr},
    {"/PSIA/description", match_kind::prefix, argument::none, {{G, any, get_psia_description}}, nullptr},
    {"/PSIA/System/index", match_kind::prefix, argument::none, {{G, any, get_system_index}}, nullptr},
    {"/PSIA/System/description", match_kind::prefix, argument::none, {{G, any, get_system_description}}, nullptr},
    {"/PSIA/System/reboot", match_kind::prefix, argument::none, {{U, lv0, put_reboot}}, nullptr},
    {"/PSIA/System/updateFirmware", match_kind::prefix, argument::none, {{U, lv0, put_update_firmware}}, nullptr},
    {"/PSIA/System/configurationData", match_kind::prefix, argument::none,
     {{G, lv0, get_configuration_data}, {U, lv0, put_configuration_data}}, nullptr},
    {"/PSIA/System/factoryReset", match_kind::prefix, argument::full_path, {{U, lv0, put_factory_reset}}, nullptr},
    {"/PSIA/System/deviceInfo", match_kind::prefix, argument::none,
     {{G, any, get_device_info}, {U, lv0, put_device_info}}, nullptr},
    {"/PSIA/System/status", match_kind::prefix, argument::none, {{G, any, get_device_status}}, nullptr},
    {"/PSIA/System/time/localTime", match_kind::prefix, argument::none,
     {{G, any, get_local_time}, {U, up1, put_local_time}}, nullptr},
    {"/PSIA/System/time/timeZone", match_kind::prefix, argument::none,
     {{G, any, get_time_zone}, {U, up1, put_time_zone}}, nullptr},
    {"/PSIA/System/time/ntpServers/", match_kind::prefix, argument::none,
     {{G, any, get_ntp_server}, {U, up1, put_ntp_server}, {D, up1, delete_ntp_server}}, nullptr},
    {"/PSIA/System/time/ntpServers", match_kind::prefix, argument::none,
     {{G, any, get_ntp_server_list}, {U, up1, put_ntp_server_list}, {P, up1, post_ntp_server},
      {D, up1, delete_ntp_server_list}}, nullptr},
    {"/PSIA/System/time", match_kind::prefix, argument::none, {{G, any, get_time}, {U, up1, put_time}}, nullptr},
    {"/PSIA/System/Network/index", match_kind::prefix, argument::none, {{G, any, get_network_index}}, nullptr},
    {"/PSIA/System/Network/description", match_kind::prefix, argument::none,
     {{G, any, get_network_description}}, nullptr},
    {"/PSIA/System/Network/interfaces/eth0/ipAddress", match_kind::exact, argument::none,
     {{G, any, get_ip_address}, {U, lv0, put_ip_address}}, nullptr},
    {"/PSIA/System/Network/interfaces/eth0/discovery", match_kind::exact, argument::none,
     {{G, any, get_discovery}, {U, lv0, put_discovery}}, nullptr},
    // Crossed on purpose, as the camera's clients know it: GET runs the
    // interface update and PUT answers the interface document.
    {"/PSIA/System/Network/interfaces/eth0", match_kind::exact, argument::none,
     {{G, any, put_network_interface}, {U, lv0, get_network_interface}}, nullptr},
    {"/PSIA/System/Network/interfaces", match_kind::exact, argument::none,
     {{G, any, get_network_interface_list}}, nullptr},
    {"/PSIA/System/Audio/index", match_kind::prefix, argument::none, {{G, any, get_audio_index}}, nullptr},
    {"/PSIA/System/Audio/description", match_kind::prefix, argument::none, {{G, any, get_audio_description}}, nullptr},
    {"/PSIA/System/Audio/channels/1", match_kind::prefix, argument::none,
     {{G, any, get_audio_channel}, {U, up1, put_audio_channel}}, nullptr},
    {"/PSIA/System/Audio/channels", match_kind::prefix, argument::none, {{G, any, get_audio_channels}}, nullptr},
    {"/PSIA/System/Video/index", match_kind::prefix, argument::none, {{G, any, get_video_index}}, nullptr},
    {"/PSIA/System/Video/description", match_kind::prefix, argument::none, {{G, any, get_video_description}}, nullptr},
    {"/PSIA/System/Video/inputs/channels/1", match_kind::prefix, argument::none,
     {{G, any, get_video_input_channel}, {U, up1, put_video_input_channel}}, nullptr},
    {"/PSIA/System/Video/inputs/channels", match_kind::exact, argument::none,
     {{G, any, get_video_input_channels}}, nullptr},
    {"/PSIA/System/Video/inputs", match_kind::exact, argument::none, {{G, any, get_video_inputs}}, nullptr},
    {"/PSIA/Security/index", match_kind::prefix, argument::none, {{G, any, get_security_index}}, nullptr},
    {"/PSIA/Security/description", match_kind::prefix, argument::none, {{G, any, get_security_description}}, nullptr},
    {"/PSIA/Security/AAA/index", match_kind::prefix, argument::none, {{G, any, get_aaa_index}}, nullptr},
    {"/PSIA/Security/AAA/description", match_kind::prefix, argument::none, {{G, any, get_aaa_description}}, nullptr},
    {"/PSIA/Security/AAA/users/", match_kind::longer, argument::full_path,
     {{G, any, get_user}, {U, lv0, put_user}, {D, lv0, delete_user}}, nullptr},
    {"/PSIA/Security/AAA/users", match_kind::exact, argument::none,
     {{G, any, get_users}, {U, lv0, put_users}, {P, lv0, post_user}, {D, lv0, delete_users}}, nullptr},
    {"/PSIA/Streaming/index", match_kind::prefix, argument::none, {{G, any, get_streaming_index}}, nullptr},
    {"/PSIA/Streaming/description", match_kind::prefix, argument::none, {{G, any, get_streaming_description}}, nullptr},
    {"/PSIA/Streaming/status", match_kind::prefix, argument::none, {{G, any, get_streaming_status}}, nullptr},
    {"/PSIA/Streaming/channels/", match_kind::longer, argument::full_path,
     {{G, any, get_streaming_channel_by_ending}, {U, up1, put_streaming_channel},
      {D, up1, delete_streaming_channel}}, nullptr},
    {"/PSIA/Streaming/channels", match_kind::exact, argument::none,
     {{G, any, get_streaming_channels}, {U, up1, put_streaming_channels}, {P, up1, post_streaming_channel},
      {D, up1, delete_streaming_channels}}, nullptr},
    {"/PSIA/Custom/index", match_kind::prefix, argument::none, {{G, any, get_custom_index}}, nullptr},
    {"/PSIA/Custom/description", match_kind::prefix, argument::none, {{G, any, get_custom_description}}, nullptr},
    {"/PSIA/Custom/Event/index", match_kind::prefix, argument::none, {{G, any, get_event_index}}, nullptr},
    {"/PSIA/Custom/Event/description", match_kind::prefix, argument::none, {{G, any, get_event_description}}, nullptr},
    {"/PSIA/Custom/Event/triggers/", match_kind::prefix, argument::suffix, {}, dispatch_trigger},
    {"/PSIA/Custom/Event/triggers", match_kind::prefix, argument::none,
     {{G, any, get_event_trigger_list}, {U, up1, put_event_trigger_list}, {P, up1, post_trigger},
      {D, up1, delete_triggers}}, nullptr},
    {"/PSIA/Custom/Event/schedule", match_kind::prefix, argument::none,
     {{G, any, get_event_schedule}, {U, up1, put_event_schedule}}, nullptr},
    {"/PSIA/Custom/Event/notification/mailing/", match_kind::prefix, argument::suffix,
     {{G, any, get_mailing}, {U, up1, put_mailing}, {D, up1, delete_mailing}}, nullptr},
    {"/PSIA/Custom/Event/notification/mailing", match_kind::prefix, argument::none,
     {{G, any, get_mailings}, {U, up1, put_mailings}, {P, up1, post_mailing}, {D, up1, delete_mailings}}, nullptr},
    {"/PSIA/Custom/Event/notification/ftp/", match_kind::prefix, argument::suffix,
     {{G, any, get_ftp}, {U, up1, put_ftp}, {D, up1, delete_ftp}}, nullptr},
    {"/PSIA/Custom/Event/notification/ftp", match_kind::prefix, argument::none,
     {{G, any, get_ftps}, {U, up1, put_ftps}, {P, up1, post_ftp}, {D, up1, delete_ftps}}, nullptr},
    {"/PSIA/Custom/Event/notification", match_kind::prefix, argument::none,
     {{G, any, get_event_notification}, {U, up1, put_event_notification}}, nullptr},
    {"/PSIA/Custom/Event", match_kind::prefix, argument::none, {{G, any, get_event}, {U, up1, put_event}}, nullptr},
    {"", match_kind::ptz_gate, argument::none, {}, nullptr},
    {"/PSIA/PTZ/index", match_kind::prefix, argument::none, {{G, any, get_ptz_index}}, nullptr},
    {"/PSIA/PTZ/description", match_kind::prefix, argument::none, {{G, any, get_ptz_description}}, nullptr},
    {"/PSIA/PTZ/channels/description", match_kind::prefix, argument::none,
     {{G, any, get_ptz_channels_description}}, nullptr},
    {"/PSIA/PTZ/channels/", match_kind::prefix, argument::suffix, {}, dispatch_ptz_channel},
    {"/PSIA/PTZ/channels", match_kind::prefix, argument::none,
     {{G, any, get_ptz_channel_list}, {U, up1, put_ptz_channel_list}, {P, up1, accept_ptz_noop},
      {D, up1, accept_ptz_noop}}, nullptr},
};

bool path_matches(const route& r, const char* path) {
  size_t n = std::strlen(r.prefix);
  if (strncasecmp(path, r.prefix, n) != 0) return false;
  switch (r.match) {
    case match_kind::prefix: return true;
    case match_kind::exact: return path[n] == '\0';
    case match_kind::longer: return path[n] != '\0';
    case match_kind::ptz_gate: return false;
  }
  return false;
}

unsigned method_bit(const char* method) {
  if (strcasecmp(method, "GET") == 0) return G;
  if (strcasecmp(method, "PUT") == 0) return U;
  if (strcasecmp(method, "POST") == 0) return P;
  if (strcasecmp(method, "DELETE") == 0) return D;
  return 1u << 4;  // any other method: only "whatever the method" clauses
}

}  // namespace

bool route_request(const char* path, const char* method, int level,
                   route_target* target) {
  request_line req{path, method_bit(method), level};
  for (const route& r : kRoutes) {
    if (r.match == match_kind::ptz_gate) {
      if (context().ptz_support != 2) return false;
      continue;
    }
    if (!path_matches(r, path)) continue;
    const char* rest = path + std::strlen(r.prefix);
    if (r.dispatch != nullptr) {
      if (r.dispatch(req, rest, target)) return true;
      continue;
    }
    target->text = r.arg == argument::full_path ? path
                   : r.arg == argument::suffix  ? rest
                                                : nullptr;
    if (take_clause(r.clauses, req, target)) return true;
  }
  return false;
}

void dispatch_request(const char* path, const char* method, int level) {
  route_target target;
  if (!route_request(path, method, level, &target)) {
    write_response_status(kStatusInvalidOperation);
    return;
  }
  const char* text = target.text != nullptr ? target.text : "";
  const char* second = target.second != nullptr ? target.second : "";
  const handler_call& call = target.call;
  if (call.plain != nullptr) call.plain();
  else if (call.text != nullptr) call.text(text);
  else if (call.number != nullptr) call.number(target.number);
  else if (call.pair != nullptr) call.pair(text, second);
}
