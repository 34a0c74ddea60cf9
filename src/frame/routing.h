// Routing of a request to its handler by path, method and access level.
#ifndef PSIA_FRAME_ROUTING_H
#define PSIA_FRAME_ROUTING_H

// One handler of any of the shapes the resource tree uses: no argument, a
// text (the full path, or the part after a prefix), a number from the path,
// or two texts (a trigger id and a notification id).
struct handler_call {
  constexpr handler_call() = default;
  constexpr handler_call(void (*f)()) : plain(f) {}
  constexpr handler_call(void (*f)(const char*)) : text(f) {}
  constexpr handler_call(void (*f)(int)) : number(f) {}
  constexpr handler_call(void (*f)(const char*, const char*)) : pair(f) {}
  void (*plain)() = nullptr;
  void (*text)(const char*) = nullptr;
  void (*number)(int) = nullptr;
  void (*pair)(const char*, const char*) = nullptr;
};

// The handler a request goes to, with its arguments. The texts point into
// the request path or into the target's own fields.
struct route_target {
  route_target() = default;
  route_target(const route_target&) = delete;
  route_target& operator=(const route_target&) = delete;

  handler_call call;
  const char* text = nullptr;
  const char* second = nullptr;
  int number = 0;
  char trigger_id[256] = {};
  char notification_id[256] = {};
};

// Finds the handler for a request. False when no rule takes it (the answer
// is then ResponseStatus 4).
bool route_request(const char* path, const char* method, int level,
                   route_target* target);

// Calls the one handler the routing table gives for the request, or answers
// ResponseStatus 4 when no rule takes it. `level` is the caller's access
// level (0..3).
void dispatch_request(const char* path, const char* method, int level);

#endif  // PSIA_FRAME_ROUTING_H
