// The control channel: the request and reply System V message queues of the
// camera's control daemon. A handler that changed the configuration tells
// the daemon, waits for its reply, and usually answers with its status.
//
//   control_message msg(kCommandSetTimeZone);
//   msg.put_text(set_time_zone_payload::kZone, set_time_zone_payload::kZoneWidth, zone);
//   return answer::status(req.control().send_control_message(msg));
//
// The exchange's result is a control_result; answer::status maps it to the
// ResponseStatus code of the answer.
//
// The message layouts below are the daemon's wire format; the handlers, the
// simulator and the tests all use these names.
#ifndef PSIA_CONTROL_CONTROL_MESSAGE_H
#define PSIA_CONTROL_CONTROL_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace psia {

class clock_source;
class event_log;

constexpr size_t kControlPayloadSize = 1120;
// What msgsnd and msgrcv are told: the message without its type word.
constexpr size_t kControlMessageSize = 1128;

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

// Payload offsets, counted from the start of the payload (message byte 12).
// Most commands that carry data lead with a word that is always 0: a new
// message is zero-filled, so nothing writes it.
constexpr size_t kLeadingWord = 0;

struct video_input_payload {  // command 2
  static constexpr size_t kChannel = 0;
};
struct video_stream_payload {           // command 4
  static constexpr size_t kMaster = 4;  // 1 for the master stream
};
struct set_time_payload {             // command 6
  static constexpr size_t kMode = 0;  // 2 NTP, 0 manual
  static constexpr size_t kNtpServer = 4, kNtpServerWidth = 128;
  static constexpr size_t kInterval = 132;
  static constexpr size_t kYear = 136, kMonth = 140, kDay = 144;
  static constexpr size_t kHour = 148, kMinute = 152, kSecond = 156;
};
struct set_time_zone_payload {  // command 7
  static constexpr size_t kZone = 0, kZoneWidth = 48;
};
struct configuration_file_payload {  // command 11, the reply
  static constexpr size_t kFileName = 0;
};
struct ptz_key_value_payload {  // command 50: five name/value pairs
  static constexpr size_t kPairs = 5, kTextWidth = 48;
  static constexpr size_t name(size_t pair) { return 4 + 2 * kTextWidth * pair; }
  static constexpr size_t value(size_t pair) { return name(pair) + kTextWidth; }
};
struct ptz_preset_payload {  // commands 52, 53, 54
  static constexpr size_t kPreset = 4;
};
struct ptz_frame_payload {  // command 63: the frame as upper-case hex text
  static constexpr size_t kFrame = 4, kFrameWidth = 1024;
};
struct ptz_position_payload {  // command 65, the reply: the camera's frame
  static constexpr size_t kFrameType = 7;
  static constexpr unsigned char kPositionFrame = 0xA1;
  // Raw 16-bit values, high byte first.
  static constexpr size_t kAzimuth = 9, kElevation = 11, kZoom = 13;
};

// The message frame. The type word is a C long, as msgsnd wants it: 4 bytes
// on the camera (1132 bytes in all), 8 on a 64-bit build host. Payload
// offsets hold on both.
struct control_message {
  long mtype;       // the responder's process id: replies are matched by it
  int32_t command;  // command code
  int32_t status;   // 0 as sent; the daemon's status after the exchange
  unsigned char payload[kControlPayloadSize];

  // A cleared message for `command` from this process.
  explicit control_message(int32_t command_code = 0);

  // Payload fields, bounded to the payload and to their width; a text is
  // cut to width - 1 characters and zero-filled behind.
  void put_int(size_t offset, int32_t value);
  void put_text(size_t offset, size_t width, const char* text);
  int32_t get_int(size_t offset) const;
};
static_assert(sizeof(control_message) == sizeof(long) + kControlMessageSize,
              "control_message must have no padding");

// What became of a command sent to the control daemon.
enum class control_result {
  ok,        // the daemon replied with status 1: done
  busy,      // the daemon replied with status 2
  failed,    // the daemon replied with any other status (0, negative, 3 and up)
  no_reply,  // no reply within the command's wait, or the command not sent
};

// The queue call a test's fault stands in for.
enum class queue_call { send, receive };

// Clears the whole message and sets its type to the process id, which it
// returns.
long init_control_message(control_message* msg);

// How long a command waits for its reply: about three minutes for
// firmware, reset and configuration work (9, 10, 11, 12, 32), half a minute
// for 33, five seconds for everything else.
int64_t control_reply_wait_us(int32_t command);

// The exchange with the control daemon. Its waits are bounded by the
// command's wait whatever the daemon or the kernel does: a full request
// queue (a hung daemon), a reply too large for the frame, queues removed
// and made again by a restarted daemon, silence, a call interrupted by a
// signal. A call the kernel refuses outright (a frame above its message
// size limit, no permission, no memory) ends the exchange at once. A stop
// (SIGTERM, SIGINT) ends any wait at the next poll.
class control_channel {
 public:
  control_channel(clock_source& clock, event_log& log) : clock_(clock), log_(log) {}

  // Obtains both queues (never creates them), trying once a second until
  // the daemon has made them or a stop is requested, and drains each of
  // stale messages. False when stopped first.
  bool attach(int request_key, int reply_key);

  // Sends the message and waits for the reply, polling with sleeps that
  // grow from 50 us to 100 ms so that a prompt reply is taken at once.
  // Afterwards the message holds the reply, or zeros when there was none.
  control_result send_control_message(control_message& msg);
  // The usual exchange of a command without payload.
  control_result send_command(int32_t command);

  // Takes and drops the replies waiting for this process before a command
  // is sent: they answer exchanges that gave up waiting, and taken later
  // they would answer this one. At most kMostLateReplies.
  void drop_late_replies(long mtype);
  static constexpr int kMostLateReplies = 64;

  // Removes whatever waits on a queue (stale replies of an earlier run).
  static void drain_control_queue(int queue_id);

  // Tests' stand-in for a failing kernel: consulted before each queue call
  // of an exchange; a non-zero errno it returns fails that call with it.
  using fault_hook = std::function<int(queue_call call)>;
  void set_fault_hook(fault_hook hook) { fault_ = std::move(hook); }

 private:
  // What to do after a queue call failed with `error`: call again (after
  // the pause it slept), or end the exchange because the wait is over
  // (its deadline, a stop, the daemon gone) or the kernel refused the call.
  enum class recovery_step { retry, wait_over, refused };
  recovery_step recover(queue_call call, int error, int64_t deadline, int64_t* pause);
  // Sets `id` to the queue of `key` as the daemon has it now (-1, and
  // false, when it has none).
  bool lookup(int key, int* id);
  bool send_within(control_message& msg, int64_t deadline);
  bool receive_within(control_message& msg, long mtype, int64_t deadline);
  // Sleeps the pause (then doubled, up to 100 ms) unless the deadline has
  // come or a stop was requested; false then.
  bool pause_before(int64_t deadline, int64_t* pause);

  clock_source& clock_;
  event_log& log_;
  fault_hook fault_;
  int request_key_ = -1, reply_key_ = -1;
  int request_queue_ = -1;
  int reply_queue_ = -1;
};

}  // namespace psia

#endif  // PSIA_CONTROL_CONTROL_MESSAGE_H
