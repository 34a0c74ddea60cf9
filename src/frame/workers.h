// Several responder processes on one socket, started by the responder
// itself, whoever hands it the socket (lighttpd, spawn-fcgi, systemd): they
// all accept on it, so a free one takes the next request while another
// waits on the control daemon. (lighttpd's max-procs would give each its
// own socket, and queue requests on a busy one's.)
#ifndef PSIA_FRAME_WORKERS_H
#define PSIA_FRAME_WORKERS_H

#include "util/clock.h"
#include "util/log.h"

namespace psia {

// With a count of 1, returns -1 at once: the process is the one worker.
// Otherwise forks `count` workers on the inherited socket (descriptor 0) and
// stays their parent: one that ends is replaced (a second later when it
// ended within a second of its start), and a stop (SIGTERM, SIGINT) ends
// them all, killing any still there after five seconds. A worker that
// fails within a second of its start (exit status not 0: it could not
// start up) ends them all too, and the parent with its status. The workers share the
// camera's state; a parent started afresh gives them a fresh one
// (io/shared_camera.h). Returns -1 in a worker, which goes on to serve; the
// parent's exit status otherwise.
int run_workers(int count, clock_source& clock, event_log& log);

}  // namespace psia

#endif  // PSIA_FRAME_WORKERS_H
