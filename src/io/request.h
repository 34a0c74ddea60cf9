// The request in hand, as a handler sees it: what the client sent, and the
// process's state it is served in.
#ifndef PSIA_IO_REQUEST_H
#define PSIA_IO_REQUEST_H

#include <string>

#include "io/request_context.h"

namespace psia {

class Input;

// The CGI parameters the web server passes with a request; null when the
// request does not carry one.
struct RequestParams {
  const char* uri = nullptr;             // REQUEST_URI
  const char* method = nullptr;          // REQUEST_METHOD
  const char* query = nullptr;           // QUERY_STRING
  const char* content_length = nullptr;  // CONTENT_LENGTH
  const char* authorization = nullptr;   // HTTP_AUTHORIZATION
  const char* remote_addr = nullptr;     // REMOTE_ADDR
};

class Request {
 public:
  Request(request_context& context, const RequestParams& request_params, Input& input)
      : ctx(context), params(request_params), input_(input) {}
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  request_context& ctx;
  const RequestParams& params;

  Store& db() { return ctx.store; }
  ControlChannel& control() { return ctx.control; }
  Log& log() { return ctx.log; }
  CameraState& camera() { return ctx.camera; }
  std::string host_path(const std::string& absolute_path) const {
    return ctx.settings.host_path(absolute_path);
  }

  // Reads the body into the context's buffer; false when it cannot be had
  // whole (see RequestBody::read).
  bool read_body() { return ctx.body.read(input_, params.content_length); }
  // The body last read ("" when none).
  const char* body() const { return ctx.body.text(); }
  // Streams the body into a file (see store_request_body).
  bool store_body(const std::string& path) {
    return store_request_body(input_, params.content_length, path);
  }

 private:
  Input& input_;
};

}  // namespace psia

#endif  // PSIA_IO_REQUEST_H
