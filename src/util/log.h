// Where the responder's complaints and its audit trail go. Every complaint
// goes to the error stream (the web server's error log, or standard error
// before the first request); errors that an operator must see (the
// database cannot be opened, the control daemon's queues are missing or
// refuse a command, memory is short) also go to syslog, facility daemon,
// where the camera's log reader shows them. The audit trail (logins
// refused, changes made) goes to syslog alone. Texts are formatted locally
// and written as bytes, cut at 512 bytes.
#ifndef PSIA_UTIL_LOG_H
#define PSIA_UTIL_LOG_H

#include <cstddef>
#include <functional>

#include "util/text_buffer.h"  // PSIA_PRINTF

namespace psia {

class event_log {
 public:
  using stream_sink = std::function<void(const char* text, size_t size)>;
  // `priority` is a syslog priority (LOG_ERR ...); `line` has no line end.
  using syslog_sink = std::function<void(int priority, const char* line)>;
  // The longest line written; longer ones are cut.
  static constexpr size_t kLineLimit = 511;

  // Standard error, and no syslog until one is set.
  event_log();

  void set_stream(stream_sink sink) { stream_ = std::move(sink); }
  void set_syslog(syslog_sink sink) { syslog_ = std::move(sink); }

  // A diagnostic line for the error stream only (a probe that failed, the
  // factory data unreadable): the request goes on.
  void diagnostic(const char* format, ...) PSIA_PRINTF(2, 3);
  // An error: the error stream and syslog (daemon.err).
  void error(const char* format, ...) PSIA_PRINTF(2, 3);
  // A line of the audit trail, syslog only; `priority` names the facility
  // (auth for logins, daemon for changes) and the level.
  void audit(int priority, const text_buffer& line);

 private:
  stream_sink stream_;
  syslog_sink syslog_;
};

}  // namespace psia

#endif  // PSIA_UTIL_LOG_H
