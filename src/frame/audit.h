// The audit trail in syslog: every refused login and lock-out (facility
// auth) and every request that changes the camera (facility daemon), with
// the client's address, user and scheme (and for a change the account's
// level). Nothing secret is written (no password,
// no Authorization header, no body), and every text from the request is
// made printable and bounded by its escaped size, so a request can neither
// forge nor split a line. The fixed fields (source, user, method, outcome)
// come first and the path last, cut to the room left: every line fits the
// log's line limit whole.
#ifndef PSIA_FRAME_AUDIT_H
#define PSIA_FRAME_AUDIT_H

#include <cstddef>
#include <cstdint>

#include "io/answer.h"
#include "util/log.h"
#include "util/text_buffer.h"

namespace psia {

// Appends `text` with every byte outside printable ASCII (and '"' and '\')
// written as an escape, in at most `limit` bytes: a text that does not fit
// is cut before an escape, never inside one, with "..." behind.
void append_printable(text_buffer& line, const char* text, size_t limit);

// `scheme`: "Basic" or "Digest".
void audit_refused_login(event_log& log, const char* address, const char* scheme, const char* user,
                         const char* reason);
// The refusals of one address (`address` null: of addresses too many to
// follow one by one) that were not written in the minute that ended.
void audit_refusals_not_written(event_log& log, const char* address, int more);
void audit_lockout(event_log& log, const char* address, int failures, int64_t lockout_us);
void audit_budget_spent(event_log& log, int budget);
// `level`: the account's access level.
void audit_change(event_log& log, const char* address, const char* user, int level,
                  const char* scheme, const char* method, const char* path, const answer& answer);

}  // namespace psia

#endif  // PSIA_FRAME_AUDIT_H
