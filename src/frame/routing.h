// Routing of a request to its handler by path, method and access level.
#ifndef PSIA_FRAME_ROUTING_H
#define PSIA_FRAME_ROUTING_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Every handler of the resource tree: the request, and what its route took
// from the path.
using handler_fn = answer (*)(request& req, const route_args& route);

// The handler a request goes to, with its arguments, which may point into
// the request path.
struct route_target {
  route_target() = default;
  route_target(const route_target&) = delete;
  route_target& operator=(const route_target&) = delete;

  answer call(request& req) const { return handler(req, args); }

  handler_fn handler = nullptr;
  bool changes = false;  // the handler changes the camera
  route_args args;
};

// Finds the handler for a request; `level` is the caller's access level
// (0..3) and `ptz_support` the camera's Spec2.PTZSupport. False when no
// rule takes it (the answer is then ResponseStatus 4).
bool route_request(const char* path, const char* method, int level, int ptz_support,
                   route_target* target);

// Calls the one handler the routing table gives for the request, or
// answers ResponseStatus 4 when no rule takes it. `changes` tells whether
// a handler that changes the camera was called.
answer dispatch_request(request& req, const char* path, const char* method, int level,
                        bool* changes);

}  // namespace psia

#endif  // PSIA_FRAME_ROUTING_H
