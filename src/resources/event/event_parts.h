// The parts of the event documents that the combined resources reuse: the
// trigger list, the schedule and the notification methods, each as an
// element to append and as a body element to apply.
#ifndef PSIA_RESOURCES_EVENT_EVENT_PARTS_H
#define PSIA_RESOURCES_EVENT_EVENT_PARTS_H

#include <libxml/tree.h>

#include "util/text_buffer.h"

// False when the camera has no alarm input (no trigger to show).
bool camera_has_trigger();

// Elements without an XML declaration.
void append_trigger_list(TextBuffer& doc);
void append_schedule(TextBuffer& doc);
void append_notification_methods(TextBuffer& doc);

// Apply one body element to the camera's one trigger, its schedule, or its
// notification destinations. The schedule reports whether it was stored.
void apply_trigger(const xmlNode* trigger);
bool apply_schedule(const xmlNode* schedule);
void apply_notification_methods(const xmlNode* methods);

#endif  // PSIA_RESOURCES_EVENT_EVENT_PARTS_H
