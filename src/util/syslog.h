// A syslog client that cannot hold the service up: one datagram a line to
// the system logger's socket (/dev/log, below PSIA_ROOT when it is set),
// sent without waiting. A logger that is absent, gone or too busy to take
// the line loses it; the request in hand goes on.
#ifndef PSIA_UTIL_SYSLOG_H
#define PSIA_UTIL_SYSLOG_H

#include <ctime>
#include <string>

#include "util/clock.h"
#include "util/file.h"

namespace psia {

class syslog_socket {
 public:
  // The lines are stamped with `clock`'s wall time, the system's when null.
  syslog_socket(std::string socket_path, std::string ident, clock_source* clock = nullptr)
      : path_(std::move(socket_path)), ident_(std::move(ident)), clock_(clock) {}

  // `priority` is a syslog facility and level (LOG_DAEMON | LOG_ERR ...);
  // `line` has no line end.
  void send(int priority, const char* line);

 private:
  bool connect_socket();

  std::string path_;
  std::string ident_;
  clock_source* clock_;
  unique_fd fd_;
  // The head of the last line ("<PRI>Mmm dd hh:mm:ss ident[pid]: "), kept
  // while its second and priority last: a flood of refused logins is
  // logged without formatting a time for each.
  time_t head_second_ = -1;
  int head_priority_ = -1;
  char head_[96] = "";
  size_t head_length_ = 0;
};

}  // namespace psia

#endif  // PSIA_UTIL_SYSLOG_H
