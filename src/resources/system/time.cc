// The camera's clock: the time and time mode, the local time and the time
// zone. The responder never sets the clock itself: a new time or mode goes
// to the control daemon as command 6, a new zone as command 7.
//
// A zone given with PUT /PSIA/System/time is kept for the life of the
// process (the current zone text) and exported as TZ, so the local times
// this process prints follow it; it is not stored in the database.
#include <sys/time.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "control/control_message.h"
#include "io/request_body.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/system/clock.h"
#include "resources/system/posix_time_zone.h"
#include "resources/system/system.h"
#include "resources/system/time_zone_table.h"
#include "store/database.h"
#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

const int kModeNtp = 2;
const int kModeManual = 0;

// The zone last given with PUT /PSIA/System/time, and its TZ variable
// (putenv keeps a pointer to it, so it lives as long as the process).
char g_current_zone[64] = "";
char g_tz_variable[sizeof "TZ=" + sizeof g_current_zone] = "TZ=";

// Makes this process's local time follow the current zone. Under FastCGI
// every accepted request replaces the environment, so TZ is put back
// before each conversion rather than once.
void apply_current_zone() {
  if (g_current_zone[0] != '\0') putenv(g_tz_variable);
  tzset();
}

void append_date_time(TextBuffer& doc, const struct tm& t) {
  doc.appendf("%4d-%02d-%02dT%02d:%02d:%02d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
              t.tm_hour, t.tm_min, t.tm_sec);
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
struct tm normalised_time(const char* text) {
  struct tm t = {};
  t.tm_year = field_at(text, 0) - 1900;
  t.tm_mon = field_at(text, 5) - 1;
  t.tm_mday = field_at(text, 8);
  t.tm_hour = field_at(text, 11);
  t.tm_min = field_at(text, 14);
  t.tm_sec = field_at(text, 17);
  t.tm_isdst = -1;
  apply_current_zone();
  time_t seconds = mktime(&t);
  if (seconds != static_cast<time_t>(-1)) localtime_r(&seconds, &t);
  return t;
}

// Sends command 6: the mode, the stored NTP server and interval, and the
// time (now for NTP, the client's for manual). Returns the answer.
int send_set_time(int mode, const char* manual_time) {
  QueryResult ntp = db_query("select NTPServerName, NTPInterval from DateTime");
  if (!ntp.has_rows()) return kStatusDeviceError;
  struct tm t = mode == kModeManual ? normalised_time(manual_time) : camera_local_time();
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandSetTime;
  control_put_int(&msg, 0, mode);
  control_put_text(&msg, 4, 128, ntp.text(0, 0));
  control_put_int(&msg, 132, ntp.integer(0, 1, 0));
  control_put_int(&msg, 136, t.tm_year + 1900);
  control_put_int(&msg, 140, t.tm_mon + 1);
  control_put_int(&msg, 144, t.tm_mday);
  control_put_int(&msg, 148, t.tm_hour);
  control_put_int(&msg, 152, t.tm_min);
  control_put_int(&msg, 156, t.tm_sec);
  send_control_message(&msg);
  return msg.status;
}

// The zone of the camera as a POSIX TZ string, "GMT0" when unknown.
std::string camera_zone() {
  std::string zone;
  return read_posix_time_zone(&zone) ? zone : "GMT0";
}

}  // namespace

struct tm camera_local_time() {
  apply_current_zone();
  timeval now;
  gettimeofday(&now, nullptr);
  time_t seconds = now.tv_sec;
  struct tm local;
  localtime_r(&seconds, &local);
  return local;
}

void get_time() {
  int mode = db_query_int(0, "select DateTimeSync from DateTime");
  struct tm now = camera_local_time();
  std::string zone = g_current_zone[0] != '\0' ? g_current_zone : camera_zone();
  TextBuffer doc;
  doc.appendf("<Time version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<timeMode>%s</timeMode>", mode == kModeNtp ? "NTP" : "manual");
  doc.appendf("<localTime>");
  append_date_time(doc, now);
  doc.appendf("</localTime>");
  doc.appendf("<timeZone>%s</timeZone>", zone.c_str());
  doc.appendf("</Time>");
  answer_document(doc, content_type::xml_utf8);
}

void get_local_time() {
  TextBuffer doc;
  append_date_time(doc, camera_local_time());
  answer_document(doc, content_type::xml_utf8);
}

void get_time_zone() {
  TextBuffer doc;
  doc.appendf("%s", camera_zone().c_str());
  answer_document(doc, content_type::text_utf8);
}

void put_time() {
  XmlDocument body;
  if (!accept_xml_request(body, "Time", kStatusDeviceError)) return;
  int mode = kModeNtp;  // a document without timeMode asks for NTP
  char local_time[128] = "";
  char zone[128] = "";
  for (xmlNode* child : xml_children(body.root())) {
    if (xml_name_is(child, "timeMode")) {
      mode = xml_text_is(child, "NTP") ? kModeNtp : kModeManual;
    } else if (xml_name_is(child, "localTime")) {
      xml_copy_text(child, local_time);
    } else if (xml_name_is(child, "timeZone")) {
      xml_copy_text(child, zone);
    }
  }
  // A zone too long to keep whole is refused: cut, it could name another.
  if (std::strlen(zone) >= sizeof g_current_zone || validate_posix_time_zone(zone) < 0) {
    write_response_status(kStatusDeviceError);
    return;
  }
  copy_bounded(g_current_zone, zone);
  copy_bounded(g_tz_variable + 3, sizeof g_tz_variable - 3, g_current_zone);
  if (g_current_zone[0] == '\0') unsetenv("TZ");  // back to the system's zone
  apply_current_zone();
  write_response_status(send_set_time(mode, local_time));
}

// In NTP mode a local time is accepted and ignored: the clock follows the
// time server.
void put_local_time() {
  QueryResult sync = db_query("select DateTimeSync from DateTime");
  if (!sync.has_rows() || read_request_body(nullptr) != 0) {
    write_response_status(kStatusDeviceError);
    return;
  }
  if (sync.integer(0, 0, 0) != kModeManual) {
    write_response_status(kStatusOk);
    return;
  }
  write_response_status(send_set_time(kModeManual, request_body()));
}

// The body is a POSIX TZ string, or the beginning of one: the first zone of
// the camera's table that begins with it is chosen.
void put_time_zone() {
  if (read_request_body(nullptr) != 0) {
    write_response_status(kStatusDeviceError);
    return;
  }
  const char* found = find_time_zone(context().time_zone_table, request_body());
  char zoneinfo[128];
  copy_bounded(zoneinfo, found);
  if (found == nullptr || !db_exec("update DateTime set TimeZone='%q'", zoneinfo)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandSetTimeZone;
  control_put_text(&msg, 0, 48, zoneinfo);
  send_control_message(&msg);
  write_response_status(msg.status);
}
