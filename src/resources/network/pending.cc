// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/network/network.h"

void get_ip_address() { write_response_status(kStatusInvalidOperation); }

void put_ip_address() { write_response_status(kStatusInvalidOperation); }
void get_discovery() { write_response_status(kStatusInvalidOperation); }
void put_discovery() { write_response_status(kStatusInvalidOperation); }
void get_network_interface() { write_response_status(kStatusInvalidOperation); }
void put_network_interface() { write_response_status(kStatusInvalidOperation); }
void get_network_interface_list() { write_response_status(kStatusInvalidOperation); }
