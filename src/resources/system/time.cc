// The camera's clock: the time and time mode, the local time and the time
// zone. The responder never sets the clock itself: a new time or mode goes
// to the control daemon as command 6, a new zone as command 7.
//
// A zone given with PUT /PSIA/System/time is kept while the responder runs
// (the camera's current zone, shared by its processes) and exported as TZ,
// so the local times it prints follow it; it is not stored in the database.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "io/xml_input.h"
#include "resources/system/clock.h"
#include "resources/system/posix_time_zone.h"
#include "resources/system/system.h"
#include "resources/system/time_zone_table.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

const int kModeNtp = 2;
const int kModeManual = 0;

void append_date_time(text_buffer& doc, const struct tm& t) {
  doc.appendf("%4d-%02d-%02dT%02d:%02d:%02d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour,
              t.tm_min, t.tm_sec);
}

// A field of a "YYYY-MM-DDThh:mm:ss" text, read by position; 0 when the
// text is too short to hold it. A field beyond any calendar is cut to
// +-100000 so the date arithmetic on it cannot overflow.
int field_at(const char* text, size_t position) {
  int v = std::strlen(text) > position ? parse_int(text + position) : 0;
  return v > 100000 ? 100000 : v < -100000 ? -100000 : v;
}

// A manual time as the client wrote it, with out-of-range fields rolled
// over into the next unit (2010-02-30T25:00:00 is 2010-03-03 01:00:00).
struct tm normalised_time(const request_context& ctx, const char* text) {
  struct tm t = {};
  t.tm_year = field_at(text, 0) - 1900;
  t.tm_mon = field_at(text, 5) - 1;
  t.tm_mday = field_at(text, 8);
  t.tm_hour = field_at(text, 11);
  t.tm_min = field_at(text, 14);
  t.tm_sec = field_at(text, 17);
  t.tm_isdst = -1;
  apply_current_zone(ctx);
  time_t seconds = mktime(&t);
  if (seconds != static_cast<time_t>(-1)) localtime_r(&seconds, &t);
  return t;
}

// Sends command 6: the mode, the stored NTP server and interval, and the
// time (now for NTP, the client's for manual). Returns the answer.
answer send_set_time(request& req, int mode, const char* manual_time) {
  query_result ntp = req.db().query("select NTPServerName, NTPInterval from DateTime");
  if (!ntp.has_rows()) return answer::status(kStatusDeviceError);
  struct tm t =
      mode == kModeManual ? normalised_time(req.ctx, manual_time) : camera_local_time(req.ctx);
  using fields = set_time_payload;
  control_message msg(kCommandSetTime);
  msg.put_int(fields::kMode, mode);
  msg.put_text(fields::kNtpServer, fields::kNtpServerWidth, ntp.text(0, 0));
  msg.put_int(fields::kInterval, ntp.integer(0, 1, 0));
  msg.put_int(fields::kYear, t.tm_year + 1900);
  msg.put_int(fields::kMonth, t.tm_mon + 1);
  msg.put_int(fields::kDay, t.tm_mday);
  msg.put_int(fields::kHour, t.tm_hour);
  msg.put_int(fields::kMinute, t.tm_min);
  msg.put_int(fields::kSecond, t.tm_sec);
  return answer::status(req.control().send_control_message(msg));
}

// The zone of the camera as a POSIX TZ string, "GMT0" when unknown.
std::string camera_zone(request& req) {
  std::string zone;
  return read_posix_time_zone(req, &zone) ? zone : "GMT0";
}

}  // namespace

void apply_current_zone(const request_context& ctx) {
  const char* zone = ctx.camera.applied_zone();
  if (zone[0] != '\0') setenv("TZ", zone, 1);
  tzset();
}

struct tm camera_local_time(request_context& ctx) {
  apply_current_zone(ctx);
  time_t seconds = ctx.clock.wall_time().tv_sec;
  struct tm local;
  localtime_r(&seconds, &local);
  return local;
}

answer get_time(request& req, const route_args&) {
  int mode = req.db().query_int(0, "select DateTimeSync from DateTime");
  struct tm now = camera_local_time(req.ctx);
  const char* current = req.ctx.camera.applied_zone();
  std::string zone = current[0] != '\0' ? current : camera_zone(req);
  text_buffer doc;
  doc.append("<Time version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append(mode == kModeNtp ? "<timeMode>NTP</timeMode>" : "<timeMode>manual</timeMode>");
  doc.append("<localTime>");
  append_date_time(doc, now);
  doc.append("</localTime>");
  doc.append("<timeZone>");
  doc.append(zone.c_str());
  doc.append("</timeZone>");
  doc.append("</Time>");
  return answer::document(std::move(doc), content_type::xml_utf8);
}

answer get_local_time(request& req, const route_args&) {
  text_buffer doc;
  append_date_time(doc, camera_local_time(req.ctx));
  return answer::document(std::move(doc), content_type::xml_utf8);
}

answer get_time_zone(request& req, const route_args&) {
  text_buffer doc;
  doc.append(camera_zone(req).c_str());
  return answer::document(std::move(doc), content_type::text_utf8);
}

answer put_time(request& req, const route_args&) {
  xml_body body(req, "Time", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  int mode = kModeNtp;  // a document without timeMode asks for NTP
  char local_time[128] = "";
  char zone[128] = "";
  for (xml_node child : body.root().children()) {
    if (child.is("timeMode")) {
      mode = child.text_is("NTP") ? kModeNtp : kModeManual;
    } else if (child.is("localTime")) {
      child.copy_text(local_time);
    } else if (child.is("timeZone")) {
      child.copy_text(zone);
    }
  }
  // A zone too long to keep whole is refused: cut, it could name another.
  if (std::strlen(zone) >= sizeof camera_state::current_zone || !is_posix_time_zone(zone))
    return answer::status(kStatusDeviceError);
  {
    // Every responder process of the camera takes the zone (an empty one:
    // back to the system's zone).
    camera_lock lock(req.ctx.camera);
    copy_bounded(lock.camera().current_zone, zone);
    lock.zone_changed();
  }
  return send_set_time(req, mode, local_time);
}

// In NTP mode a local time is accepted and ignored: the clock follows the
// time server.
answer put_local_time(request& req, const route_args&) {
  query_result sync = req.db().query("select DateTimeSync from DateTime");
  if (!sync.has_rows() || !req.read_body()) return answer::status(kStatusDeviceError);
  if (sync.integer(0, 0, 0) != kModeManual) return answer::status(kStatusOk);
  return send_set_time(req, kModeManual, req.body());
}

// The body is a POSIX TZ string, or the beginning of one: the first zone of
// the camera's table that begins with it is chosen.
answer put_time_zone(request& req, const route_args&) {
  if (!req.read_body()) return answer::status(kStatusDeviceError);
  const char* found = find_time_zone(req.body());
  char zoneinfo[128];
  copy_bounded(zoneinfo, found);
  if (found == nullptr || !req.db().exec("update DateTime set TimeZone=?", zoneinfo))
    return answer::status(kStatusDeviceError);
  control_message msg(kCommandSetTimeZone);
  msg.put_text(set_time_zone_payload::kZone, set_time_zone_payload::kZoneWidth, zoneinfo);
  return answer::status(req.control().send_control_message(msg));
}

}  // namespace psia
