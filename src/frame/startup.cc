#include "frame/startup.h"

#include <strings.h>

#include <csignal>

namespace psia {

namespace {

const char kDatabasePath[] = "/usr/local/korvia/kkorvia.db";

// Every table a resource reads. A database without them (an empty file, a
// half-written copy) would turn every request into a 401 or a 3; refusing
// it at start-up makes the fault show where it is. The names are compared
// here rather than in SQL: compiling an IN list of nineteen names costs a
// CGI request several times what this one scan does.
const char* const kCameraTables[] = {"Audio",       "AudioStream",  "ClientList", "DateTime",
                                     "Event",       "FTPServer",    "Network",    "PTZControl",
                                     "Preset",      "Relay",        "SMTPServer", "Sensor",
                                     "Services",    "Spec",         "Spec2",      "System",
                                     "UserAccount", "VideoChannel", "VideoStream"};

bool has_camera_tables(Store& store) {
  QueryResult tables = store.query("select name from sqlite_master where type='table'");
  for (const char* wanted : kCameraTables) {
    bool found = false;
    for (int row = 0; row < tables.rows() && !found; ++row) {
      const char* name = tables.text(row, 0);
      found = name != nullptr && strcasecmp(name, wanted) == 0;
    }
    if (!found) return false;
  }
  return true;
}

}  // namespace

bool start_up(request_context& ctx) {
  // A file-size limit ends an upload with an error instead of the process;
  // a connection closed under a write is that write's error.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  ctx.guard = LoginGuard(ctx.settings.login_attempts, ctx.settings.login_lockout,
                         ctx.settings.login_budget);
  if (!ctx.store.open(ctx.settings.host_path(kDatabasePath), &ctx.clock) ||
      !has_camera_tables(ctx.store)) {
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
