// The Event branch (/PSIA/Custom/Event): the alarm-input trigger, its
// schedule, and the mail servers and FTP destinations events are sent to.
#ifndef PSIA_RESOURCES_EVENT_EVENT_H
#define PSIA_RESOURCES_EVENT_EVENT_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// The whole event notification document.
answer get_event(request& req, const route_args& route);
answer put_event(request& req, const route_args& route);

// Triggers (the trigger id is route.id).
answer get_event_trigger_list(request& req, const route_args& route);
answer put_event_trigger_list(request& req, const route_args& route);
answer post_trigger(request& req, const route_args& route);
answer delete_triggers(request& req, const route_args& route);
answer get_event_trigger(request& req, const route_args& route);
answer put_event_trigger(request& req, const route_args& route);
answer delete_event_trigger_notifications(request& req, const route_args& route);

// Per-trigger notification lists (the notification id is route.sub_id).
answer get_trigger_notifications(request& req, const route_args& route);
answer put_trigger_notifications(request& req, const route_args& route);
answer post_trigger_notification(request& req, const route_args& route);
answer delete_trigger_notifications(request& req, const route_args& route);
answer get_trigger_notification(request& req, const route_args& route);
answer put_trigger_notification(request& req, const route_args& route);
answer delete_trigger_notification(request& req, const route_args& route);

// Schedule.
answer get_event_schedule(request& req, const route_args& route);
answer put_event_schedule(request& req, const route_args& route);

// Notification methods (the "one" handlers' id is route.rest).
answer get_event_notification(request& req, const route_args& route);
answer put_event_notification(request& req, const route_args& route);
answer get_mailings(request& req, const route_args& route);
answer put_mailings(request& req, const route_args& route);
answer post_mailing(request& req, const route_args& route);
answer delete_mailings(request& req, const route_args& route);
answer get_mailing(request& req, const route_args& route);
answer put_mailing(request& req, const route_args& route);
answer delete_mailing(request& req, const route_args& route);
answer get_ftps(request& req, const route_args& route);
answer put_ftps(request& req, const route_args& route);
answer post_ftp(request& req, const route_args& route);
answer delete_ftps(request& req, const route_args& route);
answer get_ftp(request& req, const route_args& route);
answer put_ftp(request& req, const route_args& route);
answer delete_ftp(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_EVENT_EVENT_H
