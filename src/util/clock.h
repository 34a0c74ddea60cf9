// The responder's sense of time: the camera's clock for the documents that
// show it, and a monotonic clock with sleeps for the waits on a locked
// database and on the control daemon. Tests put a clock of their own in the
// request context so that no test waits in real time.
#ifndef PSIA_UTIL_CLOCK_H
#define PSIA_UTIL_CLOCK_H

#include <sys/time.h>

#include <cstdint>

namespace psia {

class clock_source {
 public:
  virtual ~clock_source() = default;
  // The camera's clock (gettimeofday).
  virtual timeval wall_time() = 0;
  // Microseconds from an arbitrary start, never going back.
  virtual int64_t monotonic_us() = 0;
  virtual void sleep_us(int64_t us) = 0;
};

class system_clock final : public clock_source {
 public:
  timeval wall_time() override;
  int64_t monotonic_us() override;
  void sleep_us(int64_t us) override;
};

}  // namespace psia

#endif  // PSIA_UTIL_CLOCK_H
