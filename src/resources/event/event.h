// The Event branch (/PSIA/Custom/Event): the alarm-input trigger, its
// schedule, and the mail servers and FTP destinations events are sent to.
#ifndef PSIA_RESOURCES_EVENT_EVENT_H
#define PSIA_RESOURCES_EVENT_EVENT_H

// The whole event notification document.
void get_event();
void put_event();

// Triggers.
void get_event_trigger_list();
void put_event_trigger_list();
void post_trigger();
void delete_triggers();
void get_event_trigger(const char* trigger_id);
void put_event_trigger(const char* trigger_id);
void delete_event_trigger_notifications(const char* trigger_id);

// Per-trigger notification lists.
void get_trigger_notifications(const char* trigger_id);
void put_trigger_notifications(const char* trigger_id);
void post_trigger_notification(const char* trigger_id);
void delete_trigger_notifications(const char* trigger_id);
void get_trigger_notification(const char* trigger_id, const char* notification_id);
void put_trigger_notification(const char* trigger_id, const char* notification_id);
void delete_trigger_notification(const char* trigger_id,
                                 const char* notification_id);

// Schedule.
void get_event_schedule();
void put_event_schedule();

// Notification methods (the "one" handlers get the text after the prefix).
void get_event_notification();
void put_event_notification();
void get_mailings();
void put_mailings();
void post_mailing();
void delete_mailings();
void get_mailing(const char* id);
void put_mailing(const char* id);
void delete_mailing(const char* id);
void get_ftps();
void put_ftps();
void post_ftp();
void delete_ftps();
void get_ftp(const char* id);
void put_ftp(const char* id);
void delete_ftp(const char* id);

#endif  // PSIA_RESOURCES_EVENT_EVENT_H
