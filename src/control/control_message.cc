#include "control/control_message.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "util/clock.h"
#include "util/log.h"

namespace psia {

namespace {

// The daemon is polled for its reply every 100 ms.
constexpr int64_t kPollUs = 100000;

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
  switch (command) {
    case 9:
    case 10:
    case 11:
    case 12:
    case 32: return 1801 * kPollUs;
    case 33: return 301 * kPollUs;
    default: return 51 * kPollUs;
  }
}

void ControlChannel::attach(int request_key, int reply_key) {
  request_queue_ = attach_queue(request_key);
  reply_queue_ = attach_queue(reply_key);
}

int ControlChannel::attach_queue(int key) {
  int id;
  bool told = false;
  while ((id = msgget(static_cast<key_t>(key), 0666)) < 0) {
    if (!told) log_.error("PSIA: control daemon queue %d missing, waiting for it\n", key);
    told = true;
    clock_.sleep_us(1000000);
  }
  drain_control_queue(id);
  return id;
}

int ControlChannel::send_control_message(control_message& msg) {
  long mtype = msg.mtype;
  if (msgsnd(request_queue_, &msg, kControlMessageSize, 0) < 0) {
    log_.error("Send Message using Message Queue 1 Failed\n: %s\n", std::strerror(errno));
    msg.status = 2;
    return msg.status;
  }
  int attempts = static_cast<int>(control_reply_wait_us(msg.command) / kPollUs);
  for (int i = 0; i < attempts; ++i) {
    std::memset(static_cast<void*>(&msg), 0, sizeof msg);
    if (msgrcv(reply_queue_, &msg, kControlMessageSize, mtype, IPC_NOWAIT) >= 0) {
      if (msg.status > 2) msg.status = 3;
      return msg.status;
    }
    clock_.sleep_us(kPollUs);
  }
  msg.status = 2;
  return msg.status;
}

int ControlChannel::send_command(int32_t command) {
  control_message msg(command);
  return send_control_message(msg);
}

void ControlChannel::drain_control_queue(int queue_id) {
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
