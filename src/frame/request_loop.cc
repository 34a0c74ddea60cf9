#include "frame/request_loop.h"

#include "frame/audit.h"
#include "frame/authentication.h"
#include "frame/routing.h"

namespace psia {

namespace {

// Authentication behind the login guard: an address locked out is refused
// before the database is asked anything.
authentication check_caller(Request& req, const char* address) {
  request_context& ctx = req.ctx;
  int64_t now = ctx.clock.monotonic_us();
  authentication who;
  if (ctx.camera.guard.locked(address, now)) {
    read_credentials(req.params.authorization, &who.who);
    who.refusal = Refusal::locked_out;
  } else {
    who = authenticate_request(req);
    if (who.refusal == Refusal::none) {
      ctx.camera.guard.succeeded(address);
    } else if (who.refusal != Refusal::no_credentials) {
      // A request without credentials is no attempt: browsers send one
      // before they ask their user.
      int64_t lockout = ctx.camera.guard.failed(address, now);
      if (lockout > 0) audit_lockout(ctx.log, address, ctx.settings.login_attempts, lockout);
    }
  }
  if (who.refusal != Refusal::none && who.refusal != Refusal::no_credentials)
    audit_refused_login(ctx.log, address, who.who.user, refusal_text(who.refusal));
  return who;
}

}  // namespace

void serve_request(request_context& ctx, const RequestParams& params, Input& in, Output& out) {
  // The previous request's body is not needed any more.
  ctx.body.clear();
  ctx.store.reopen_if_replaced();
  if (ctx.factory_store.is_open()) ctx.factory_store.reopen_if_replaced();
  Request req(ctx, params, in);
  const char* address = params.remote_addr != nullptr ? params.remote_addr : "";
  authentication who = check_caller(req, address);
  if (who.refusal != Refusal::none) {
    write_answer(out, Answer::unauthorized(), params.uri);
    return;
  }
  // A request without a path or a method ends with no output at all.
  if (params.uri == nullptr || params.method == nullptr) return;
  bool changes = false;
  Answer answer = dispatch_request(req, params.uri, params.method, who.level, &changes);
  write_answer(out, answer, params.uri);
  if (changes) audit_change(ctx.log, address, who.who.user, params.method, params.uri, answer);
}

}  // namespace psia
