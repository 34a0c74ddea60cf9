#include "frame/startup.h"

#include "control/control_message.h"
#include "frame/authentication.h"
#include "frame/routing.h"
#include "io/request_body.h"
#include "io/stream.h"
#include "resources/system/time_zone_table.h"
#include "store/database.h"
#include "util/bounded_copy.h"

namespace {

const char kDatabasePath[] = "/usr/local/korvia/kkorvia.db";

}  // namespace

bool start_up(request_context& ctx) {
  ctx.db = db_open(host_path(kDatabasePath).c_str());
  if (ctx.db == nullptr) {
    stream_error("PSIA: DB Open Failed\n");
    return false;
  }

  ctx.ptz_support = db_query_int(0, "select PTZSupport from Spec2");

  // Only the model family (its first three characters) is kept; the
  // streaming and PTZ handlers compare it with model codes.
  QueryResult model = db_query("select model from Spec");
  if (model.has_rows() && model.text(0, 0) != nullptr) {
    copy_bounded(ctx.model_prefix, model.text(0, 0));
    ctx.has_model_prefix = true;
  }

  ctx.request_queue_id = attach_control_queue(ctx.request_queue_key);
  ctx.reply_queue_id = attach_control_queue(ctx.reply_queue_key);

  ctx.time_zone_table = create_time_zone_pair_list();
  if (ctx.time_zone_table != nullptr) build_time_zone_table(ctx.time_zone_table);
  return true;
}

void serve_request() {
  // The previous request's body is not needed any more.
  release_request_body();
  int level = authenticate_request();
  if (level < 0) return;
  const char* path = request_env("REQUEST_URI");
  const char* method = request_env("REQUEST_METHOD");
  if (path == nullptr || method == nullptr) return;
  dispatch_request(path, method, level);
}
