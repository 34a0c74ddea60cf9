// The routing table of the resource tree, as data: one row per path prefix,
// tested in order; each row lists its method clauses. A prefix match alone
// never ends the search: when no clause of a row takes the request, a later,
// shorter prefix may still take it. The paths below two rows (triggers and
// PTZ channels) are split further by sub-tables of the same kind. Every
// handler is given the path's rest after its row's prefix, and what a
// sub-table cut out of it.
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

// A further condition of a clause on the path's rest.
enum class rest_test {
  none,
  contains,   // the rest holds the word anywhere (compared without regard to case)
  ends_with,  // the rest ends with the word (likewise)
};

struct clause {
  unsigned methods = 0;
  level_rule level = level_rule::any;
  handler_fn handler = nullptr;
  bool changes = false;  // the handler changes the camera (the audit trail records it)
  rest_test test = rest_test::none;
  const char* word = "";

  constexpr clause when_rest_holds(const char* w) const {
    return with_test(rest_test::contains, w);
  }
  constexpr clause when_rest_ends(const char* w) const {
    return with_test(rest_test::ends_with, w);
  }
  constexpr clause with_test(rest_test t, const char* w) const {
    clause c = *this;
    c.test = t;
    c.word = w;
    return c;
  }
};

struct request_line {
  unsigned method;  // one of the method bits
  int level;
  // A clause refused the caller's level: from then on only clauses that
  // change nothing may take the request, so a refused change never falls
  // through to a shorter prefix that changes the camera.
  bool refused = false;
};

// Sub-tables split the rest of a row's path, "<id>" or "<id>/<sub-path>",
// further; their rows are tested in order and the first that matches
// decides: when none of its clauses takes the request, the main table
// goes on after the split row.
enum class sub_match {
  id_only,  // the rest has no sub-path
  word,     // the sub-path begins with the word (compared over the word's
            // length, without regard to case)
  any,      // whatever the rest
};

// What the text after a sub-row's word gives the handler.
enum class after_word { nothing, number, sub_id };

struct sub_route {
  sub_match match;
  const char* word;
  size_t word_length;
  after_word after;
  clause clauses[4];
};

struct route {
  const char* prefix;
  size_t length;  // of the prefix
  match_kind match;
  clause clauses[5];
  // Split rows: the sub-table that takes the place of the clauses.
  const sub_route* subs;
  size_t sub_count;
};

// Builders: one clause per method, one row per path.
constexpr level_rule any = level_rule::any;
constexpr level_rule up1 = level_rule::up_to_1;
constexpr level_rule lv0 = level_rule::only_0;

constexpr clause get(level_rule l, handler_fn h) { return {kGet, l, h, false}; }
constexpr clause put(level_rule l, handler_fn h) { return {kPut, l, h, true}; }
constexpr clause post(level_rule l, handler_fn h) { return {kPost, l, h, true}; }
constexpr clause del(level_rule l, handler_fn h) { return {kDelete, l, h, true}; }
// A GET that changes the camera (the crossed interface row).
constexpr clause get_changing(level_rule l, handler_fn h) { return {kGet, l, h, true}; }
// Taken whatever the method: the handler decides what it accepts.
constexpr clause any_method(level_rule l, handler_fn h, bool changes) {
  return {kAnyMethod, l, h, changes};
}

