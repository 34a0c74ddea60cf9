// The request in hand, as a handler sees it: what the client sent, the
// arguments its route took from the path, and the process's state it is
// served in.
#ifndef PSIA_IO_REQUEST_H
#define PSIA_IO_REQUEST_H

#include <string>

#include "io/request_context.h"

namespace psia {

class input_stream;

// The CGI parameters the web server passes with a request; null when the
// request does not carry one.
struct request_params {
  const char* uri = nullptr;             // REQUEST_URI
  const char* method = nullptr;          // REQUEST_METHOD
  const char* query = nullptr;           // QUERY_STRING
  const char* content_length = nullptr;  // CONTENT_LENGTH
  const char* authorization = nullptr;   // HTTP_AUTHORIZATION
  const char* remote_addr = nullptr;     // REMOTE_ADDR
};

// What a route takes from the path for its handler. Every handler is given
// all of it and reads what its route provides.
struct route_args {
  route_args() = default;
  route_args(const route_args&) = delete;  // id and sub_id may point into it
  route_args& operator=(const route_args&) = delete;

  // The path after the route's prefix ("" when it is the whole path).
  const char* rest = "";
  // The rows split further (triggers, PTZ channels), whose rest is "<id>"
  // or "<id>/<sub-path>": the number <id> begins with (a PTZ channel) or,
  // where the row says so, the one after its word (a preset after
  // "presets/"); <id> itself (a trigger id); and the text after the row's
  // word (a notification id after "notifications/").
  int number = 0;
  const char* id = "";
  const char* sub_id = "";
  // Where <id> and sub_id are kept when they are cut out of the path, each
  // to 255 characters; an <id> that is the whole rest is not copied.
  char id_text[256] = {};
  char sub_id_text[256] = {};
};

class request {
 public:
  request(request_context& context, const request_params& request_params, input_stream& input)
      : ctx(context), params(request_params), input_(input) {}
  request(const request&) = delete;
  request& operator=(const request&) = delete;

  request_context& ctx;
  const request_params& params;

  config_store& db() { return ctx.store; }
  control_channel& control() { return ctx.control; }
  event_log& log() { return ctx.log; }
  // The device facts; what requests change is reached through a
  // camera_lock on ctx.camera.
  const camera_state& camera() { return ctx.camera.own(); }
  std::string host_path(const std::string& absolute_path) const {
    return ctx.settings.host_path(absolute_path);
  }

  // Reads the body into the context's buffer; false when it cannot be had
  // whole (see request_body::read).
  bool read_body() { return ctx.body.read(input_, params.content_length); }
  // The body last read ("" when none).
  const char* body() const { return ctx.body.text(); }
  // Streams the body into a file (see store_request_body).
  bool store_body(const std::string& path) {
    return store_request_body(input_, params.content_length, path);
  }

 private:
  input_stream& input_;
};

}  // namespace psia

#endif  // PSIA_IO_REQUEST_H
