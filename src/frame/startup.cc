#include "frame/startup.h"

#include <csignal>
#include <cstring>

#include "frame/digest.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

const char kDatabasePath[] = "/usr/local/korvia/kkorvia.db";
// How long start-up waits for a database another process holds locked (the
// firmware writing it at boot) before it gives up.
constexpr int64_t kBusyPatienceUs = 10 * 1000000;

}  // namespace

bool start_up(request_context& ctx, camera_sharing sharing) {
  // A file-size limit ends an upload with an error instead of the process;
  // a connection closed under a write is that write's error.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  // Digest nonces are signed with the key every responder process shares.
  if (ctx.settings.schemes != auth_schemes::basic) {
    std::string problem;
    if (!load_nonce_key(nonce_key_path(ctx.settings), &ctx.camera.own().digest, &problem)) {
      ctx.log.error("PSIA: no Digest nonce key: %s\n", problem.c_str());
      return false;
    }
  }
  // A database without the camera's tables (an empty file, a half-written
  // copy) would turn every request into a 401 or a 3: it is refused here,
  // where the fault shows.
  switch (ctx.store.open_camera_database(ctx.settings.host_path(kDatabasePath), &ctx.clock,
                                         &ctx.log, kBusyPatienceUs)) {
    case store_open::opened: break;
    case store_open::busy: ctx.log.error("PSIA: database busy\n"); return false;
    case store_open::unusable: ctx.log.error("PSIA: DB Open Failed\n"); return false;
  }
  device_facts& device = ctx.camera.own().device;
  device.ptz_support = ctx.store.query_int(0, "select PTZSupport from Spec2");
  // Only the model family (its first three characters) is kept; the
  // streaming and PTZ handlers compare it with model codes.
  query_result model = ctx.store.query("select model from Spec");
  const char* cell = model.text(0, 0);
  copy_bounded(device.model_prefix, cell != nullptr ? cell : "");
  // Without the region the process still serves, as a camera of its own.
  ctx.camera.attach(ctx.settings.host_path(kRuntimeDirectory) + "/camera-state", sharing, ctx.clock,
                    ctx.log);
  if (ctx.settings.schemes != auth_schemes::basic) {
    // Every process signs with the key it read from the one file; a region
    // older than the file gets it too.
    camera_lock lock(ctx.camera);
    const digest_nonces& own = ctx.camera.own().digest;
    digest_nonces& shared = lock.shared().digest;
    std::memcpy(shared.key, own.key, sizeof shared.key);
    shared.key_loaded = own.key_loaded;
  }
  return ctx.control.attach(ctx.settings.request_queue_key, ctx.settings.reply_queue_key);
}

}  // namespace psia