template <typename... C>
constexpr route row(match_kind m, const char* path, C... clauses) {
  return {path, std::char_traits<char>::length(path), m, {clauses...}, nullptr, 0};
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
template <size_t N>
constexpr route split(const char* path, const sub_route (&table)[N]) {
  return {path, std::char_traits<char>::length(path), match_kind::prefix, {}, table, N};
}
constexpr route ptz_gate() { return {"", 0, match_kind::ptz_gate, {}, nullptr, 0}; }

template <typename... C>
constexpr sub_route sub_row(sub_match m, const char* word, after_word after, C... clauses) {
  return {m, word, std::char_traits<char>::length(word), after, {clauses...}};
}
template <typename... C>
constexpr sub_route id_only(C... clauses) {
  return sub_row(sub_match::id_only, "", after_word::nothing, clauses...);
}
template <typename... C>
constexpr sub_route sub_path(const char* word, C... clauses) {
  return sub_row(sub_match::word, word, after_word::nothing, clauses...);
}
// The number is the one after the word.
template <typename... C>
constexpr sub_route sub_path_then_number(const char* word, C... clauses) {
  return sub_row(sub_match::word, word, after_word::number, clauses...);
}
// The text after the word is the second id.
template <typename... C>
constexpr sub_route sub_path_then_id(const char* word, C... clauses) {
  return sub_row(sub_match::word, word, after_word::sub_id, clauses...);
}
template <typename... C>
constexpr sub_route any_rest(C... clauses) {
  return sub_row(sub_match::any, "", after_word::nothing, clauses...);
}

bool level_allows(level_rule rule, int level) {
  switch (rule) {
    case level_rule::any: return level <= 3;
    case level_rule::up_to_1: return level <= 1;
    case level_rule::only_0: return level == 0;
  }
  return false;
}

bool ends_with(const char* text, const char* ending) {
  size_t n = std::strlen(text), m = std::strlen(ending);
  return n >= m && strcasecmp(text + n - m, ending) == 0;
}

bool rest_passes(const clause& c, const char* rest) {
  switch (c.test) {
    case rest_test::none: return true;
    case rest_test::contains: return strcasestr(rest, c.word) != nullptr;
    case rest_test::ends_with: return ends_with(rest, c.word);
  }
  return false;
}

// Takes the first clause whose method, level and test hold; false when none
// does.
template <size_t N>
bool take_clause(const clause (&clauses)[N], request_line& req, route_target* target) {
  for (const clause& c : clauses) {
    if (c.methods == 0) break;
    if ((c.methods & req.method) == 0 || !rest_passes(c, target->args.rest)) continue;
    if (!level_allows(c.level, req.level)) {
      req.refused = true;
      continue;
    }
    if (!(req.refused && c.changes)) {
      target->handler = c.handler;
      target->changes = c.changes;
      return true;
    }
  }
  return false;
}

// Trigger paths: "<id>", "<id>/notifications/<notification id>", or
// "<id>/<anything else>" (the trigger's notification list).
// clang-format off
const sub_route kTriggerRoutes[] = {
    id_only(get(any, get_event_trigger), put(up1, put_event_trigger),
            del(up1, delete_event_trigger_notifications)),
    sub_path_then_id("notifications/", get(any, get_trigger_notification), put(up1, put_trigger_notification),
                     del(up1, delete_trigger_notification)),
    any_rest(get(any, get_trigger_notifications), put(up1, put_trigger_notifications),
             post(up1, post_trigger_notification), del(up1, delete_trigger_notifications)),
};

// PTZ channel paths: "<channel>" or "<channel>/<sub-resource>". The motion
// and status sub-resources are taken whatever the method: their handlers
// decide what they accept. A PUT of a preset recalls it when the path holds
// "goto" anywhere.
const sub_route kPtzChannelRoutes[] = {
    sub_path("homePosition",   any_method(up1, put_ptz_home_position, true)),
    sub_path("continuous",     any_method(up1, put_ptz_continuous, true)),
    sub_path("momentary",      any_method(up1, reject_ptz_operation, false)),
    sub_path("relative",       any_method(up1, reject_ptz_operation, false)),
    sub_path("absolute",       any_method(up1, put_ptz_absolute, true)),
    sub_path("digital",        any_method(up1, reject_ptz_operation, false)),
    sub_path("status",         any_method(up1, get_ptz_status, false)),
    sub_path_then_number("presets/", put(up1, goto_ptz_preset).when_rest_holds("goto"),
                               get(any, get_ptz_preset), put(up1, put_ptz_preset), del(up1, delete_ptz_preset)),
    sub_path("presets",        get(any, get_ptz_preset_list), put(up1, put_ptz_preset_list),
                               post(up1, post_ptz_preset), del(up1, delete_ptz_presets)),
    any_rest(get(any, get_ptz_channel), put(up1, put_ptz_channel), del(up1, accept_ptz_noop)),
};
// clang-format on

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
    prefix("/PSIA/System/factoryReset",         put(lv0, put_factory_reset)),
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
    // interface update and PUT answers the interface document. The GET
    // changes the network, so it takes an administrator, like every other
    // network change.
    exact("/PSIA/System/Network/interfaces/eth0", get_changing(lv0, put_network_interface), put(lv0, get_network_interface)),
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
    // Only an administrator changes accounts; those it makes get level 2,
    // never a level above its own.
    longer("/PSIA/Security/AAA/users/",         get(any, get_user), put(lv0, put_user), del(lv0, delete_user)),
    exact("/PSIA/Security/AAA/users",           get(any, get_users), put(lv0, put_users), post(lv0, post_user),
                                                del(lv0, delete_users)),
    prefix("/PSIA/Streaming/index",             get(any, get_streaming_index)),
    prefix("/PSIA/Streaming/description",       get(any, get_streaming_description)),
    prefix("/PSIA/Streaming/status",            get(any, get_streaming_status)),
    // A channel's GET: its status, its capabilities or the channel itself,
    // by the ending of the path.
    longer("/PSIA/Streaming/channels/",         get(any, get_streaming_channel_status).when_rest_ends("status"),
                                                get(any, get_streaming_channel_capabilities).when_rest_ends("capabilities"),
                                                get(any, get_streaming_channel), put(up1, put_streaming_channel),
                                                del(up1, delete_streaming_channel)),
    exact("/PSIA/Streaming/channels",           get(any, get_streaming_channels), put(up1, put_streaming_channels),
                                                post(up1, post_streaming_channel), del(up1, delete_streaming_channels)),
    prefix("/PSIA/Custom/index",                get(any, get_custom_index)),
    prefix("/PSIA/Custom/description",          get(any, get_custom_description)),
    prefix("/PSIA/Custom/Event/index",          get(any, get_event_index)),
    prefix("/PSIA/Custom/Event/description",    get(any, get_event_description)),
    split("/PSIA/Custom/Event/triggers/",       kTriggerRoutes),
    prefix("/PSIA/Custom/Event/triggers",       get(any, get_event_trigger_list), put(up1, put_event_trigger_list),
                                                post(up1, post_trigger), del(up1, delete_triggers)),
    prefix("/PSIA/Custom/Event/schedule",       get(any, get_event_schedule), put(up1, put_event_schedule)),
    prefix("/PSIA/Custom/Event/notification/mailing/", get(any, get_mailing), put(up1, put_mailing),
                                                del(up1, delete_mailing)),
    prefix("/PSIA/Custom/Event/notification/mailing", get(any, get_mailings), put(up1, put_mailings),
                                                post(up1, post_mailing), del(up1, delete_mailings)),
    prefix("/PSIA/Custom/Event/notification/ftp/", get(any, get_ftp), put(up1, put_ftp),
                                                del(up1, delete_ftp)),
    prefix("/PSIA/Custom/Event/notification/ftp", get(any, get_ftps), put(up1, put_ftps), post(up1, post_ftp),
                                                del(up1, delete_ftps)),
    prefix("/PSIA/Custom/Event/notification",   get(any, get_event_notification), put(up1, put_event_notification)),
    prefix("/PSIA/Custom/Event",                get(any, get_event), put(up1, put_event)),
    ptz_gate(),
    prefix("/PSIA/PTZ/index",                   get(any, get_ptz_index)),
    prefix("/PSIA/PTZ/description",             get(any, get_ptz_description)),
    prefix("/PSIA/PTZ/channels/description",    get(any, get_ptz_channels_description)),
    split("/PSIA/PTZ/channels/",                kPtzChannelRoutes),
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

// The rest "<id>" or "<id>/<sub-path>" of a split row, through its
// sub-table; false when no clause of the row it picks takes the request.
bool take_sub_route(const route& r, request_line& req, route_target* target) {
  route_args& args = target->args;
  const char* rest = args.rest;
  args.number = parse_int(rest);
  const char* slash = std::strchr(rest, '/');
  if (slash == nullptr) {
    args.id = rest;
  } else {
    size_t id_length = static_cast<size_t>(slash - rest);
    copy_bounded(args.id_text,
                 id_length < sizeof args.id_text ? id_length + 1 : sizeof args.id_text, rest);
    args.id = args.id_text;
  }
  const char* sub = slash != nullptr ? slash + 1 : nullptr;
  for (size_t i = 0; i < r.sub_count; ++i) {
    const sub_route& s = r.subs[i];
    bool matches = s.match == sub_match::any || (s.match == sub_match::id_only && sub == nullptr) ||
                   (s.match == sub_match::word && sub != nullptr &&
                    strncasecmp(sub, s.word, s.word_length) == 0);
    if (!matches) continue;
    const char* after = s.match == sub_match::word ? sub + s.word_length : "";
    if (s.after == after_word::number) args.number = parse_int(after);
    if (s.after == after_word::sub_id) {
      copy_bounded(args.sub_id_text, after);
      args.sub_id = args.sub_id_text;
    }
    return take_clause(s.clauses, req, target);
  }
  return false;
}

}  // namespace

bool route_request(const char* path, const char* method, int level, int ptz_support,
                   route_target* target) {
  request_line req{method_bit(method), level};
  size_t path_length = std::strlen(path);
  route_args& args = target->args;
  for (const route& r : kRoutes) {
    if (r.match == match_kind::ptz_gate) {
      if (ptz_support != 2) return false;
      continue;
    }
    if (!path_matches(r, path, path_length)) continue;
    args.rest = path + r.length;
    args.number = 0;
    args.id = args.sub_id = "";
    bool taken =
        r.subs != nullptr ? take_sub_route(r, req, target) : take_clause(r.clauses, req, target);
    if (taken) return true;
  }
  return false;
}

answer dispatch_request(request& req, const char* path, const char* method, int level,
                        bool* changes) {
  route_target target;
  if (!route_request(path, method, level, req.camera().device.ptz_support, &target))
    return answer::status(kStatusInvalidOperation);
  *changes = target.changes;
  return target.call(req);
}

}  // namespace psia
