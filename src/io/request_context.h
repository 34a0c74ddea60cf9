// request_context: everything that outlives a request. It is made once at
// start-up (or once per test camera) and handed to every request; nothing
// of the process's state lives anywhere else. Resetting the process means
// making a new context.
//
// Two concerns: the infrastructure that serves requests (settings, clock,
// log, the databases, the control channel, the XML library, the body
// buffer), and the camera's state that requests read and change
// (camera_state.h: device facts, time zone, PTZ position, login guard),
// shared with the camera's other responder processes (shared_camera.h).
#ifndef PSIA_IO_REQUEST_CONTEXT_H
#define PSIA_IO_REQUEST_CONTEXT_H

#include <string>

#include "control/control_message.h"
#include "io/request_body.h"
#include "io/settings.h"
#include "io/shared_camera.h"
#include "io/xml_library.h"
#include "store/database.h"
#include "util/clock.h"
#include "util/log.h"

namespace psia {

struct request_context {
  request_context(runtime_settings process_settings, clock_source& process_clock)
      : settings(std::move(process_settings)),
        clock(process_clock),
        control(clock, log),
        camera(settings.login_attempts, settings.login_lockout, settings.login_budget) {}
  request_context(const request_context&) = delete;
  request_context& operator=(const request_context&) = delete;

  runtime_settings settings;
  clock_source& clock;
  event_log log;
  // The one connection to the configuration database; closed for good once
  // a device identifier has been made (see the System branch).
  config_store store;
  // The factory-default database, opened to store a new identifier and then
  // left open.
  config_store factory_store;
  control_channel control;
  xml_library xml;
  request_body body;

  // What requests read and change of the camera (camera_state.h), shared
  // with the other responder processes: changed only under a camera_lock.
  shared_camera camera;
};

}  // namespace psia

#endif  // PSIA_IO_REQUEST_CONTEXT_H
