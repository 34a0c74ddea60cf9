#include "frame/startup.h"

namespace psia {

namespace {

const char kDatabasePath[] = "/usr/local/korvia/kkorvia.db";

}  // namespace

bool start_up(request_context& ctx) {
  if (!ctx.store.open(ctx.settings.host_path(kDatabasePath), &ctx.clock)) {
    ctx.log.error("PSIA: DB Open Failed\n");
    return false;
  }
  ctx.ptz_support = ctx.store.query_int(0, "select PTZSupport from Spec2");
  // Only the model family (its first three characters) is kept; the
  // streaming and PTZ handlers compare it with model codes.
  QueryResult model = ctx.store.query("select model from Spec");
  const char* cell = model.text(0, 0);
  ctx.model_prefix = cell != nullptr ? std::string(cell).substr(0, 3) : "";
  ctx.control.attach(ctx.settings.request_queue_key, ctx.settings.reply_queue_key);
  return true;
}

}  // namespace psia
