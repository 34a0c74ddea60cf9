// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/ptz/ptz.h"

void get_ptz_channel_list() { write_response_status(kStatusInvalidOperation); }
void put_ptz_channel_list() { write_response_status(kStatusInvalidOperation); }
void get_ptz_channel(int) { write_response_status(kStatusInvalidOperation); }
void put_ptz_channel(int) { write_response_status(kStatusInvalidOperation); }
void accept_ptz_noop() { write_response_status(kStatusInvalidOperation); }
void get_ptz_preset_list() { write_response_status(kStatusInvalidOperation); }
void put_ptz_preset_list() { write_response_status(kStatusInvalidOperation); }
void post_ptz_preset() { write_response_status(kStatusInvalidOperation); }
void delete_ptz_presets() { write_response_status(kStatusInvalidOperation); }
void get_ptz_preset(int) { write_response_status(kStatusInvalidOperation); }
void put_ptz_preset(int) { write_response_status(kStatusInvalidOperation); }
void goto_ptz_preset(int) { write_response_status(kStatusInvalidOperation); }
void delete_ptz_preset(int) { write_response_status(kStatusInvalidOperation); }
void put_ptz_home_position(int) { write_response_status(kStatusInvalidOperation); }
void put_ptz_continuous(int) { write_response_status(kStatusInvalidOperation); }
void put_ptz_absolute(int) { write_response_status(kStatusInvalidOperation); }
void reject_ptz_operation(int) { write_response_status(kStatusInvalidOperation); }
void get_ptz_status(int) { write_response_status(kStatusInvalidOperation); }
