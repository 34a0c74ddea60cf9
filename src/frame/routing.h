// Routing of a request to its handler by path, method and access level.
#ifndef PSIA_FRAME_ROUTING_H
#define PSIA_FRAME_ROUTING_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// One handler of any of the shapes the resource tree uses: no argument, a
// text (the full path, or the part after a prefix), a number from the path,
// or two texts (a trigger id and a notification id).
struct handler_call {
  constexpr handler_call() = default;
  constexpr handler_call(Answer (*f)(Request&)) : plain(f) {}
  constexpr handler_call(Answer (*f)(Request&, const char*)) : text(f) {}
  constexpr handler_call(Answer (*f)(Request&, int)) : number(f) {}
  constexpr handler_call(Answer (*f)(Request&, const char*, const char*)) : pair(f) {}
  Answer (*plain)(Request&) = nullptr;
  Answer (*text)(Request&, const char*) = nullptr;
  Answer (*number)(Request&, int) = nullptr;
  Answer (*pair)(Request&, const char*, const char*) = nullptr;
};

// The handler a request goes to, with its arguments. The texts point into
// the request path or into the target's own fields.
struct route_target {
  route_target() = default;
  route_target(const route_target&) = delete;
  route_target& operator=(const route_target&) = delete;

  // Calls the handler with its arguments.
  Answer call(Request& req) const;

  handler_call handler;
  bool changes = false;  // the handler changes the camera
  const char* text = "";
  const char* second = "";
  int number = 0;
  char trigger_id[256] = {};
  char notification_id[256] = {};
};

// Finds the handler for a request; `level` is the caller's access level
// (0..3) and `ptz_support` the camera's Spec2.PTZSupport. False when no
// rule takes it (the answer is then ResponseStatus 4).
bool route_request(const char* path, const char* method, int level, int ptz_support,
                   route_target* target);

// Calls the one handler the routing table gives for the request, or
// answers ResponseStatus 4 when no rule takes it. `changes` tells whether
// a handler that changes the camera was called.
Answer dispatch_request(Request& req, const char* path, const char* method, int level, bool* changes);

}  // namespace psia

#endif  // PSIA_FRAME_ROUTING_H
