// Serving one request: authentication, routing, and the writing of the
// answer.
//
// The invariants a change must keep:
// - One writer. Handlers return their answer (an answer) and never touch
//   the output stream; serve_request writes each request's answer, once,
//   after the handler has returned. A handler that must answer twice or not
//   at all says so in the Answer it returns.
// - One state. Everything that outlives a request is in the
//   request_context handed in; a request leaves nothing anywhere else.
#ifndef PSIA_FRAME_REQUEST_LOOP_H
#define PSIA_FRAME_REQUEST_LOOP_H

#include "io/request.h"
#include "io/stream.h"

namespace psia {

void serve_request(request_context& ctx, const request_params& params, input_stream& in,
                   output_stream& out);

}  // namespace psia

#endif  // PSIA_FRAME_REQUEST_LOOP_H
