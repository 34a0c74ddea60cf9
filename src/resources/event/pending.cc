// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/event/event.h"

void get_event() { write_response_status(kStatusInvalidOperation); }
void put_event() { write_response_status(kStatusInvalidOperation); }
void get_event_trigger_list() { write_response_status(kStatusInvalidOperation); }
void put_event_trigger_list() { write_response_status(kStatusInvalidOperation); }
void post_trigger() { write_response_status(kStatusInvalidOperation); }
void delete_triggers() { write_response_status(kStatusInvalidOperation); }
void get_event_trigger(const char*) { write_response_status(kStatusInvalidOperation); }
void put_event_trigger(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_event_trigger_notifications(const char*) { write_response_status(kStatusInvalidOperation); }
void get_trigger_notifications(const char*) { write_response_status(kStatusInvalidOperation); }
void put_trigger_notifications(const char*) { write_response_status(kStatusInvalidOperation); }
void post_trigger_notification(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_trigger_notifications(const char*) { write_response_status(kStatusInvalidOperation); }
void get_trigger_notification(const char*, const char*) { write_response_status(kStatusInvalidOperation); }
void put_trigger_notification(const char*, const char*) { write_response_status(kStatusInvalidOperation); }
void delete_trigger_notification(const char*, const char*) { write_response_status(kStatusInvalidOperation); }
void get_event_schedule() { write_response_status(kStatusInvalidOperation); }
void put_event_schedule() { write_response_status(kStatusInvalidOperation); }
void get_event_notification() { write_response_status(kStatusInvalidOperation); }
void put_event_notification() { write_response_status(kStatusInvalidOperation); }
void get_mailings() { write_response_status(kStatusInvalidOperation); }
void put_mailings() { write_response_status(kStatusInvalidOperation); }
void post_mailing() { write_response_status(kStatusInvalidOperation); }
void delete_mailings() { write_response_status(kStatusInvalidOperation); }
void get_mailing(const char*) { write_response_status(kStatusInvalidOperation); }
void put_mailing(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_mailing(const char*) { write_response_status(kStatusInvalidOperation); }
void get_ftps() { write_response_status(kStatusInvalidOperation); }
void put_ftps() { write_response_status(kStatusInvalidOperation); }
void post_ftp() { write_response_status(kStatusInvalidOperation); }
void delete_ftps() { write_response_status(kStatusInvalidOperation); }
void get_ftp(const char*) { write_response_status(kStatusInvalidOperation); }
void put_ftp(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_ftp(const char*) { write_response_status(kStatusInvalidOperation); }
