#include "frame/request_loop.h"

#include "frame/authentication.h"
#include "frame/routing.h"

namespace psia {

void serve_request(request_context& ctx, const RequestParams& params, Input& in, Output& out) {
  // The previous request's body is not needed any more.
  ctx.body.clear();
  Request req(ctx, params, in);
  authentication who = authenticate_request(req);
  if (who.refusal != Refusal::none) {
    write_answer(out, Answer::unauthorized(), params.uri);
    return;
  }
  // A request without a path or a method ends with no output at all.
  if (params.uri == nullptr || params.method == nullptr) return;
  Answer answer = dispatch_request(req, params.uri, params.method, who.level);
  write_answer(out, answer, params.uri);
}

}  // namespace psia
