// The camera's one event trigger, its alarm input (sensor 0), and the one
// notification it may carry: an output relay, an FTP server or a mail
// server. All of it lives in the Event row with Trigger 0; the names shown
// come from tables Sensor, Relay, FTPServer and SMTPServer. The event
// daemon reads the tables itself: no command is sent.
#include <strings.h>

#include <cstdio>
#include <cstring>

#include "io/response.h"
#include "io/xml_input.h"
#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/database.h"
#include "util/bounded_copy.h"

namespace {

const int kIntervalColumn = 5;
const int kRelayColumn = 8;
const int kFtpColumn = 10;
const int kMailColumn = 11;

// The notification ids of the Event row; -1 is none.
struct notification_ids {
  int relay = -1;
  int ftp = -1;
  int mail = -1;
};

// One notification as shown: its name, method and, for a relay, its
// duration and port.
struct notification {
  char name[128];
  const char* method;  // "IO", "FTP" or "email"
  int relay_id;        // -1 unless a relay
  int duration_ms;
};

// The notifications the ids name, in the order relay, FTP, mail; a name
// that is not found leaves its notification out.
int read_notifications(const notification_ids& ids, notification out[3]) {
  int n = 0;
  if (ids.relay >= 0) {
    QueryResult relay =
        db_query("select Name, ControlDuration from Relay where RelayID=%d", ids.relay);
    if (relay.has_rows() && relay.text(0, 0) != nullptr) {
      std::snprintf(out[n].name, sizeof out[n].name, "%s", relay.text(0, 0));
      out[n].method = "IO";
      out[n].relay_id = ids.relay;
      out[n++].duration_ms = times_wrapped(relay.integer(0, 1, 0), 1000);
    }
  }
  if (ids.ftp >= 0 && db_query_text(out[n].name, sizeof out[n].name,
                                     "select ServerName from FTPServer where FTPServerID=%d",
                                     ids.ftp)) {
    out[n].method = "FTP";
    out[n++].relay_id = -1;
  }
  if (ids.mail >= 0 && db_query_text(out[n].name, sizeof out[n].name,
                                      "select ServerName from SMTPServer where SMTPServerID=%d",
                                      ids.mail)) {
    out[n].method = "email";
    out[n++].relay_id = -1;
  }
  return n;
}

void append_notification(TextBuffer& doc, const notification& n) {
  doc.appendf("<EventTriggerNotification version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%s</id>", n.name);
  doc.appendf("<notificationMethod>%s</notificationMethod>", n.method);
  if (n.relay_id >= 0) {
    doc.appendf("<notificationInterval>%d</notificationInterval>", n.duration_ms);
    doc.appendf("<outputIOPortID>%d</outputIOPortID>", n.relay_id);
  }
  doc.appendf("</EventTriggerNotification>");
}

bool read_event_row(int* interval, notification_ids* ids) {
  QueryResult event = db_query("select * from Event where Trigger=0");
  if (!event.has_rows()) return false;
  *interval = event.integer(0, kIntervalColumn, 0);
  ids->relay = event.integer(0, kRelayColumn, -1);
  ids->ftp = event.integer(0, kFtpColumn, -1);
  ids->mail = event.integer(0, kMailColumn, -1);
  return true;
}

void append_notification_list(TextBuffer& doc, const notification_ids& ids) {
  notification found[3];
  int n = read_notifications(ids, found);
  doc.appendf("<EventTriggerNotificationList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int i = 0; i < n; ++i) append_notification(doc, found[i]);
  doc.appendf("</EventTriggerNotificationList>");
}

// The EventTrigger element, shown under `id`.
void append_trigger(TextBuffer& doc, const char* id) {
  doc.appendf("<EventTrigger version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%s</id>", id);
  doc.appendf("<eventType>IO</eventType>");
  doc.appendf("<inputIOPortID>0</inputIOPortID>");
  int interval = 0;
  notification_ids ids;
  if (read_event_row(&interval, &ids)) {
    doc.appendf("<intervalBetweenEvents>%d</intervalBetweenEvents>", interval);
    if (ids.relay != -1 || ids.ftp != -1 || ids.mail != -1) append_notification_list(doc, ids);
  }
  doc.appendf("</EventTrigger>");
}

// The name of sensor 0, the id the trigger is listed under.
void alarm_input_name(char (&name)[128]) {
  if (!db_query_text(name, sizeof name, "select Name from Sensor where SensorID=0"))
    std::snprintf(name, sizeof name, "Sensor-%d", 0);
}

// True when `id` names the camera's alarm input (sensor 0).
bool is_alarm_input(const char* id) {
  QueryResult sensor = db_query("select SensorID from Sensor where Name='%q'", id);
  return sensor.has_rows() && sensor.integer(0, 0, -1) == 0;
}

// A notification as a body names it.
struct notification_request {
  char name[128] = "";
  char method[16] = "";
};

// Reads a notification element; an interval, when given, replaces
// `seconds`.
notification_request read_notification_element(const xmlNode* element, int* seconds) {
  notification_request r;
  for (xmlNode* child : xml_children(element)) {
    if (xml_name_is(child, "id")) {
      xml_copy_text(child, r.name);
    } else if (xml_name_is(child, "notificationMethod")) {
      xml_copy_text(child, r.method);
    } else if (xml_name_is(child, "notificationInterval")) {
      *seconds = xml_int_text(child) / 1000;
    }
  }
  return r;
}

// The ids a notification selects. The camera's store holds one
// notification a trigger, so each one replaces what came before it; a
// relay's duration is set on the relay itself. Methods are "IO", "FTP" and
// "SMTP" (the documents say "email" for mail: clients send the other word).
notification_ids select_notification(const notification_request& r, int seconds) {
  notification_ids ids;
  if (strcasecmp(r.method, "IO") == 0) {
    db_exec("update Relay set ControlDuration=%d where Name='%q'", seconds, r.name);
    ids.relay = db_query_int(-1, "select RelayID from Relay where Name='%q'", r.name);
  } else if (strcasecmp(r.method, "FTP") == 0) {
    ids.ftp = db_query_int(-1, "select FTPServerID from FTPServer where ServerName='%q'", r.name);
  } else if (strcasecmp(r.method, "SMTP") == 0) {
    ids.mail =
        db_query_int(-1, "select SMTPServerID from SMTPServer where ServerName='%q'", r.name);
  }
  return ids;
}

// The notification ids a list element selects (none for an empty list).
notification_ids read_notification_list(const xmlNode* list) {
  notification_ids ids;
  int seconds = 5;
  for (xmlNode* element : xml_children(list)) {
    if (!xml_name_is(element, "EventTriggerNotification")) continue;
    notification_request r = read_notification_element(element, &seconds);
    ids = select_notification(r, seconds);
  }
  return ids;
}

void store_trigger(int interval, const notification_ids& ids) {
  db_exec("update Event set MinTimeInterval=%d, RelayID=%d, FTPServerID=%d, SMTPServerID=%d "
          "where Trigger=%d",
          interval, ids.relay, ids.ftp, ids.mail, 0);
}

void store_notifications(const notification_ids& ids) {
  db_exec("update Event set RelayID=%d, FTPServerID=%d, SMTPServerID=%d where Trigger=%d",
          ids.relay, ids.ftp, ids.mail, 0);
}

void clear_notifications() {
  db_exec("update Event set RelayID=-1, FTPServerID=-1, SMTPServerID=-1 where Trigger=%d", 0);
}

// Applies an EventTrigger element when `trigger_id` names the alarm input.
void apply_trigger_to(const xmlNode* trigger, const char* trigger_id) {
  int interval = 5;
  notification_ids ids;
  for (xmlNode* child : xml_children(trigger)) {
    if (xml_name_is(child, "intervalBetweenEvents"))
      interval = xml_int_text(child);
    else if (xml_name_is(child, "EventTriggerNotificationList"))
      ids = read_notification_list(child);
  }
  if (is_alarm_input(trigger_id)) store_trigger(interval, ids);
}

}  // namespace

bool camera_has_trigger() { return db_query_int(0, "select max_sensor from Spec") != 0; }

void append_trigger_list(TextBuffer& doc) {
  char name[128];
  alarm_input_name(name);
  doc.appendf("<EventTriggerList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_trigger(doc, name);
  doc.appendf("</EventTriggerList>");
}

// In a list, every EventTrigger is the camera's one trigger.
void apply_trigger(const xmlNode* trigger) {
  char name[128];
  alarm_input_name(name);
  apply_trigger_to(trigger, name);
}

void get_event_trigger_list() {
  if (!camera_has_trigger()) {
    write_response_status(kStatusInvalidOperation);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_trigger_list(doc);
  answer_document(doc, content_type::xml);
}

void put_event_trigger_list() {
  XmlDocument body;
  if (!accept_xml_request(body, "EventTriggerList", kStatusDeviceError)) return;
  for (xmlNode* trigger : xml_children(body.root()))
    if (xml_name_is(trigger, "EventTrigger")) apply_trigger(trigger);
  write_response_status(kStatusOk);
}

// Triggers are the camera's alarm inputs: they can be neither added nor
// removed. Deleting the list clears its notifications, as deleting the one
// trigger does.
void post_trigger() { write_response_status(kStatusInvalidOperation); }

void delete_triggers() {
  clear_notifications();
  write_response_status(kStatusOk);
}

// An id that names no alarm input is not a trigger of this camera.
void get_event_trigger(const char* trigger_id) {
  QueryResult sensor = db_query("select SensorID from Sensor where Name='%q'", trigger_id);
  if (!sensor.has_rows() || sensor.integer(0, 0, -1) < 0) {
    write_response_status(kStatusInvalidOperation);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_trigger(doc, trigger_id);
  answer_document(doc, content_type::xml);
}

void put_event_trigger(const char* trigger_id) {
  XmlDocument body;
  if (!accept_xml_request(body, "EventTrigger", kStatusDeviceError)) return;
  apply_trigger_to(body.root(), trigger_id);
  write_response_status(kStatusOk);
}

void delete_event_trigger_notifications(const char* trigger_id) {
  if (is_alarm_input(trigger_id)) clear_notifications();
  write_response_status(kStatusOk);
}

// The per-trigger notification resources: the notification list of the
// one trigger, and its members by name. They change only the notification
// ids, never the trigger's interval.

void get_trigger_notifications(const char* trigger_id) {
  int interval = 0;
  notification_ids ids;
  if (!is_alarm_input(trigger_id)) {
    write_response_status(kStatusInvalidOperation);
    return;
  }
  read_event_row(&interval, &ids);
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_notification_list(doc, ids);
  answer_document(doc, content_type::xml);
}

void put_trigger_notifications(const char* trigger_id) {
  XmlDocument body;
  if (!accept_xml_request(body, "EventTriggerNotificationList", kStatusDeviceError)) return;
  notification_ids ids = read_notification_list(body.root());
  if (is_alarm_input(trigger_id)) store_notifications(ids);
  write_response_status(kStatusOk);
}

// Adding a notification replaces the one the trigger had.
void post_trigger_notification(const char* trigger_id) {
  XmlDocument body;
  if (!accept_xml_request(body, "EventTriggerNotification", kStatusDeviceError)) return;
  int seconds = 5;
  notification_request r = read_notification_element(body.root(), &seconds);
  notification_ids ids = select_notification(r, seconds);
  if (is_alarm_input(trigger_id)) store_notifications(ids);
  write_response_status(kStatusOk);
}

void delete_trigger_notifications(const char* trigger_id) {
  delete_event_trigger_notifications(trigger_id);
}

// The trigger's notification named `name`, or null.
static const notification* find_notification(const char* trigger_id, const char* name,
                                             notification (&found)[3]) {
  int interval = 0;
  notification_ids ids;
  int n = is_alarm_input(trigger_id) && read_event_row(&interval, &ids)
              ? read_notifications(ids, found)
              : 0;
  for (int i = 0; i < n; ++i)
    if (std::strcmp(found[i].name, name) == 0) return &found[i];
  return nullptr;
}

void get_trigger_notification(const char* trigger_id, const char* notification_id) {
  notification found[3];
  const notification* n = find_notification(trigger_id, notification_id, found);
  if (n != nullptr) {
    TextBuffer doc;
    doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
    append_notification(doc, *n);
    answer_document(doc, content_type::xml);
    return;
  }
  write_response_status(kStatusDeviceError);  // the trigger has no such notification
}

// Sets the relay or server the path names as the trigger's notification;
// the body gives its method (and a relay's interval).
void put_trigger_notification(const char* trigger_id, const char* notification_id) {
  XmlDocument body;
  if (!accept_xml_request(body, "EventTriggerNotification", kStatusDeviceError)) return;
  int seconds = 5;
  notification_request r = read_notification_element(body.root(), &seconds);
  std::snprintf(r.name, sizeof r.name, "%s", notification_id);
  notification_ids ids = select_notification(r, seconds);
  if (is_alarm_input(trigger_id)) store_notifications(ids);
  write_response_status(kStatusOk);
}

// Removes the notification when it is the one the trigger has.
void delete_trigger_notification(const char* trigger_id, const char* notification_id) {
  notification found[3];
  if (find_notification(trigger_id, notification_id, found) != nullptr) clear_notifications();
  write_response_status(kStatusOk);
}
