#include "util/stop.h"

#include <signal.h>

namespace psia {

namespace {

volatile sig_atomic_t stop_flag = 0;
void (*stop_also)() = nullptr;

void on_stop_signal(int) {
  stop_flag = 1;
  if (stop_also != nullptr) stop_also();
}

}  // namespace

void install_stop_handlers(void (*also)()) {
  stop_also = also;
  struct sigaction action = {};
  action.sa_handler = on_stop_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

bool stop_requested() { return stop_flag != 0; }

void request_stop() { stop_flag = 1; }

void cancel_stop() { stop_flag = 0; }

}  // namespace psia
