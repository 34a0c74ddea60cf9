// The camera's state as every responder process of the camera sees it.
//
// Several responder processes serve the one FastCGI socket, and a client
// must not be able to tell them apart: a zone set through one is the zone
// of all, a failed login through one counts for all. So the run-time part
// of camera_state lives in one small region, a file in the responder's
// run-time directory mapped by each process, and is read and changed only
// under a lock on that file:
//
//   {
//     camera_lock lock(ctx.camera);
//     lock.shared().guard.failed(key, now);
//   }
//
// The lock is an open-file-description lock: each process opens the file
// itself (a descriptor inherited over fork would share the lock), and the
// kernel drops it when its holder dies, so a killed process cannot wedge
// the others. Waiting for it is bounded; a lock not had in time leaves the
// request with the process's own copy (camera_lock::held() says which).
// A lock is never held across a wait on anything else (the database, the
// control daemon).
//
// The region starts with a header (magic, layout, size) so that one left by
// another build is rebuilt instead of read with the wrong layout; under
// FastCGI it also names the process that started the responders (lighttpd,
// or psia-responder --start-workers), so that a web server started afresh
// starts from a fresh state, as one process would, while a worker it
// replaces finds the state of the others.
//
// A zone change carries a generation number: each process compares it
// before a request and applies the new zone (TZ) only when it changed. The
// guard's times are the system's monotonic clock, the same in every process.
#ifndef PSIA_IO_SHARED_CAMERA_H
#define PSIA_IO_SHARED_CAMERA_H

#include <cstdint>
#include <string>

#include "io/camera_state.h"

namespace psia {

class clock_source;
class event_log;

// What the region holds for this process.
enum class camera_sharing {
  // FastCGI: the whole run-time state; the processes are one camera.
  whole_camera,
  // CGI: the login guard (and what else guards logins) only; the zone and
  // the PTZ position stay the process's own, as they always were for a
  // program that lives for one request.
  guard_only,
};

struct camera_region {
  static constexpr uint32_t kMagic = 0x50534341;  // "PSCA"
  // Raised with every change of this struct or of camera_state's layout
  // that keeps its size.
  static constexpr uint32_t kLayout = 1;

  uint32_t magic;
  uint32_t layout;
  uint64_t size;
  // The process that started the responders (FastCGI), 0 under CGI.
  uint64_t parent_process;
  uint64_t unused_id;
  // Raised with each zone change; read without the lock (atomically).
  uint32_t zone_generation;
  uint32_t unused;
  camera_state camera;
};
static_assert(std::is_trivially_copyable<camera_state>::value,
              "the camera's state is shared as plain bytes");

class shared_camera {
 public:
  shared_camera(int login_attempts, int login_lockout_seconds, int login_budget)
      : own_(login_attempts, login_lockout_seconds, login_budget) {}
  ~shared_camera();
  shared_camera(const shared_camera&) = delete;
  shared_camera& operator=(const shared_camera&) = delete;

  // Maps the region at `path`, making it, or rebuilding one of another
  // layout, size or parent. False (the process then keeps its own state)
  // when it cannot: the reason is logged.
  bool attach(const std::string& path, camera_sharing sharing, clock_source& clock, event_log& log);
  bool attached() const { return region_ != nullptr; }
  // The state back to `fresh` (the device facts kept), in the region too.
  void reset(const camera_state& fresh);

  // The process's own state: the device facts, which each process reads at
  // start-up, and everything else when no region is attached.
  camera_state& own() { return own_; }
  const camera_state& own() const { return own_; }

  // Before each request: applies a zone another process set since the last
  // one. Only a compare when nothing changed.
  void refresh();
  // The zone this process applies ("" for the system's), as of its last
  // refresh or its own change.
  const char* applied_zone() const { return applied_zone_; }

  // The bound on a wait for the lock.
  static constexpr int64_t kLockWaitUs = 1000000;

 private:
  friend class camera_lock;
  bool lock(int64_t wait_us);
  void unlock();
  void detach();
  void rebuild(uint64_t parent_process);
  void take_zone(const char* zone);

  camera_state own_;
  camera_region* region_ = nullptr;
  int fd_ = -1;
  camera_sharing sharing_ = camera_sharing::whole_camera;
  clock_source* clock_ = nullptr;
  event_log* log_ = nullptr;
  uint32_t seen_generation_ = 0;
  char applied_zone_[sizeof own_.current_zone] = "";
};

// The state under the lock, for one short step of a request.
class camera_lock {
 public:
  explicit camera_lock(shared_camera& camera, int64_t wait_us = shared_camera::kLockWaitUs);
  ~camera_lock();
  camera_lock(const camera_lock&) = delete;
  camera_lock& operator=(const camera_lock&) = delete;

  // Whether the region is held (false: no region, or not had in time).
  bool held() const { return held_; }
  // The login guard (and the like): every process's.
  camera_state& shared();
  // The zone and the PTZ position: every process's under FastCGI, the
  // process's own under CGI.
  camera_state& camera();
  // Records that camera().current_zone changed: this process applies it
  // now, the others before their next request.
  void zone_changed();

 private:
  shared_camera& camera_;
  bool held_;
};

}  // namespace psia

#endif  // PSIA_IO_SHARED_CAMERA_H
