// The routing table of the resource tree, as data: one row per path prefix,
// tested in order; each row lists its method clauses. A prefix match alone
// never ends the search: when no clause of a row takes the request, a later,
// shorter prefix may still take it.
#include "frame/routing.h"

#include <strings.h>

#include <cstring>
#include <string>

#include "resources/catalogue/catalogue.h"
#include "resources/event/event.h"
#include "resources/media/media.h"
#include "resources/network/network.h"
#include "resources/ptz/ptz.h"
#include "resources/security/users.h"
#include "resources/system/system.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

enum method_bits : unsigned {
  kGet = 1u << 0,
  kPut = 1u << 1,
  kPost = 1u << 2,
  kDelete = 1u << 3,
  kOtherMethod = 1u << 4,
  kAnyMethod = kGet | kPut | kPost | kDelete | kOtherMethod,
};

enum class level_rule { any, up_to_1, only_0 };

enum class match_kind {
  prefix,   // the path begins with the prefix
  exact,    // the path is the prefix
  longer,   // the path begins with the prefix and goes on
  ptz_gate  // not a path: the PTZ branch is closed unless PTZSupport is 2
};

// What a text handler of a row is given.
enum class argument { none, full_path, suffix };

struct clause {
  unsigned methods = 0;
  level_rule level = level_rule::any;
  handler_call handler;
  bool changes = false;  // the handler changes the camera (the audit trail records it)
};

struct request_line {
  unsigned method;  // one of the method bits
  int level;
};

// Rows with paths below them that are split further (trigger and PTZ
// channel paths) have a dispatcher instead of clauses; it returns false when
// no clause took the request.
using sub_dispatcher = bool (*)(const request_line&, const char* rest, route_target* target);

struct route {
  const char* prefix;
  size_t length;  // of the prefix
  match_kind match;
  argument arg;
  clause clauses[4];
  sub_dispatcher dispatch;

  constexpr route with(argument a) const {
    route r = *this;
    r.arg = a;
    return r;
  }
};

// Builders: one clause per method, one row per path.
constexpr level_rule any = level_rule::any;
constexpr level_rule up1 = level_rule::up_to_1;
constexpr level_rule lv0 = level_rule::only_0;

constexpr clause get(level_rule l, handler_call h) { return {kGet, l, h, false}; }
constexpr clause put(level_rule l, handler_call h) { return {kPut, l, h, true}; }
constexpr clause post(level_rule l, handler_call h) { return {kPost, l, h, true}; }
constexpr clause del(level_rule l, handler_call h) { return {kDelete, l, h, true}; }
// A GET that changes the camera (the crossed interface row).
constexpr clause get_changing(level_rule l, handler_call h) { return {kGet, l, h, true}; }
// Taken whatever the method: the handler decides what it accepts.
constexpr clause any_method(level_rule l, handler_call h, bool changes) { return {kAnyMethod, l, h, changes}; }

