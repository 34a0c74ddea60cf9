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
#include "io/xml_library.h"
#include "store/database.h"
#include "util/clock.h"
#include "util/log.h"

namespace psia {

// Settings read once at start-up. Under FastCGI the environment is replaced
// by each request's parameters, so they cannot be read later.
struct Settings {
  std::string root;              // PSIA_ROOT, put in front of absolute paths
  int request_queue_key = 1111;  // PSIA_REQUEST_QUEUE_KEY
  int reply_queue_key = 2222;    // PSIA_REPLY_QUEUE_KEY
  // The device name shown when the database has none: HOSTNAME as the
  // responder was started, else the system's host name.
  std::string host_name;
  // The login guard (PSIA_LOGIN_ATTEMPTS failures in a row lock an address
  // out for PSIA_LOGIN_LOCKOUT seconds, doubling); 0 turns it off.
  int login_attempts = 10;
  int login_lockout = 60;

  // An absolute file path of the camera, moved below `root` when it is set.
  std::string host_path(const std::string& absolute_path) const;
};

// The settings of the process environment.
Settings load_settings();

struct request_context {
  request_context(Settings process_settings, Clock& process_clock)
      : settings(std::move(process_settings)),
        clock(process_clock),
        control(clock, log),
        camera(settings.login_attempts, settings.login_lockout) {}
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
