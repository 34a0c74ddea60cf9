// The parts of the event documents that the combined resources reuse: the
// trigger list, the schedule and the notification methods, each as an
// element to append and as a body element to apply.
#ifndef PSIA_RESOURCES_EVENT_EVENT_PARTS_H
#define PSIA_RESOURCES_EVENT_EVENT_PARTS_H

#include "io/request.h"
#include "io/xml_input.h"
#include "util/text_buffer.h"

namespace psia {

// False when the camera has no alarm input (no trigger to show).
bool camera_has_trigger(request& req);

// Elements without an XML declaration.
void append_trigger_list(request& req, text_buffer& doc);
void append_schedule(request& req, text_buffer& doc);
void append_notification_methods(request& req, text_buffer& doc);

// Apply one body element to the camera's one trigger, its schedule, or its
// notification destinations. The schedule reports whether it was stored.
void apply_trigger(request& req, xml_node trigger);
bool apply_schedule(request& req, xml_node schedule);
void apply_notification_methods(request& req, xml_node methods);

}  // namespace psia

#endif  // PSIA_RESOURCES_EVENT_EVENT_PARTS_H
