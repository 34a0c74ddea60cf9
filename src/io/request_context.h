// request_context: everything that outlives a request. It is made once at
// start-up (or once per test camera) and handed to every request; nothing
// of the process's state lives anywhere else. Resetting the process means
// making a new context.
#ifndef PSIA_IO_REQUEST_CONTEXT_H
#define PSIA_IO_REQUEST_CONTEXT_H

#include <string>

#include "control/control_message.h"
#include "io/request_body.h"
#include "io/settings.h"
#include "io/xml_input.h"
#include "store/database.h"
#include "util/clock.h"
#include "util/log.h"
#include "util/login_guard.h"

namespace psia {

// The last absolute PTZ position sent: the same position is not sent twice
// in a row.
struct PtzPosition {
  float azimuth = 0.0f;
  float elevation = 0.0f;
  float zoom = 0.0f;
};

struct request_context {
  request_context(Settings process_settings, Clock& process_clock)
      : settings(std::move(process_settings)),
        clock(process_clock),
        control(clock, log),
        guard(settings.login_attempts, settings.login_lockout) {}
  request_context(const request_context&) = delete;
  request_context& operator=(const request_context&) = delete;

  Settings settings;
  Clock& clock;
  Log log;
  // The one connection to the configuration database; closed for good once
  // a device identifier has been made (see the System branch).
  Store store;
  // The factory-default database, opened to store a new identifier and then
  // left open.
  Store factory_store;
  ControlChannel control;
  LoginGuard guard;
  XmlLibrary xml;
  RequestBody body;

  // Device facts read at start-up: Spec2.PTZSupport (only 2 opens the PTZ
  // branch) and the model family, the first three characters of Spec.model
  // (empty when unknown).
  int ptz_support = 0;
  std::string model_prefix;

  // The zone last given with PUT /PSIA/System/time (empty: none); the local
  // times this process prints follow it.
  char current_zone[64] = "";
  PtzPosition last_absolute;
};

}  // namespace psia

#endif  // PSIA_IO_REQUEST_CONTEXT_H
