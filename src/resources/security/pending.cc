// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/security/users.h"

void get_users() { write_response_status(kStatusInvalidOperation); }

void put_users() { write_response_status(kStatusInvalidOperation); }
void post_user() { write_response_status(kStatusInvalidOperation); }
void delete_users() { write_response_status(kStatusInvalidOperation); }
void get_user(const char*) { write_response_status(kStatusInvalidOperation); }
void put_user(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_user(const char*) { write_response_status(kStatusInvalidOperation); }
