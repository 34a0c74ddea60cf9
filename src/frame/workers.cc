#include "frame/workers.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "util/stop.h"

namespace psia {

namespace {

constexpr int64_t kPollUs = 200000;
constexpr int64_t kQuickEndUs = 1000000;
constexpr int64_t kStopWaitUs = 5000000;

struct worker {
  pid_t pid = -1;
  int64_t started = 0;
};

// 0 in the new worker, 1 in the parent, -1 when fork failed.
int start_worker(worker* w, clock_source& clock, event_log& log) {
  pid_t pid = fork();
  if (pid == 0) {
    // A parent killed outright (not stopped) takes its workers with it.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() == 1) _exit(0);
    return 0;
  }
  if (pid < 0) {
    log.error("PSIA: cannot start a worker: %s\n", std::strerror(errno));
    return -1;
  }
  w->pid = pid;
  w->started = clock.monotonic_us();
  return 1;
}

}  // namespace

int run_workers(int count, clock_source& clock, event_log& log) {
  if (count <= 1) return -1;  // the process serves alone, as it always did
  std::vector<worker> workers(static_cast<size_t>(count));
  for (worker& w : workers) {
    int started = start_worker(&w, clock, log);
    if (started == 0) return -1;
  }
  int failed = 0;
  while (!stop_requested() && failed == 0) {
    int status = 0;
    pid_t ended = waitpid(-1, &status, WNOHANG);
    if (ended <= 0) {
      clock.sleep_us(kPollUs);
    }
    for (worker& w : workers) {
      if (ended > 0 && w.pid != ended) continue;
      if (ended > 0) {
        w.pid = -1;
        bool quick = clock.monotonic_us() - w.started < kQuickEndUs;
        // A worker that could not start (no database) ends them all: the
        // responder cannot serve, as a single process would say.
        if (quick && WIFEXITED(status) && WEXITSTATUS(status) != 0) {
          failed = WEXITSTATUS(status);
          break;
        }
        log.error("PSIA: worker %d ended (status %d); starting another\n", static_cast<int>(ended),
                  WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
        // One that keeps crashing at once is not restarted in a loop.
        if (quick) clock.sleep_us(kQuickEndUs);
      }
      if (w.pid < 0 && !stop_requested() && failed == 0 && start_worker(&w, clock, log) == 0)
        return -1;
    }
  }
  for (worker& w : workers)
    if (w.pid > 0) kill(w.pid, SIGTERM);
  int64_t deadline = clock.monotonic_us() + kStopWaitUs;
  for (worker& w : workers) {
    while (w.pid > 0) {
      pid_t ended = waitpid(w.pid, nullptr, WNOHANG);
      if (ended == w.pid || (ended < 0 && errno != EINTR)) {
        w.pid = -1;
      } else if (clock.monotonic_us() >= deadline) {
        kill(w.pid, SIGKILL);
        waitpid(w.pid, nullptr, 0);
        w.pid = -1;
      } else {
        clock.sleep_us(10000);
      }
    }
  }
  return failed;
}

}  // namespace psia
