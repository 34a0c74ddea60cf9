// The control channel: the request and reply System V message queues of the
// camera's control daemon. A handler that changed the configuration tells
// the daemon, waits for its reply, and usually answers with its status.
//
//   control_message msg;
//   init_control_message(&msg);
//   msg.command = kCommandSetTimeZone;
//   control_put_text(&msg, 0, 48, zone);
//   send_control_message(&msg);
//   write_response_status(msg.status);
#ifndef PSIA_CONTROL_CONTROL_MESSAGE_H
#define PSIA_CONTROL_CONTROL_MESSAGE_H

#include <cstddef>
#include <cstdint>

constexpr size_t kControlPayloadSize = 1120;
// What msgsnd and msgrcv are told: the message without its type word.
constexpr size_t kControlMessageSize = 1128;

// The message frame. The type word is a C long, as msgsnd wants it: 4 bytes
// on the camera (1132 bytes in all), 8 on a 64-bit build host. Payload
// offsets are counted from the start of `payload` and hold on both.
struct control_message {
  long mtype;       // the responder's process id: replies are matched by it
  int32_t command;  // command code
  int32_t status;   // 0 as sent; the daemon's status after the exchange
  unsigned char payload[kControlPayloadSize];
};
static_assert(sizeof(control_message) == sizeof(long) + kControlMessageSize,
              "control_message must have no padding");

// Command codes this responder sends.
enum control_command : int32_t {
  kCommandVideoInput = 2,
  kCommandAudio = 3,
  kCommandVideoStream = 4,
  kCommandSetTime = 6,
  kCommandSetTimeZone = 7,
  kCommandReboot = 8,
  kCommandFactoryReset = 10,
  kCommandConfigurationFile = 11,
  kCommandNetworkApply = 41,
  kCommandNetworkStatic = 42,
  kCommandRtspPort = 46,
  kCommandPtzKeyValue = 50,
  kCommandPtzPresetStore = 52,
  kCommandPtzPresetGoto = 53,
  kCommandPtzPresetDelete = 54,
  kCommandPtzControl = 61,
  kCommandPtzFrame = 63,
  kCommandPtzPosition = 65,
  kCommandUsers = 94,
};

// How many 100 ms polls a command waits for its reply: 1801 (about three
// minutes) for firmware, reset and configuration work, 301 for code 33,
// 51 (about five seconds) for everything else.
int control_reply_attempts(int32_t command);

// Clears the whole message and sets its type to the process id, which it
// returns.
long init_control_message(control_message* msg);

// Sends the message and waits for the reply. Afterwards the message holds
// the reply, its status mapped: above 2 becomes 3; no reply, or a failed
// send, leaves zeros with status 2.
void send_control_message(control_message* msg);

// The usual exchange of a command without payload: sends it, waits, and
// returns the reply's status (2 when the daemon did not answer).
int send_control_command(int32_t command);

// Removes whatever waits on a queue (stale replies of an earlier run).
void drain_control_queue(int queue_id);

// Obtains a queue of the control daemon (never creates it), trying once a
// second until it exists; then drains it.
int attach_control_queue(int key);

// Payload fields, bounded to the payload and to their width.
void control_put_int(control_message* msg, size_t offset, int32_t value);
void control_put_text(control_message* msg, size_t offset, size_t width,
                      const char* text);
int32_t control_get_int(const control_message* msg, size_t offset);

#endif  // PSIA_CONTROL_CONTROL_MESSAGE_H
