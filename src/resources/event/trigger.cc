// The camera's one event trigger, its alarm input (sensor 0), and the one
// notification it may carry: an output relay, an FTP server or a mail
// server. All of it lives in the Event row with Trigger 0; the names shown
// come from tables Sensor, Relay, FTPServer and SMTPServer. The event
// daemon reads the tables itself: no command is sent.
#include <strings.h>

#include <cstdio>
#include <cstring>

#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/schema.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

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
int read_notifications(request& req, const notification_ids& ids, notification out[3]) {
  int n = 0;
  if (ids.relay >= 0) {
    query_result relay =
        req.db().query("select Name, ControlDuration from Relay where RelayID=?", ids.relay);
    if (relay.has_rows() && relay.text(0, 0) != nullptr) {
      std::snprintf(out[n].name, sizeof out[n].name, "%s", relay.text(0, 0));
      out[n].method = "IO";
      out[n].relay_id = ids.relay;
      out[n++].duration_ms = times_wrapped(relay.integer(0, 1, 0), 1000);
    }
  }
  if (ids.ftp >= 0 &&
      req.db().query_text(out[n].name, sizeof out[n].name,
                          "select ServerName from FTPServer where FTPServerID=?", ids.ftp)) {
    out[n].method = "FTP";
    out[n++].relay_id = -1;
  }
  if (ids.mail >= 0 &&
      req.db().query_text(out[n].name, sizeof out[n].name,
                          "select ServerName from SMTPServer where SMTPServerID=?", ids.mail)) {
    out[n].method = "email";
    out[n++].relay_id = -1;
  }
  return n;
}

void append_notification(text_buffer& doc, const notification& n) {
  doc.append("<EventTriggerNotification version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%s</id>", n.name);
  doc.appendf("<notificationMethod>%s</notificationMethod>", n.method);
  if (n.relay_id >= 0) {
    doc.appendf("<notificationInterval>%d</notificationInterval>", n.duration_ms);
    doc.appendf("<outputIOPortID>%d</outputIOPortID>", n.relay_id);
  }
  doc.append("</EventTriggerNotification>");
}

bool read_event_row(request& req, int* interval, notification_ids* ids) {
  query_result event = req.db().query("select * from Event where Trigger=0");
  if (!event.has_rows()) return false;
  *interval = event.integer(0, event_column::kMinTimeInterval, 0);
  ids->relay = event.integer(0, event_column::kRelayId, -1);
  ids->ftp = event.integer(0, event_column::kFtpServerId, -1);
  ids->mail = event.integer(0, event_column::kSmtpServerId, -1);
  return true;
}

