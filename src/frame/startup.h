// Start-up of the responder: everything that happens before the first
// request is accepted.
#ifndef PSIA_FRAME_STARTUP_H
#define PSIA_FRAME_STARTUP_H

#include "util/request_context.h"

// Opens the configuration database, reads the device facts (PTZ support and
// model family), attaches to the control daemon's queues (waiting for them
// as long as it takes) and builds the time zone table. Returns false when
// the database cannot be opened: the responder cannot serve without it.
bool start_up(request_context& ctx);

// Serves one accepted request: authentication, then routing.
void serve_request();

#endif  // PSIA_FRAME_STARTUP_H
