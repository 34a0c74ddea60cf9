#include "io/shared_camera.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "util/bounded_copy.h"
#include "util/clock.h"
#include "util/log.h"

namespace psia {

namespace {

constexpr int64_t kFirstPollUs = 20;
constexpr int64_t kLongestPollUs = 2000;

// The lock covers the header's first byte; the rest of the file is reached
// only through the mapping.
bool set_lock(int fd, short type) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = 0;
  range.l_len = 1;
  return fcntl(fd, F_OFD_SETLK, &range) == 0;
}

// As PUT /PSIA/System/time applies its zone: exported, or the system's.
void apply_zone(const char* zone) {
  if (zone[0] != '\0')
    setenv("TZ", zone, 1);
  else
    unsetenv("TZ");
  tzset();
}

}  // namespace

shared_camera::~shared_camera() { detach(); }

void shared_camera::detach() {
  if (region_ != nullptr) munmap(region_, sizeof *region_);
  if (fd_ >= 0) close(fd_);
  region_ = nullptr;
  fd_ = -1;
}

void shared_camera::reset(const camera_state& fresh) {
  device_facts device = own_.device;
  own_ = fresh;
  own_.device = device;
  applied_zone_[0] = '\0';
  seen_generation_ = 0;
  camera_lock lock(*this);
  if (lock.held()) rebuild(region_->parent_process);
}

bool shared_camera::attach(const std::string& path, camera_sharing sharing, clock_source& clock,
                           event_log& log) {
  detach();
  clock_ = &clock;
  log_ = &log;
  sharing_ = sharing;
  fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  const char* failed = nullptr;
  int error = 0;
  if (fd_ < 0) {
    failed = "open";
    error = errno;
  } else if (!lock(kLockWaitUs)) {
    failed = "lock";
    error = EAGAIN;
  }
  if (failed == nullptr) {
    struct stat st;
    bool sized = fstat(fd_, &st) == 0 && st.st_size == static_cast<off_t>(sizeof(camera_region));
    void* map = MAP_FAILED;
    if (!sized && ftruncate(fd_, sizeof(camera_region)) != 0) {
      failed = "size";
      error = errno;
    } else if ((map = mmap(nullptr, sizeof(camera_region), PROT_READ | PROT_WRITE, MAP_SHARED, fd_,
                           0)) == MAP_FAILED) {
      failed = "map";
      error = errno;
    } else {
      region_ = static_cast<camera_region*>(map);
      uint64_t parent = sharing == camera_sharing::whole_camera ? getppid() : 0;
      const camera_region& r = *region_;
      bool current = sized && r.magic == camera_region::kMagic &&
                     r.layout == camera_region::kLayout && r.size == sizeof(camera_region);
      if (!current || (sharing == camera_sharing::whole_camera && r.parent_process != parent)) {
        rebuild(parent);
      } else {
        const login_guard_table& mine = own_.guard.table();
        const login_guard_table& theirs = r.camera.guard.table();
        // Settings changed since the region was made: the guard starts
        // afresh with the new ones rather than run with the old.
        if (mine.attempts != theirs.attempts || mine.lockout_us != theirs.lockout_us ||
            mine.budget != theirs.budget)
          region_->camera.guard = own_.guard;
      }
      if (sharing == camera_sharing::whole_camera) {
        // A process started after a zone change (a replaced worker) applies
        // it from its first request.
        seen_generation_ = region_->zone_generation;
        if (region_->camera.current_zone[0] != '\0') take_zone(region_->camera.current_zone);
      }
    }
    unlock();
  }
  if (failed != nullptr) {
    detach();
    log.error("PSIA: shared camera state %s: %s (%s): this process keeps its own\n", path.c_str(),
              std::strerror(error), failed);
    return false;
  }
  return true;
}

void shared_camera::rebuild(uint64_t parent_process) {
  std::memset(static_cast<void*>(region_), 0, sizeof *region_);
  std::memcpy(static_cast<void*>(&region_->camera), &own_, sizeof own_);
  region_->layout = camera_region::kLayout;
  region_->size = sizeof(camera_region);
  region_->parent_process = parent_process;
  region_->magic = camera_region::kMagic;
}

bool shared_camera::lock(int64_t wait_us) {
  int64_t deadline = clock_->monotonic_us() + wait_us;
  for (int64_t pause = kFirstPollUs;;
       pause = pause * 2 > kLongestPollUs ? kLongestPollUs : pause * 2) {
    if (set_lock(fd_, F_WRLCK)) return true;
    if (errno != EAGAIN && errno != EACCES && errno != EINTR) return false;
    int64_t now = clock_->monotonic_us();
    if (now >= deadline) return false;
    clock_->sleep_us(pause < deadline - now ? pause : deadline - now);
  }
}

void shared_camera::unlock() { set_lock(fd_, F_UNLCK); }

void shared_camera::refresh() {
  if (region_ == nullptr || sharing_ != camera_sharing::whole_camera) return;
  if (__atomic_load_n(&region_->zone_generation, __ATOMIC_ACQUIRE) == seen_generation_) return;
  camera_lock lock(*this);
  if (!lock.held()) return;
  seen_generation_ = region_->zone_generation;
  take_zone(region_->camera.current_zone);
}

void shared_camera::take_zone(const char* zone) {
  copy_bounded(applied_zone_, zone);
  apply_zone(applied_zone_);
}

camera_lock::camera_lock(shared_camera& camera, int64_t wait_us)
    : camera_(camera), held_(camera.region_ != nullptr && camera.lock(wait_us)) {
  if (camera.region_ != nullptr && !held_)
    camera.log_->error("PSIA: the shared camera state stayed locked: this request uses its own\n");
}

camera_lock::~camera_lock() {
  if (held_) camera_.unlock();
}

camera_state& camera_lock::shared() { return held_ ? camera_.region_->camera : camera_.own_; }

camera_state& camera_lock::camera() {
  return held_ && camera_.sharing_ == camera_sharing::whole_camera ? camera_.region_->camera
                                                                   : camera_.own_;
}

void camera_lock::zone_changed() {
  camera_state& state = camera();
  if (&state != &camera_.own_) {
    __atomic_store_n(&camera_.region_->zone_generation, camera_.region_->zone_generation + 1,
                     __ATOMIC_RELEASE);
    camera_.seen_generation_ = camera_.region_->zone_generation;
  }
  camera_.take_zone(state.current_zone);
}

}  // namespace psia