void append_notification_list(request& req, text_buffer& doc, const notification_ids& ids) {
  notification found[3];
  int n = read_notifications(req, ids, found);
  doc.append("<EventTriggerNotificationList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int i = 0; i < n; ++i) append_notification(doc, found[i]);
  doc.append("</EventTriggerNotificationList>");
}

// The EventTrigger element, shown under `id`.
void append_trigger(request& req, text_buffer& doc, const char* id) {
  doc.append("<EventTrigger version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%s</id>", id);
  doc.append("<eventType>IO</eventType>");
  doc.append("<inputIOPortID>0</inputIOPortID>");
  int interval = 0;
  notification_ids ids;
  if (read_event_row(req, &interval, &ids)) {
    doc.appendf("<intervalBetweenEvents>%d</intervalBetweenEvents>", interval);
    if (ids.relay != -1 || ids.ftp != -1 || ids.mail != -1) append_notification_list(req, doc, ids);
  }
  doc.append("</EventTrigger>");
}

// The name of sensor 0, the id the trigger is listed under.
void alarm_input_name(request& req, char (&name)[128]) {
  if (!req.db().query_text(name, sizeof name, "select Name from Sensor where SensorID=0"))
    std::snprintf(name, sizeof name, "Sensor-%d", 0);
}

// True when `id` names the camera's alarm input (sensor 0).
bool is_alarm_input(request& req, const char* id) {
  query_result sensor = req.db().query("select SensorID from Sensor where Name=?", id);
  return sensor.has_rows() && sensor.integer(0, 0, -1) == 0;
}

// A notification as a body names it.
struct notification_request {
  char name[128] = "";
  char method[16] = "";
};

// Reads a notification element; an interval, when given, replaces
// `seconds`.
notification_request read_notification_element(xml_node element, int* seconds) {
  notification_request r;
  for (xml_node child : element.children()) {
    if (child.is("id")) {
      child.copy_text(r.name);
    } else if (child.is("notificationMethod")) {
      child.copy_text(r.method);
    } else if (child.is("notificationInterval")) {
      *seconds = child.int_text() / 1000;
    }
  }
  return r;
}

// The ids a notification selects. The camera's store holds one
// notification a trigger, so each one replaces what came before it; a
// relay's duration is set on the relay itself. Methods are "IO", "FTP" and
// "SMTP" (the documents say "email" for mail: clients send the other word).
notification_ids select_notification(request& req, const notification_request& r, int seconds) {
  config_store& db = req.db();
  notification_ids ids;
  if (strcasecmp(r.method, "IO") == 0) {
    db.exec("update Relay set ControlDuration=? where Name=?", seconds, r.name);
    ids.relay = db.query_int(-1, "select RelayID from Relay where Name=?", r.name);
  } else if (strcasecmp(r.method, "FTP") == 0) {
    ids.ftp = db.query_int(-1, "select FTPServerID from FTPServer where ServerName=?", r.name);
  } else if (strcasecmp(r.method, "SMTP") == 0) {
    ids.mail = db.query_int(-1, "select SMTPServerID from SMTPServer where ServerName=?", r.name);
  }
  return ids;
}

// The notification ids a list element selects (none for an empty list).
notification_ids read_notification_list(request& req, xml_node list) {
  notification_ids ids;
  int seconds = 5;
  for (xml_node element : list.children()) {
    if (!element.is("EventTriggerNotification")) continue;
    notification_request r = read_notification_element(element, &seconds);
    ids = select_notification(req, r, seconds);
  }
  return ids;
}

void store_trigger(request& req, int interval, const notification_ids& ids) {
  req.db().exec(
      "update Event set MinTimeInterval=?, RelayID=?, FTPServerID=?, SMTPServerID=? "
      "where Trigger=?",
      interval, ids.relay, ids.ftp, ids.mail, 0);
}

void store_notifications(request& req, const notification_ids& ids) {
  req.db().exec("update Event set RelayID=?, FTPServerID=?, SMTPServerID=? where Trigger=?",
                ids.relay, ids.ftp, ids.mail, 0);
}

void clear_notifications(request& req) {
  req.db().exec("update Event set RelayID=-1, FTPServerID=-1, SMTPServerID=-1 where Trigger=?", 0);
}

// Applies an EventTrigger element when `trigger_id` names the alarm input.
void apply_trigger_to(request& req, xml_node trigger, const char* trigger_id) {
  int interval = 5;
  notification_ids ids;
  for (xml_node child : trigger.children()) {
    if (child.is("intervalBetweenEvents"))
      interval = child.int_text();
    else if (child.is("EventTriggerNotificationList"))
      ids = read_notification_list(req, child);
  }
  if (is_alarm_input(req, trigger_id)) store_trigger(req, interval, ids);
}

// The trigger's notification named `name`, or null.
const notification* find_notification(request& req, const char* trigger_id, const char* name,
                                      notification (&found)[3]) {
  int interval = 0;
  notification_ids ids;
  int n = is_alarm_input(req, trigger_id) && read_event_row(req, &interval, &ids)
              ? read_notifications(req, ids, found)
              : 0;
  for (int i = 0; i < n; ++i)
    if (std::strcmp(found[i].name, name) == 0) return &found[i];
  return nullptr;
}

// A document of one element behind the declaration.
template <typename Append>
answer answer_element(Append append) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append(doc);
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace

bool camera_has_trigger(request& req) {
  return req.db().query_int(0, "select max_sensor from Spec") != 0;
}

void append_trigger_list(request& req, text_buffer& doc) {
  char name[128];
  alarm_input_name(req, name);
  doc.append("<EventTriggerList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_trigger(req, doc, name);
  doc.append("</EventTriggerList>");
}

// In a list, every EventTrigger is the camera's one trigger.
void apply_trigger(request& req, xml_node trigger) {
  char name[128];
  alarm_input_name(req, name);
  apply_trigger_to(req, trigger, name);
}

answer get_event_trigger_list(request& req, const route_args&) {
  if (!camera_has_trigger(req)) return answer::status(kStatusInvalidOperation);
  return answer_element([&](text_buffer& doc) { append_trigger_list(req, doc); });
}

answer put_event_trigger_list(request& req, const route_args&) {
  xml_body body(req, "EventTriggerList", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  for (xml_node trigger : body.root().children())
    if (trigger.is("EventTrigger")) apply_trigger(req, trigger);
  return answer::status(kStatusOk);
}

// Triggers are the camera's alarm inputs: they can be neither added nor
// removed. Deleting the list clears its notifications, as deleting the one
// trigger does.
answer post_trigger(request&, const route_args&) { return answer::status(kStatusInvalidOperation); }

answer delete_triggers(request& req, const route_args&) {
  clear_notifications(req);
  return answer::status(kStatusOk);
}

// An id that names no alarm input is not a trigger of this camera.
answer get_event_trigger(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  query_result sensor = req.db().query("select SensorID from Sensor where Name=?", trigger_id);
  if (!sensor.has_rows() || sensor.integer(0, 0, -1) < 0)
    return answer::status(kStatusInvalidOperation);
  return answer_element([&](text_buffer& doc) { append_trigger(req, doc, trigger_id); });
}

answer put_event_trigger(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  xml_body body(req, "EventTrigger", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  apply_trigger_to(req, body.root(), trigger_id);
  return answer::status(kStatusOk);
}

answer delete_event_trigger_notifications(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  if (is_alarm_input(req, trigger_id)) clear_notifications(req);
  return answer::status(kStatusOk);
}

// The per-trigger notification resources: the notification list of the
// one trigger, and its members by name. They change only the notification
// ids, never the trigger's interval.

answer get_trigger_notifications(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  if (!is_alarm_input(req, trigger_id)) return answer::status(kStatusInvalidOperation);
  int interval = 0;
  notification_ids ids;
  read_event_row(req, &interval, &ids);
  return answer_element([&](text_buffer& doc) { append_notification_list(req, doc, ids); });
}

answer put_trigger_notifications(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  xml_body body(req, "EventTriggerNotificationList", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  notification_ids ids = read_notification_list(req, body.root());
  if (is_alarm_input(req, trigger_id)) store_notifications(req, ids);
  return answer::status(kStatusOk);
}

// Adding a notification replaces the one the trigger had.
answer post_trigger_notification(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  xml_body body(req, "EventTriggerNotification", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  int seconds = 5;
  notification_request r = read_notification_element(body.root(), &seconds);
  notification_ids ids = select_notification(req, r, seconds);
  if (is_alarm_input(req, trigger_id)) store_notifications(req, ids);
  return answer::status(kStatusOk);
}

answer delete_trigger_notifications(request& req, const route_args& route) {
  return delete_event_trigger_notifications(req, route);
}

answer get_trigger_notification(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  const char* notification_id = route.sub_id;
  notification found[3];
  const notification* n = find_notification(req, trigger_id, notification_id, found);
  // The trigger has no such notification.
  if (n == nullptr) return answer::status(kStatusDeviceError);
  return answer_element([&](text_buffer& doc) { append_notification(doc, *n); });
}

// Sets the relay or server the path names as the trigger's notification;
// the body gives its method (and a relay's interval).
answer put_trigger_notification(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  const char* notification_id = route.sub_id;
  xml_body body(req, "EventTriggerNotification", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  int seconds = 5;
  notification_request r = read_notification_element(body.root(), &seconds);
  std::snprintf(r.name, sizeof r.name, "%s", notification_id);
  notification_ids ids = select_notification(req, r, seconds);
  if (is_alarm_input(req, trigger_id)) store_notifications(req, ids);
  return answer::status(kStatusOk);
}

// Removes the notification when it is the one the trigger has.
answer delete_trigger_notification(request& req, const route_args& route) {
  const char* trigger_id = route.id;
  const char* notification_id = route.sub_id;
  notification found[3];
  if (find_notification(req, trigger_id, notification_id, found) != nullptr)
    clear_notifications(req);
  return answer::status(kStatusOk);
}

}  // namespace psia
