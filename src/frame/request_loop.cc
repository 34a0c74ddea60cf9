#include "frame/request_loop.h"

#include "frame/audit.h"
#include "frame/authentication.h"
#include "frame/routing.h"

namespace psia {

namespace {

// Authentication behind the login guard: a login the guard holds back is
// refused before the database is asked anything. The guard is every
// responder process's: it is read and changed under the camera's lock,
// which is let go while the database checks the password.
authentication check_caller(request& req, const char* address) {
  request_context& ctx = req.ctx;
  int64_t now = ctx.clock.monotonic_us();
  address_key key = guard_key(address);
  login_guard::guard_verdict verdict;
  bool guard_reached;
  {
    camera_lock lock(ctx.camera);
    // A guard the other workers hold for longer than the lock's wait is not
    // replaced by this process's own: that would be a guard of its own,
    // with guesses of its own. The login is refused, and not counted.
    guard_reached = lock.held() || !ctx.camera.attached();
    login_guard& guard = lock.shared().guard;
    guard.end_refusal_windows(now, [&ctx](const address_key* from, int more) {
      char shown[64] = "";
      if (from != nullptr) guard_key_text(*from, shown, sizeof shown);
      audit_refusals_not_written(ctx.log, from != nullptr ? shown : nullptr, more);
    });
    verdict = guard.admit(key, now);
  }
  authentication who;
  if (!guard_reached) {
    read_caller(ctx, req.params.authorization, &who);
    who.refusal = refusal_reason::guard_unreachable;
  } else if (verdict == login_guard::guard_verdict::locked_out) {
    read_caller(ctx, req.params.authorization, &who);
    who.refusal = refusal_reason::locked_out;
  } else if (verdict != login_guard::guard_verdict::check) {
    // Without credentials it is no attempt, and the answer is the same.
    bool sent = read_caller(ctx, req.params.authorization, &who);
    who.refusal = !sent ? refusal_reason::no_credentials
                  : verdict == login_guard::guard_verdict::budget_spent
                      ? refusal_reason::budget_spent
                      : refusal_reason::table_full;
  } else {
    who = authenticate_request(req);
    // The check may have waited on a locked database.
    now = ctx.clock.monotonic_us();
    camera_lock lock(ctx.camera);
    login_guard& guard = lock.shared().guard;
    if (who.refusal == refusal_reason::none) {
      guard.succeeded(key, now);
    } else if (counts_as_failed_login(who.refusal)) {
      // A request without credentials is no attempt (browsers send one
      // before they ask their user), a database that could not be read
      // said nothing about the password, and neither did a refused scheme,
      // Digest parameters refused before the account was read, nor a
      // stale or replayed nonce with the right response.
      login_guard::failed_login failure = guard.failed(key, now);
      if (failure.lockout_us > 0) {
        char locked[64];
        guard_key_text(key, locked, sizeof locked);
        audit_lockout(ctx.log, locked, guard.table().attempts, failure.lockout_us);
      }
      if (failure.budget_spent) audit_budget_spent(ctx.log, guard.table().budget);
    }
  }
  // A stale nonce is the protocol at work (every few minutes a client),
  // not worth a line.
  if (who.refusal != refusal_reason::none && who.refusal != refusal_reason::no_credentials &&
      who.refusal != refusal_reason::stale_nonce &&
      (who.refusal == refusal_reason::guard_unreachable ||
       camera_lock(ctx.camera).shared().guard.refusal_written(key, now)))
    audit_refused_login(ctx.log, address, scheme_text(who.scheme), who.who.user,
                        refusal_text(who.refusal));
  return who;
}

}  // namespace

void serve_request(request_context& ctx, const request_params& params, input_stream& in,
                   output_stream& out) {
  // The previous request's body is not needed any more.
  ctx.body.clear();
  // A zone another responder process set is this one's from now on.
  ctx.camera.refresh();
  ctx.store.reopen_if_replaced();
  if (ctx.factory_store.is_open()) ctx.factory_store.reopen_if_replaced();
  request req(ctx, params, in);
  const char* address = params.remote_addr != nullptr ? params.remote_addr : "";
  authentication who = check_caller(req, address);
  if (who.refusal != refusal_reason::none) {
    write_answer(out, unauthorized_answer(ctx, who), params.uri);
    return;
  }
  // A request without a path or a method ends with no output at all.
  if (params.uri == nullptr || params.method == nullptr) return;
  bool changes = false;
  answer answer = dispatch_request(req, params.uri, params.method, who.level, &changes);
  write_answer(out, answer, params.uri);
  if (changes)
    audit_change(ctx.log, address, who.who.user, who.level, scheme_text(who.scheme), params.method,
                 params.uri, answer);
}

}  // namespace psia
