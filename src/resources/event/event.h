// The Event branch (/PSIA/Custom/Event): the alarm-input trigger, its
// schedule, and the mail servers and FTP destinations events are sent to.
#ifndef PSIA_RESOURCES_EVENT_EVENT_H
#define PSIA_RESOURCES_EVENT_EVENT_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// The whole event notification document.
Answer get_event(Request& req);
Answer put_event(Request& req);

// Triggers.
Answer get_event_trigger_list(Request& req);
Answer put_event_trigger_list(Request& req);
Answer post_trigger(Request& req);
Answer delete_triggers(Request& req);
Answer get_event_trigger(Request& req, const char* trigger_id);
Answer put_event_trigger(Request& req, const char* trigger_id);
Answer delete_event_trigger_notifications(Request& req, const char* trigger_id);

// Per-trigger notification lists.
Answer get_trigger_notifications(Request& req, const char* trigger_id);
Answer put_trigger_notifications(Request& req, const char* trigger_id);
Answer post_trigger_notification(Request& req, const char* trigger_id);
Answer delete_trigger_notifications(Request& req, const char* trigger_id);
Answer get_trigger_notification(Request& req, const char* trigger_id, const char* notification_id);
Answer put_trigger_notification(Request& req, const char* trigger_id, const char* notification_id);
Answer delete_trigger_notification(Request& req, const char* trigger_id,
                                   const char* notification_id);

// Schedule.
Answer get_event_schedule(Request& req);
Answer put_event_schedule(Request& req);

// Notification methods (the "one" handlers get the text after the prefix).
Answer get_event_notification(Request& req);
Answer put_event_notification(Request& req);
Answer get_mailings(Request& req);
Answer put_mailings(Request& req);
Answer post_mailing(Request& req);
Answer delete_mailings(Request& req);
Answer get_mailing(Request& req, const char* id);
Answer put_mailing(Request& req, const char* id);
Answer delete_mailing(Request& req, const char* id);
Answer get_ftps(Request& req);
Answer put_ftps(Request& req);
Answer post_ftp(Request& req);
Answer delete_ftps(Request& req);
Answer get_ftp(Request& req, const char* id);
Answer put_ftp(Request& req, const char* id);
Answer delete_ftp(Request& req, const char* id);

}  // namespace psia

#endif  // PSIA_RESOURCES_EVENT_EVENT_H
