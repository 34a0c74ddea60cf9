// The event notification document of /PSIA/Custom/Event: the trigger
// list, the schedule and the notification methods in one document, read
// and changed together.
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/event/event.h"
#include "resources/event/event_parts.h"

void get_event() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<EventNotification version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  if (camera_has_trigger()) append_trigger_list(doc);
  append_schedule(doc);
  append_notification_methods(doc);
  doc.appendf("</EventNotification>");
  answer_document(doc, content_type::xml);
}

// Each part of the body is applied as its own resource's PUT would apply
// it; only a schedule that cannot be stored is reported.
void put_event() {
  XmlDocument body;
  if (!accept_xml_request(body, "EventNotification", kStatusDeviceError)) return;
  bool stored = true;
  for (xmlNode* part : xml_children(body.root())) {
    if (xml_name_is(part, "EventTriggerList")) {
      for (xmlNode* trigger : xml_children(part))
        if (xml_name_is(trigger, "EventTrigger")) apply_trigger(trigger);
    } else if (xml_name_is(part, "EventSchedule")) {
      stored = apply_schedule(part) && stored;
    } else if (xml_name_is(part, "EventNotificationMethods")) {
      apply_notification_methods(part);
    }
  }
  write_response_status(stored ? kStatusOk : kStatusDeviceError);
}
