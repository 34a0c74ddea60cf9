// The Event branch (/PSIA/Custom/Event): the alarm-input trigger, its
// schedule, and the mail servers and FTP destinations events are sent to.
#ifndef PSIA_RESOURCES_EVENT_EVENT_H
#define PSIA_RESOURCES_EVENT_EVENT_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// The whole event notification document.
Answer get_event(Request& req, const RouteArgs& route);
Answer put_event(Request& req, const RouteArgs& route);

// Triggers (the trigger id is route.id).
Answer get_event_trigger_list(Request& req, const RouteArgs& route);
Answer put_event_trigger_list(Request& req, const RouteArgs& route);
Answer post_trigger(Request& req, const RouteArgs& route);
Answer delete_triggers(Request& req, const RouteArgs& route);
Answer get_event_trigger(Request& req, const RouteArgs& route);
Answer put_event_trigger(Request& req, const RouteArgs& route);
Answer delete_event_trigger_notifications(Request& req, const RouteArgs& route);

// Per-trigger notification lists (the notification id is route.sub_id).
Answer get_trigger_notifications(Request& req, const RouteArgs& route);
Answer put_trigger_notifications(Request& req, const RouteArgs& route);
Answer post_trigger_notification(Request& req, const RouteArgs& route);
Answer delete_trigger_notifications(Request& req, const RouteArgs& route);
Answer get_trigger_notification(Request& req, const RouteArgs& route);
Answer put_trigger_notification(Request& req, const RouteArgs& route);
Answer delete_trigger_notification(Request& req, const RouteArgs& route);

// Schedule.
Answer get_event_schedule(Request& req, const RouteArgs& route);
Answer put_event_schedule(Request& req, const RouteArgs& route);

// Notification methods (the "one" handlers' id is route.rest).
Answer get_event_notification(Request& req, const RouteArgs& route);
Answer put_event_notification(Request& req, const RouteArgs& route);
Answer get_mailings(Request& req, const RouteArgs& route);
Answer put_mailings(Request& req, const RouteArgs& route);
Answer post_mailing(Request& req, const RouteArgs& route);
Answer delete_mailings(Request& req, const RouteArgs& route);
Answer get_mailing(Request& req, const RouteArgs& route);
Answer put_mailing(Request& req, const RouteArgs& route);
Answer delete_mailing(Request& req, const RouteArgs& route);
Answer get_ftps(Request& req, const RouteArgs& route);
Answer put_ftps(Request& req, const RouteArgs& route);
Answer post_ftp(Request& req, const RouteArgs& route);
Answer delete_ftps(Request& req, const RouteArgs& route);
Answer get_ftp(Request& req, const RouteArgs& route);
Answer put_ftp(Request& req, const RouteArgs& route);
Answer delete_ftp(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_EVENT_EVENT_H
