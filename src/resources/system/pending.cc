// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/system/system.h"

void put_reboot() { write_response_status(kStatusInvalidOperation); }
void put_update_firmware() { write_response_status(kStatusInvalidOperation); }
void get_configuration_data() { write_response_status(kStatusInvalidOperation); }
void put_configuration_data() { write_response_status(kStatusInvalidOperation); }
void put_factory_reset(const char*) { write_response_status(kStatusInvalidOperation); }
void get_device_info() { write_response_status(kStatusInvalidOperation); }
void put_device_info() { write_response_status(kStatusInvalidOperation); }
void get_device_status() { write_response_status(kStatusInvalidOperation); }
