#include "control/control_message.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "io/stream.h"
#include "util/request_context.h"

int control_reply_attempts(int32_t command) {
  switch (command) {
    case 9: case 10: case 11: case 12: case 32:
      return 1801;
    case 33:
      return 301;
    default:
      return 51;
  }
}

long init_control_message(control_message* msg) {
  std::memset(msg, 0, sizeof *msg);
  msg->mtype = static_cast<long>(getpid());
  return msg->mtype;
}

void send_control_message(control_message* msg) {
  const request_context& ctx = context();
  long mtype = msg->mtype;
  if (msgsnd(ctx.request_queue_id, msg, kControlMessageSize, 0) < 0) {
    stream_error("Send Message using Message Queue 1 Failed\n: %s\n",
                 std::strerror(errno));
    msg->status = 2;
    return;
  }
  int attempts = control_reply_attempts(msg->command);
  for (int i = 0; i < attempts; ++i) {
    std::memset(msg, 0, sizeof *msg);
    if (msgrcv(ctx.reply_queue_id, msg, kControlMessageSize, mtype,
               IPC_NOWAIT) >= 0) {
      if (msg->status > 2) msg->status = 3;
      return;
    }
    usleep(100000);
  }
  msg->status = 2;
}

int send_control_command(int32_t command) {
  control_message msg;
  init_control_message(&msg);
  msg.command = command;
  send_control_message(&msg);
  return msg.status;
}

void drain_control_queue(int queue_id) {
  struct msqid_ds state;
  if (msgctl(queue_id, IPC_STAT, &state) < 0) return;
  // Only the head of each message is taken; the rest is cut off.
  struct {
    long mtype;
    char head[12];
  } stale;
  for (msgqnum_t i = 0; i < state.msg_qnum; ++i) {
    msgrcv(queue_id, &stale, sizeof stale.head, 0, IPC_NOWAIT | MSG_NOERROR);
  }
}

int attach_control_queue(int key) {
  int id;
  while ((id = msgget(static_cast<key_t>(key), 0666)) < 0) sleep(1);
  drain_control_queue(id);
  return id;
}

void control_put_int(control_message* msg, size_t offset, int32_t value) {
  if (offset > kControlPayloadSize - sizeof value) return;
  std::memcpy(msg->payload + offset, &value, sizeof value);
}

void control_put_text(control_message* msg, size_t offset, size_t width,
                      const char* text) {
  if (offset >= kControlPayloadSize || width == 0) return;
  if (width > kControlPayloadSize - offset) width = kControlPayloadSize - offset;
  size_t n = text != nullptr ? std::strlen(text) : 0;
  if (n >= width) n = width - 1;
  if (n > 0) std::memcpy(msg->payload + offset, text, n);
  std::memset(msg->payload + offset + n, 0, width - n);
}

int32_t control_get_int(const control_message* msg, size_t offset) {
  int32_t value = 0;
  if (offset <= kControlPayloadSize - sizeof value)
    std::memcpy(&value, msg->payload + offset, sizeof value);
  return value;
}
