#include "control/control_message.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "util/clock.h"
#include "util/log.h"
#include "util/stop.h"

namespace psia {

namespace {

// The daemon is polled for its reply with sleeps that start at 50 us and
// double up to 100 ms: a prompt daemon's reply is taken within a fraction
// of a millisecond (the first sleep lets it run), a slow one's within
// 100 ms of its coming.
constexpr int64_t kFirstPollUs = 50;
constexpr int64_t kLongestPollUs = 100000;

// Calls that did nothing yet and may be made again after a pause: a full
// request queue, no reply yet, a signal.
bool try_again(int error) { return error == EAGAIN || error == ENOMSG || error == EINTR; }

}  // namespace

control_message::control_message(int32_t command_code) {
  init_control_message(this);
  command = command_code;
}

long init_control_message(control_message* msg) {
  std::memset(static_cast<void*>(msg), 0, sizeof *msg);
  msg->mtype = static_cast<long>(getpid());
  return msg->mtype;
}

void control_message::put_int(size_t offset, int32_t value) {
  if (offset > kControlPayloadSize - sizeof value) return;
  std::memcpy(payload + offset, &value, sizeof value);
}

void control_message::put_text(size_t offset, size_t width, const char* text) {
  if (offset >= kControlPayloadSize || width == 0) return;
  if (width > kControlPayloadSize - offset) width = kControlPayloadSize - offset;
  size_t n = text != nullptr ? strnlen(text, width) : 0;
  if (n >= width) n = width - 1;
  if (n > 0) std::memcpy(payload + offset, text, n);
  std::memset(payload + offset + n, 0, width - n);
}

int32_t control_message::get_int(size_t offset) const {
  int32_t value = 0;
  if (offset <= kControlPayloadSize - sizeof value)
    std::memcpy(&value, payload + offset, sizeof value);
  return value;
}

int64_t control_reply_wait_us(int32_t command) {
  // The camera's daemon has always been given 1801, 301 or 51 polls of
  // 100 ms.
  switch (command) {
    case 9:
    case 10:
    case 11:
    case 12:
    case 32: return 180100000;
    case 33: return 30100000;
    default: return 5100000;
  }
}

bool control_channel::attach(int request_key, int reply_key) {
  request_key_ = request_key;
  reply_key_ = reply_key;
  for (int* id : {&request_queue_, &reply_queue_}) {
    int key = id == &request_queue_ ? request_key : reply_key;
    bool told = false;
    while (!lookup(key, id)) {
      if (stop_requested()) return false;
      if (!told) log_.error("PSIA: control daemon queue %d missing, waiting for it\n", key);
      told = true;
      clock_.sleep_us(1000000);
    }
    drain_control_queue(*id);
  }
  return true;
}

bool control_channel::lookup(int key, int* id) {
  *id = msgget(static_cast<key_t>(key), 0666);
  return *id >= 0;
}

bool control_channel::pause_before(int64_t deadline, int64_t* pause) {
  int64_t now = clock_.monotonic_us();
  if (now >= deadline || stop_requested()) return false;
  clock_.sleep_us(std::min(*pause, deadline - now));
  *pause = std::min(2 * *pause, kLongestPollUs);
  return true;
}

// A queue removed by a restarted daemon (EIDRM; or EINVAL, when its key
// names another queue now) is looked up again by its key: a request is
// then sent to the new queue after the pause, but a reply awaited on the
// removed one will not come. EINVAL for a queue that is still there is the
// kernel refusing the frame (its message size limit is below it), which no
// retry mends; nor does any other error.
control_channel::recovery_step control_channel::recover(queue_call call, int error,
                                                        int64_t deadline, int64_t* pause) {
  if (try_again(error))
    return pause_before(deadline, pause) ? recovery_step::retry : recovery_step::wait_over;
  if (error != EIDRM && error != EINVAL) return recovery_step::refused;
  int& queue = call == queue_call::send ? request_queue_ : reply_queue_;
  const int before = queue;
  bool found = lookup(request_key_, &request_queue_) && lookup(reply_key_, &reply_queue_);
  if (error == EINVAL && found && queue == before) return recovery_step::refused;
  if (call == queue_call::receive || !found) return recovery_step::wait_over;
  return pause_before(deadline, pause) ? recovery_step::retry : recovery_step::wait_over;
}

// A full queue (a daemon that stopped reading) is tried again until the
// command's wait is over, never waited on in the kernel.
bool control_channel::send_within(control_message& msg, int64_t deadline) {
  for (int64_t pause = kFirstPollUs;;) {
    int error = fault_ ? fault_(queue_call::send) : 0;
    if (error == 0) {
      if (msgsnd(request_queue_, &msg, kControlMessageSize, IPC_NOWAIT) == 0) return true;
      error = errno;
    }
    if (recover(queue_call::send, error, deadline, &pause) != recovery_step::retry) {
      log_.error("Send Message using Message Queue 1 Failed\n: %s\n", std::strerror(error));
      return false;
    }
  }
}

// Silence, a stop, or a restarted daemon's new queues (the next command
// finds them) end the wait quietly; a refused call is told.
bool control_channel::receive_within(control_message& msg, long mtype, int64_t deadline) {
  for (int64_t pause = kFirstPollUs;;) {
    std::memset(static_cast<void*>(&msg), 0, sizeof msg);
    int error = fault_ ? fault_(queue_call::receive) : 0;
    if (error == 0) {
      // A reply larger than the frame is taken cut to it rather than left at
      // the head of the queue, where it would stand before every later reply.
      if (msgrcv(reply_queue_, &msg, kControlMessageSize, mtype, IPC_NOWAIT | MSG_NOERROR) >= 0)
        return true;
      error = errno;
    }
    recovery_step next = recover(queue_call::receive, error, deadline, &pause);
    if (next == recovery_step::retry) continue;
    if (next == recovery_step::refused)
      log_.error("Receive Message using Message Queue 2 Failed\n: %s\n", std::strerror(error));
    return false;
  }
}

control_result control_channel::send_control_message(control_message& msg) {
  long mtype = msg.mtype;
  int64_t deadline = clock_.monotonic_us() + control_reply_wait_us(msg.command);
  if (request_queue_ < 0 || reply_queue_ < 0) {
    lookup(request_key_, &request_queue_);
    lookup(reply_key_, &reply_queue_);
  }
  drop_late_replies(mtype);
  if (!send_within(msg, deadline) || !receive_within(msg, mtype, deadline)) {
    std::memset(static_cast<void*>(&msg), 0, sizeof msg);
    return control_result::no_reply;
  }
  switch (msg.status) {
    case 1: return control_result::ok;
    case 2: return control_result::busy;
    default: return control_result::failed;
  }
}

void control_channel::drop_late_replies(long mtype) {
  if (reply_queue_ < 0) return;
  control_message late;
  for (int i = 0; i < kMostLateReplies; ++i)
    if (msgrcv(reply_queue_, &late, kControlMessageSize, mtype, IPC_NOWAIT | MSG_NOERROR) < 0)
      return;
}

control_result control_channel::send_command(int32_t command) {
  control_message msg(command);
  return send_control_message(msg);
}

void control_channel::drain_control_queue(int queue_id) {
  struct msqid_ds state;
  if (msgctl(queue_id, IPC_STAT, &state) < 0) return;
  // Only the head of each message is taken; the rest is cut off.
  struct {
    long mtype;
    char head[12];
  } stale;
  for (msgqnum_t i = 0; i < state.msg_qnum; ++i)
    msgrcv(queue_id, &stale, sizeof stale.head, 0, IPC_NOWAIT | MSG_NOERROR);
}

}  // namespace psia
