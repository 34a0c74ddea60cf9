// The camera's state: what the responder knows and remembers about the
// camera between requests, apart from the infrastructure that serves them
// (request_context.h). Device facts are read once at start-up; the time
// zone and the PTZ position change with requests. Everything here is plain
// fixed fields (no owned memory, no pointers): the state lives in memory
// that every responder process of the camera shares (io/shared_camera.h),
// and anything added here is shared with it. The login guard keeps its own
// table (util/login_guard.h), and so do Digest logins (util/digest_nonces.h).
#ifndef PSIA_IO_CAMERA_STATE_H
#define PSIA_IO_CAMERA_STATE_H

#include <type_traits>

#include "util/digest_nonces.h"
#include "util/login_guard.h"

namespace psia {

// Read from the database at start-up: Spec2.PTZSupport (only 2 opens the
// PTZ branch) and the model family, the first three characters of
// Spec.model (empty when unknown).
struct device_facts {
  int ptz_support = 0;
  char model_prefix[4] = "";
};

// The last absolute PTZ position sent: the same position is not sent twice
// in a row.
struct ptz_position {
  float azimuth = 0.0f;
  float elevation = 0.0f;
  float zoom = 0.0f;
};

struct camera_state {
  camera_state(int login_attempts, int login_lockout_seconds, int login_budget)
      : guard(login_attempts, login_lockout_seconds, login_budget) {}

  device_facts device;
  // The zone last given with PUT /PSIA/System/time (empty: none); the local
  // times the responder prints follow it.
  char current_zone[64] = "";
  ptz_position last_absolute;
  login_guard guard;
  digest_nonces digest;
};

static_assert(std::is_trivially_copyable<device_facts>::value, "device facts are plain fields");
static_assert(std::is_trivially_copyable<ptz_position>::value, "the PTZ state is plain fields");
static_assert(std::is_trivially_copyable<digest_nonces>::value,
              "the nonce counts are plain fields");

}  // namespace psia

#endif  // PSIA_IO_CAMERA_STATE_H