template <typename... C>
constexpr route row(match_kind m, const char* path, C... clauses) {
  return {path, std::char_traits<char>::length(path), m, argument::none, {clauses...}, nullptr};
}
template <typename... C>
constexpr route prefix(const char* path, C... clauses) {
  return row(match_kind::prefix, path, clauses...);
}
template <typename... C>
constexpr route exact(const char* path, C... clauses) {
  return row(match_kind::exact, path, clauses...);
}
template <typename... C>
constexpr route longer(const char* path, C... clauses) {
  return row(match_kind::longer, path, clauses...);
}
constexpr route split(const char* path, sub_dispatcher dispatch) {
  return {path, std::char_traits<char>::length(path), match_kind::prefix, argument::suffix, {}, dispatch};
}
constexpr route ptz_gate() { return {"", 0, match_kind::ptz_gate, argument::none, {}, nullptr}; }
constexpr argument kFullPath = argument::full_path;
constexpr argument kSuffix = argument::suffix;

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
bool take_clause(const clause (&clauses)[N], const request_line& req, route_target* target) {
  for (const clause& c : clauses) {
    if (c.methods == 0) break;
    if ((c.methods & req.method) != 0 && level_allows(c.level, req.level)) {
      target->handler = c.handler;
      target->changes = c.changes;
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
Answer get_streaming_channel_by_ending(Request& req, const char* path) {
  if (ends_with(path, "status")) return get_streaming_channel_status(req, path);
  if (ends_with(path, "capabilities")) return get_streaming_channel_capabilities(req, path);
  return get_streaming_channel(req, path);
}

// Trigger paths: "<id>", "<id>/notifications/<nid>" or "<id>/<anything
// else>" (the trigger's notification list).
bool dispatch_trigger(const request_line& req, const char* rest, route_target* target) {
  static const clause kTrigger[] = {
      get(any, get_event_trigger),
      put(up1, put_event_trigger),
      del(up1, delete_event_trigger_notifications),
  };
  static const clause kNotification[] = {
      get(any, get_trigger_notification),
      put(up1, put_trigger_notification),
      del(up1, delete_trigger_notification),
  };
  static const clause kNotificationList[] = {
      get(any, get_trigger_notifications),
      put(up1, put_trigger_notifications),
      post(up1, post_trigger_notification),
      del(up1, delete_trigger_notifications),
  };
  const char* slash = std::strchr(rest, '/');
  if (slash == nullptr) {
    target->text = rest;
    return take_clause(kTrigger, req, target);
  }
  size_t id_length = static_cast<size_t>(slash - rest);
  copy_bounded(target->trigger_id,
               id_length < sizeof target->trigger_id ? id_length + 1 : sizeof target->trigger_id,
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
bool dispatch_ptz_channel(const request_line& req, const char* rest, route_target* target) {
  struct sub_resource {
    const char* word;  // compared over its own length
    clause clauses[4];
  };
  static const sub_resource kSubResources[] = {
      {"homePosition", {any_method(up1, put_ptz_home_position, true)}},
      {"continuous", {any_method(up1, put_ptz_continuous, true)}},
      {"momentary", {any_method(up1, reject_ptz_operation, false)}},
      {"relative", {any_method(up1, reject_ptz_operation, false)}},
      {"absolute", {any_method(up1, put_ptz_absolute, true)}},
      {"digital", {any_method(up1, reject_ptz_operation, false)}},
      {"status", {any_method(up1, get_ptz_status, false)}},
      {"presets/",
       {get(any, get_ptz_preset), put(up1, put_ptz_preset),  // or goto, below
        del(up1, delete_ptz_preset)}},
      {"presets",
       {get(any, get_ptz_preset_list), put(up1, put_ptz_preset_list), post(up1, post_ptz_preset),
        del(up1, delete_ptz_presets)}},
  };
  static const clause kChannel[] = {
      get(any, get_ptz_channel),
      put(up1, put_ptz_channel),
      del(up1, accept_ptz_noop),
  };
  static const clause kGoto[] = {put(up1, goto_ptz_preset)};

  target->number = parse_int(rest);
  const char* slash = std::strchr(rest, '/');
  if (slash == nullptr) return take_clause(kChannel, req, target);
  const char* sub = slash + 1;
  for (const sub_resource& s : kSubResources) {
    size_t n = std::strlen(s.word);
    if (strncasecmp(sub, s.word, n) != 0) continue;
    if (std::strcmp(s.word, "presets/") == 0) {
      target->number = parse_int(sub + n);
      if (strcasestr(rest, "goto") != nullptr && take_clause(kGoto, req, target)) return true;
    }
    return take_clause(s.clauses, req, target);
  }
  return take_clause(kChannel, req, target);
}

// The resource tree, in the order the rules are tested.
// clang-format off
const route kRoutes[] = {
    prefix("/PSIA/indexr",                      get(any, get_psia_indexr)),
    prefix("/PSIA/index",                       get(any, get_psia_index)),
    prefix("/PSIA/description",                 get(any, get_psia_description)),
    prefix("/PSIA/System/index",                get(any, get_system_index)),
    prefix("/PSIA/System/description",          get(any, get_system_description)),
    prefix("/PSIA/System/reboot",               put(lv0, put_reboot)),
    prefix("/PSIA/System/updateFirmware",       put(lv0, put_update_firmware)),
    prefix("/PSIA/System/configurationData",    get(lv0, get_configuration_data), put(lv0, put_configuration_data)),
    prefix("/PSIA/System/factoryReset",         put(lv0, put_factory_reset)).with(kFullPath),
    prefix("/PSIA/System/deviceInfo",           get(any, get_device_info), put(lv0, put_device_info)),
    prefix("/PSIA/System/status",               get(any, get_device_status)),
    prefix("/PSIA/System/time/localTime",       get(any, get_local_time), put(up1, put_local_time)),
    prefix("/PSIA/System/time/timeZone",        get(any, get_time_zone), put(up1, put_time_zone)),
    prefix("/PSIA/System/time/ntpServers/",     get(any, get_ntp_server), put(up1, put_ntp_server),
                                                del(up1, delete_ntp_server)),
    prefix("/PSIA/System/time/ntpServers",      get(any, get_ntp_server_list), put(up1, put_ntp_server_list),
                                                post(up1, post_ntp_server), del(up1, delete_ntp_server_list)),
    prefix("/PSIA/System/time",                 get(any, get_time), put(up1, put_time)),
    prefix("/PSIA/System/Network/index",        get(any, get_network_index)),
    prefix("/PSIA/System/Network/description",  get(any, get_network_description)),
    exact("/PSIA/System/Network/interfaces/eth0/ipAddress", get(any, get_ip_address), put(lv0, put_ip_address)),
    exact("/PSIA/System/Network/interfaces/eth0/discovery", get(any, get_discovery), put(lv0, put_discovery)),
    // Crossed on purpose, as the camera's clients know it: GET runs the
    // interface update and PUT answers the interface document.
    exact("/PSIA/System/Network/interfaces/eth0", get_changing(any, put_network_interface), put(lv0, get_network_interface)),
    exact("/PSIA/System/Network/interfaces",    get(any, get_network_interface_list)),
    prefix("/PSIA/System/Audio/index",          get(any, get_audio_index)),
    prefix("/PSIA/System/Audio/description",    get(any, get_audio_description)),
    prefix("/PSIA/System/Audio/channels/1",     get(any, get_audio_channel), put(up1, put_audio_channel)),
    prefix("/PSIA/System/Audio/channels",       get(any, get_audio_channels)),
    prefix("/PSIA/System/Video/index",          get(any, get_video_index)),
    prefix("/PSIA/System/Video/description",    get(any, get_video_description)),
    prefix("/PSIA/System/Video/inputs/channels/1", get(any, get_video_input_channel), put(up1, put_video_input_channel)),
    exact("/PSIA/System/Video/inputs/channels", get(any, get_video_input_channels)),
    exact("/PSIA/System/Video/inputs",          get(any, get_video_inputs)),
    prefix("/PSIA/Security/index",              get(any, get_security_index)),
    prefix("/PSIA/Security/description",        get(any, get_security_description)),
    prefix("/PSIA/Security/AAA/index",          get(any, get_aaa_index)),
    prefix("/PSIA/Security/AAA/description",    get(any, get_aaa_description)),
    longer("/PSIA/Security/AAA/users/",         get(any, get_user), put(lv0, put_user), del(lv0, delete_user)).with(kFullPath),
    exact("/PSIA/Security/AAA/users",           get(any, get_users), put(lv0, put_users), post(lv0, post_user),
                                                del(lv0, delete_users)),
    prefix("/PSIA/Streaming/index",             get(any, get_streaming_index)),
    prefix("/PSIA/Streaming/description",       get(any, get_streaming_description)),
    prefix("/PSIA/Streaming/status",            get(any, get_streaming_status)),
    longer("/PSIA/Streaming/channels/",         get(any, get_streaming_channel_by_ending), put(up1, put_streaming_channel),
                                                del(up1, delete_streaming_channel)).with(kFullPath),
    exact("/PSIA/Streaming/channels",           get(any, get_streaming_channels), put(up1, put_streaming_channels),
                                                post(up1, post_streaming_channel), del(up1, delete_streaming_channels)),
    prefix("/PSIA/Custom/index",                get(any, get_custom_index)),
    prefix("/PSIA/Custom/description",          get(any, get_custom_description)),
    prefix("/PSIA/Custom/Event/index",          get(any, get_event_index)),
    prefix("/PSIA/Custom/Event/description",    get(any, get_event_description)),
    split("/PSIA/Custom/Event/triggers/",       dispatch_trigger),
    prefix("/PSIA/Custom/Event/triggers",       get(any, get_event_trigger_list), put(up1, put_event_trigger_list),
                                                post(up1, post_trigger), del(up1, delete_triggers)),
    prefix("/PSIA/Custom/Event/schedule",       get(any, get_event_schedule), put(up1, put_event_schedule)),
    prefix("/PSIA/Custom/Event/notification/mailing/", get(any, get_mailing), put(up1, put_mailing),
                                                del(up1, delete_mailing)).with(kSuffix),
    prefix("/PSIA/Custom/Event/notification/mailing", get(any, get_mailings), put(up1, put_mailings),
                                                post(up1, post_mailing), del(up1, delete_mailings)),
    prefix("/PSIA/Custom/Event/notification/ftp/", get(any, get_ftp), put(up1, put_ftp),
                                                del(up1, delete_ftp)).with(kSuffix),
    prefix("/PSIA/Custom/Event/notification/ftp", get(any, get_ftps), put(up1, put_ftps), post(up1, post_ftp),
                                                del(up1, delete_ftps)),
    prefix("/PSIA/Custom/Event/notification",   get(any, get_event_notification), put(up1, put_event_notification)),
    prefix("/PSIA/Custom/Event",                get(any, get_event), put(up1, put_event)),
    ptz_gate(),
    prefix("/PSIA/PTZ/index",                   get(any, get_ptz_index)),
    prefix("/PSIA/PTZ/description",             get(any, get_ptz_description)),
    prefix("/PSIA/PTZ/channels/description",    get(any, get_ptz_channels_description)),
    split("/PSIA/PTZ/channels/",                dispatch_ptz_channel),
    prefix("/PSIA/PTZ/channels",                get(any, get_ptz_channel_list), put(up1, put_ptz_channel_list),
                                                post(up1, accept_ptz_noop), del(up1, accept_ptz_noop)),
};
// clang-format on

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool path_matches(const route& r, const char* path, size_t path_length) {
  size_t n = r.length;
  // Most rows differ from the path in their last character: a cheap test
  // before the whole comparison.
  if (path_length < n || lower(path[n - 1]) != lower(r.prefix[n - 1]) ||
      strncasecmp(path, r.prefix, n) != 0)
    return false;
  switch (r.match) {
    case match_kind::prefix: return true;
    case match_kind::exact: return path[n] == '\0';
    case match_kind::longer: return path[n] != '\0';
    case match_kind::ptz_gate: return false;
  }
  return false;
}

unsigned method_bit(const char* method) {
  if (strcasecmp(method, "GET") == 0) return kGet;
  if (strcasecmp(method, "PUT") == 0) return kPut;
  if (strcasecmp(method, "POST") == 0) return kPost;
  if (strcasecmp(method, "DELETE") == 0) return kDelete;
  return kOtherMethod;  // only "whatever the method" clauses take it
}

}  // namespace

Answer route_target::call(Request& req) const {
  if (handler.plain != nullptr) return handler.plain(req);
  if (handler.text != nullptr) return handler.text(req, text);
  if (handler.number != nullptr) return handler.number(req, number);
  return handler.pair(req, text, second);
}

bool route_request(const char* path, const char* method, int level, int ptz_support,
                   route_target* target) {
  request_line req{method_bit(method), level};
  size_t path_length = std::strlen(path);
  for (const route& r : kRoutes) {
    if (r.match == match_kind::ptz_gate) {
      if (ptz_support != 2) return false;
      continue;
    }
    if (!path_matches(r, path, path_length)) continue;
    const char* rest = path + r.length;
    if (r.dispatch != nullptr) {
      if (r.dispatch(req, rest, target)) return true;
      continue;
    }
    target->text = r.arg == argument::full_path ? path : r.arg == argument::suffix ? rest : "";
    if (take_clause(r.clauses, req, target)) return true;
  }
  return false;
}

Answer dispatch_request(Request& req, const char* path, const char* method, int level, bool* changes) {
  route_target target;
  if (!route_request(path, method, level, req.camera().device.ptz_support, &target))
    return Answer::status(kStatusInvalidOperation);
  *changes = target.changes;
  return target.call(req);
}

}  // namespace psia
