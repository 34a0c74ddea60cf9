// The audit trail in syslog: every refused login and lock-out (facility
// auth) and every request that changes the camera (facility daemon), with
// the client's address and user. Nothing secret is written (no password,
// no Authorization header, no body), and every text from the request is
// made printable and cut to a fixed length, so a request can neither
// forge nor split a line.
#ifndef PSIA_FRAME_AUDIT_H
#define PSIA_FRAME_AUDIT_H

#include <cstddef>
#include <cstdint>

#include "io/answer.h"
#include "util/log.h"
#include "util/text_buffer.h"

namespace psia {

// Appends `text` with every byte outside printable ASCII (and '"' and '\')
// written as an escape, cut to `limit` characters with "..." behind when
// longer.
void append_printable(text_buffer& line, const char* text, size_t limit);

void audit_refused_login(Log& log, const char* address, const char* user, const char* reason);
void audit_lockout(Log& log, const char* address, int failures, int64_t lockout_us);
void audit_change(Log& log, const char* address, const char* user, const char* method,
                  const char* path, const Answer& answer);

}  // namespace psia

#endif  // PSIA_FRAME_AUDIT_H
