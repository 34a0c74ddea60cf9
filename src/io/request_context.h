// request_context: everything that outlives a request. It is made once at
// start-up (or once per test camera) and handed to every request; nothing
// of the process's state lives anywhere else. Resetting the process means
// making a new context.
//
// Two concerns: the infrastructure that serves requests (settings, clock,
// log, the databases, the control channel, the XML library, the body
// buffer), and the camera's state that requests read and change
// (camera_state.h: device facts, time zone, PTZ position, login guard).
#ifndef PSIA_IO_REQUEST_CONTEXT_H
#define PSIA_IO_REQUEST_CONTEXT_H

#include <string>

#include "control/control_message.h"
#include "io/camera_state.h"
#include "io/request_body.h"
#include "io/settings.h"
#include "io/xml_library.h"
#include "store/database.h"
#include "util/clock.h"
#include "util/log.h"

namespace psia {

struct request_context {
  request_context(Settings process_settings, Clock& process_clock)
      : settings(std::move(process_settings)),
        clock(process_clock),
        control(clock, log),
        camera(settings.login_attempts, settings.login_lockout, settings.login_budget) {}
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
  XmlLibrary xml;
  RequestBody body;

  // What requests read and change of the camera (camera_state.h).
  CameraState camera;
};

}  // namespace psia

#endif  // PSIA_IO_REQUEST_CONTEXT_H
