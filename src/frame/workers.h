// Several responder processes on one socket, for a service manager that
// hands the socket to one process only (systemd, spawn-fcgi without -F).
// lighttpd (max-procs) starts its own.
#ifndef PSIA_FRAME_WORKERS_H
#define PSIA_FRAME_WORKERS_H

#include <string>

#include "util/clock.h"
#include "util/log.h"

namespace psia {

// Forks `count` workers on the inherited socket (descriptor 0) and stays
// their parent: one that ends is replaced (a second later when it ended
// within a second of its start), and a stop (SIGTERM, SIGINT) ends them
// all, killing any still there after five seconds. The region of the
// camera's state at `region_path` is removed first: a service started
// afresh starts from a fresh state. Returns -1 in a worker, which goes on
// to serve; the parent's exit status otherwise.
int run_workers(int count, const std::string& region_path, clock_source& clock, event_log& log);

}  // namespace psia

#endif  // PSIA_FRAME_WORKERS_H
