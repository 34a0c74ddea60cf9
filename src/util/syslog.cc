#include "util/syslog.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace psia {

bool syslog_socket::connect_socket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  fd_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (fd_.valid() && connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
    return true;
  fd_.reset();
  return false;
}

void syslog_socket::send(int priority, const char* line) {
  // The form the system's own syslog() sends: "<PRI>Mmm dd hh:mm:ss
  // ident[pid]: text", stamped in UTC. Not in local time: the process's
  // zone is the one a client last set for the documents (PUT time sets
  // TZ), and loggers such as BusyBox syslogd keep the sender's stamp.
  time_t now = clock_ != nullptr ? clock_->wall_time().tv_sec : time(nullptr);
  if (now != head_second_ || priority != head_priority_) {
    char stamp[32] = "";
    struct tm utc;
    if (gmtime_r(&now, &utc) != nullptr) strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", &utc);
    int n = std::snprintf(head_, sizeof head_, "<%d>%s %s[%d]: ", priority, stamp, ident_.c_str(),
                          static_cast<int>(getpid()));
    head_length_ = n < 0 ? 0 : std::min(static_cast<size_t>(n), sizeof head_ - 1);
    head_second_ = now;
    head_priority_ = priority;
  }
  char datagram[1024];
  size_t line_length = strnlen(line, sizeof datagram - 1 - head_length_);
  std::memcpy(datagram, head_, head_length_);
  std::memcpy(datagram + head_length_, line, line_length);
  size_t size = head_length_ + line_length;
  // A logger restarted since the last line needs a new connection.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!fd_.valid() && !connect_socket()) return;
    if (::send(fd_.get(), datagram, size, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0 || errno == EAGAIN)
      return;
    fd_.reset();
  }
}

}  // namespace psia
