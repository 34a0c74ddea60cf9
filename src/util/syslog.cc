#include "util/syslog.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace psia {

bool SyslogSocket::connect_socket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  fd_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (fd_.valid() && connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return true;
  fd_.reset();
  return false;
}

void SyslogSocket::send(int priority, const char* line) {
  // The form the system's own syslog() sends: "<PRI>Mmm dd hh:mm:ss
  // ident[pid]: text".
  char stamp[32] = "";
  time_t now = time(nullptr);
  struct tm local;
  if (localtime_r(&now, &local) != nullptr) strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", &local);
  char datagram[1024];
  int n = std::snprintf(datagram, sizeof datagram, "<%d>%s %s[%d]: %s", priority, stamp, ident_.c_str(),
                        static_cast<int>(getpid()), line);
  if (n < 0) return;
  size_t size = static_cast<size_t>(n) < sizeof datagram ? static_cast<size_t>(n) : sizeof datagram - 1;
  // A logger restarted since the last line needs a new connection.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!fd_.valid() && !connect_socket()) return;
    if (::send(fd_.get(), datagram, size, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0 || errno == EAGAIN) return;
    fd_.reset();
  }
}

}  // namespace psia
