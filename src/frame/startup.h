// Start-up of the responder: everything that happens before the first
// request is accepted.
#ifndef PSIA_FRAME_STARTUP_H
#define PSIA_FRAME_STARTUP_H

#include "io/request_context.h"

namespace psia {

// Opens the configuration database, reads the device facts (PTZ support and
// model family), maps the camera's shared state (shared_camera.h), and
// attaches to the control daemon's queues (waiting for
// them as long as it takes, or until a stop is requested). Returns false
// when the database cannot be opened (the responder cannot serve without
// it) or when stopped while waiting.
bool start_up(request_context& ctx, camera_sharing sharing = camera_sharing::whole_camera);

}  // namespace psia

#endif  // PSIA_FRAME_STARTUP_H
