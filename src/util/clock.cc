#include "util/clock.h"

#include <time.h>

#include <cerrno>

#include "util/stop.h"

namespace psia {

timeval system_clock::wall_time() {
  timeval now;
  gettimeofday(&now, nullptr);
  return now;
}

int64_t system_clock::monotonic_us() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

void system_clock::sleep_us(int64_t us) {
  if (us <= 0) return;
  timespec left = {static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
  // A signal cuts the sleep short only when it asks the responder to stop.
  while (nanosleep(&left, &left) != 0 && errno == EINTR && !stop_requested()) {
  }
}

}  // namespace psia
