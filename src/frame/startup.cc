#include "frame/startup.h"

#include <csignal>

namespace psia {

namespace {

const char kDatabasePath[] = "/usr/local/korvia/kkorvia.db";

// Every table a resource reads. A database without them (an empty file, a
// half-written copy) would turn every request into a 401 or a 3; refusing
// it at start-up makes the fault show where it is.
const char kCameraTables[] =
    "select count(*) from sqlite_master where type='table' and upper(name) in "
    "('AUDIO','AUDIOSTREAM','CLIENTLIST','DATETIME','EVENT','FTPSERVER','NETWORK',"
    "'PTZCONTROL','PRESET','RELAY','SMTPSERVER','SENSOR','SERVICES','SPEC','SPEC2',"
    "'SYSTEM','USERACCOUNT','VIDEOCHANNEL','VIDEOSTREAM')";
constexpr int kCameraTableCount = 19;

}  // namespace

bool start_up(request_context& ctx) {
  // A file-size limit ends an upload with an error instead of the process;
  // a connection closed under a write is that write's error.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  if (!ctx.store.open(ctx.settings.host_path(kDatabasePath), &ctx.clock) ||
      ctx.store.query_int(0, kCameraTables) != kCameraTableCount) {
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
