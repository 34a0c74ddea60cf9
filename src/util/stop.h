// Stopping on SIGTERM and SIGINT. The handlers only set a flag; whatever
// waits (the control daemon's reply, the database's busy handler, the
// queues at start-up, a sleep) looks at it and gives up, the request in
// hand is answered as if the wait had run out, and the request loop ends
// after it.
#ifndef PSIA_UTIL_STOP_H
#define PSIA_UTIL_STOP_H

namespace psia {

// Installs the handlers, without SA_RESTART: a blocking call such as
// accept() returns EINTR instead of carrying on. `also` (async-signal-safe,
// may be null) runs in the handler after the flag is set.
void install_stop_handlers(void (*also)());

// True once SIGTERM or SIGINT has arrived.
bool stop_requested();
// What the handlers do; and its undoing, for tests that play the signal.
void request_stop();
void cancel_stop();

}  // namespace psia

#endif  // PSIA_UTIL_STOP_H
