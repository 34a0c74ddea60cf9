// The event notification document of /PSIA/Custom/Event: the trigger
// list, the schedule and the notification methods in one document, read
// and changed together.
#include "resources/event/event.h"
#include "resources/event/event_parts.h"

namespace psia {

answer get_event(request& req, const route_args&) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<EventNotification version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  if (camera_has_trigger(req)) append_trigger_list(req, doc);
  append_schedule(req, doc);
  append_notification_methods(req, doc);
  doc.append("</EventNotification>");
  return answer::document(std::move(doc), content_type::xml);
}

// Each part of the body is applied as its own resource's PUT would apply
// it; only a schedule that cannot be stored is reported.
answer put_event(request& req, const route_args&) {
  xml_body body(req, "EventNotification", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  bool stored = true;
  for (xml_node part : body.root().children()) {
    if (part.is("EventTriggerList")) {
      for (xml_node trigger : part.children())
        if (trigger.is("EventTrigger")) apply_trigger(req, trigger);
    } else if (part.is("EventSchedule")) {
      stored = apply_schedule(req, part) && stored;
    } else if (part.is("EventNotificationMethods")) {
      apply_notification_methods(req, part);
    }
  }
  return answer::status(stored ? kStatusOk : kStatusDeviceError);
}

}  // namespace psia
