// Handlers of this branch that are not built yet: they answer
// ResponseStatus 4 (Invalid Operation) until they are.
#include "io/response.h"
#include "resources/media/media.h"

void get_streaming_channels() { write_response_status(kStatusInvalidOperation); }
void get_streaming_channel(const char*) { write_response_status(kStatusInvalidOperation); }
void get_streaming_channel_capabilities(const char*) { write_response_status(kStatusInvalidOperation); }
void put_streaming_channel(const char*) { write_response_status(kStatusInvalidOperation); }
void put_streaming_channels() { write_response_status(kStatusInvalidOperation); }
void post_streaming_channel() { write_response_status(kStatusInvalidOperation); }
void delete_streaming_channel(const char*) { write_response_status(kStatusInvalidOperation); }
void delete_streaming_channels() { write_response_status(kStatusInvalidOperation); }
